// A file on its way through a DRM handler.
#pragma once

#include "PsshBoxes.h"
#include <hastool/base/BlockSource.h>

#include <functional>
#include <string>

namespace hastool {

/// What a player would know of the content from its manifest.
struct CencContent {
    std::string schemeId;
    std::string pssh;        ///< data in base64; empty for none
    bool isSeparate = false; ///< audio and video are not in one file
};

/// Takes the bytes that the handler gives out.
using CencSink = std::function<void(const unsigned char* data, size_t size)>;

/// Passes a file as one segment through the handler for its scheme, as a player does.
/// @param path    for messages
/// @param boxes   of the source
/// @param chunk   bytes that are handed over at a time
/// @throws ToolError for a scheme without a handler, and when the handler refuses
void passThroughHandler(const BlockSource& source, const std::string& path, const PsshBoxes& boxes,
                        const CencContent& content, size_t chunk, const CencSink& sink);

} // namespace hastool

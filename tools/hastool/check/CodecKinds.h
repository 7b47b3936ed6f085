// The codecs of a variant by what they are of.
#pragma once

#include <string>

namespace hastool {

enum class CodecKind { Video, Audio, Text, Unknown };

/// What an RFC 6381 codec is of.
CodecKind kindOfCodec(const std::string& codec);

/// Those of a CODECS list that are of one kind, divided by commas.
std::string codecsOf(const std::string& list, CodecKind kind);

} // namespace hastool

// The boxes of an MP4 file (ISO/IEC 14496-12, clause 4.2).
#pragma once

#include <hastool/base/BlockSource.h>

#include <functional>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace hastool {

/// One box; or, with an empty type, the bytes behind the last box of another that are too few for
/// a box.
struct BoxInfo {
    unsigned depth = 0;      ///< 0 at the top of the file
    std::string type;        ///< printable; empty for what is no box
    uint64_t offset = 0;     ///< in the file
    uint64_t size = 0;       ///< with its header; as it says, even if fewer bytes are there
    unsigned headerSize = 0; ///< 8, or 16 with a 64-bit size
    bool isToEnd = false;    ///< its size is given as "to the end of the file"
    nlohmann::ordered_json facts = nlohmann::ordered_json::object();
    std::string trouble; ///< what is wrong with it; empty for nothing
};

/// Takes the next box; a box comes before those inside it.
using BoxSink = std::function<void(const BoxInfo&)>;

/// The first fault in a file.
struct BoxTrouble {
    uint64_t offset = 0;
    std::string what;
};

/// Hands all boxes over, in the file's order. A box that reaches beyond the one around it is read
/// up to the end of that one. Boxes that only hold data are skipped, whatever their size; of the
/// others no more than a window is in memory.
/// @return the first trouble
std::optional<BoxTrouble> walkBoxes(const BlockSource& source, const BoxSink& sink);

/// How many levels of boxes are read; files have about ten.
constexpr unsigned kMaxBoxDepth = 32;

} // namespace hastool

// The `pssh` boxes of a file.
#pragma once

#include <hastool/base/BlockSource.h>

#include <cstdint>
#include <string>
#include <vector>

namespace hastool {

/// What of an MP4 file matters to what is done with its `pssh` boxes.
struct PsshBoxes {
    /// A `moov` or `moof`, and what lies in it.
    struct Parent {
        struct Child {
            std::string type;
            uint64_t digest = 0; ///< of a `pssh` box's bytes
        };

        uint64_t offset = 0;
        uint64_t size = 0;
        std::vector<Child> children;
    };

    std::vector<Parent> parents;
    uint64_t largest = 0; ///< size of the largest `pssh`
    unsigned tracks = 0;  ///< of its movie
    bool isAudio = false; ///< its first track of pictures or sound is sound

    /// Parents that reach into a range.
    size_t parentsIn(uint64_t begin, uint64_t end) const;
};

/// Reads them.
/// @param path  for messages
/// @throws ToolError when the bytes are not a run of whole boxes that media could be in
PsshBoxes findPsshBoxes(const BlockSource& source, const std::string& path);

/// How a file's `pssh` boxes differ from those of the file it was made from.
struct PsshChanges {
    unsigned inserted = 0;
    unsigned replaced = 0;
    unsigned neutralised = 0; ///< are "free" now

    /// "2 pssh boxes inserted, 0 replaced, 1 neutralised".
    std::string text() const;
};

PsshChanges changesOf(const PsshBoxes& before, const PsshBoxes& after);

} // namespace hastool

// The `pssh` boxes of a file.
#pragma once

#include <hastool/base/BlockSource.h>

#include <cstdint>
#include <string>
#include <vector>

namespace hastool {

/// What a DRM handler needs to know of an MP4 file to deal with its `pssh` boxes.
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
    unsigned tracks = 0;  ///< how many its movie has
    bool isAudio = false; ///< its first track that is video or audio is audio

    /// How many parents reach into a range.
    size_t parentsIn(uint64_t begin, uint64_t end) const;
};

/// Finds the boxes of a file.
/// @param path  for messages
/// @throws ToolError when the bytes are not a run of whole boxes that media could be in
PsshBoxes findPsshBoxes(const BlockSource& source, const std::string& path);

/// How a file's `pssh` boxes differ from those of the file it was made from.
struct PsshChanges {
    unsigned inserted = 0;
    unsigned replaced = 0;
    unsigned neutralised = 0; ///< have become "free"

    /// "2 pssh boxes inserted, 0 replaced, 1 neutralised".
    std::string text() const;
};

PsshChanges changesOf(const PsshBoxes& before, const PsshBoxes& after);

} // namespace hastool

// What is known of the boxes of MP4 files.
#pragma once

#include "BoxFields.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace hastool {

/// What earlier boxes said that later ones need.
struct BoxContext {
    struct Track {
        std::optional<uint64_t> ivSize;      ///< of its samples, where it is protected
        std::optional<uint64_t> defaultSize; ///< of its samples
    };

    /// Notes about a track; there are no more than a file can reasonably have, the rest shares one.
    Track& trackOf(uint64_t id);

    std::map<uint64_t, Track> tracks;
    Track anyOther;
    uint64_t track = 0;                  ///< the one in hand
    std::string handler;                 ///< of the track in hand
    uint64_t entryVersion = 0;           ///< of the table of sample entries in hand
    std::optional<uint64_t> groupIvSize; ///< of the fragment in hand, by its sample groups
    std::optional<uint64_t> runSize;     ///< default sample size of the fragment in hand
};

/// Version and flags of a box that has them, else 0.
struct BoxVersion {
    uint64_t version = 0;
    uint64_t flags = 0;
};

/// How a box is read.
struct BoxKind {
    using Read = void (*)(BoxFields&, const BoxVersion&, BoxContext&);

    bool isFull = false;   ///< has version and flags
    bool hasBoxes = false; ///< holds boxes, behind the fields that `read` takes
    Read read = nullptr;   ///< reads its fields; null for a box without, or one that is not known
};

/// How boxes of a type in a box of type `parent` are read.
BoxKind boxKind(const std::string& type, const std::string& parent, const BoxContext& context);

/// Lists longer than this are cut: the numbers beside them tell how long they are.
constexpr size_t kMaxListed = 1024;

} // namespace hastool

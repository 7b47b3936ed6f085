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
        std::optional<uint64_t> ivSize;      ///< of each sample's IV, where the track is protected
        std::optional<uint64_t> defaultSize; ///< of its samples, in bytes
    };

    /// Notes about a track. Beyond the number that a file can reasonably have, tracks share one.
    Track& trackOf(uint64_t id);

    std::map<uint64_t, Track> tracks;
    Track anyOther;
    uint64_t track = 0;                  ///< id of the track that is being read
    std::string handler;                 ///< of that track
    uint64_t entryVersion = 0;           ///< of the current table of sample entries
    std::optional<uint64_t> groupIvSize; ///< IV size by the current fragment's sample groups
    std::optional<uint64_t> runSize;     ///< default sample size of the current fragment
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
    Read read = nullptr;   ///< reads its fields; null where it has none, or they are not known
};

/// How boxes of a type in a box of type `parent` are read.
BoxKind boxKind(const std::string& type, const std::string& parent, const BoxContext& context);

/// Longer lists are cut; the count beside a list is that of the whole list.
constexpr size_t kMaxListed = 1024;

} // namespace hastool

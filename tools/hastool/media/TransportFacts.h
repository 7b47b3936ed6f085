// What there is to know of a transport stream's packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace hastool {

/// The packets of one PID in a segment.
struct PidFacts {
    unsigned int type = 0; ///< stream type by the PMT; 0 when no PMT names it
    uint64_t packets = 0;
    uint64_t continuityErrors = 0;
    uint64_t scrambled = 0;             ///< packets
    std::optional<int> firstCounter;    ///< continuity counter of the first packet
    bool isFirstPayload = true;         ///< the first packet has a payload, so its counter counts
    bool isFirstDiscontinuous = false;  ///< the first packet announces a break of its counter
    int lastCounter = 0;                ///< of the last packet
    uint64_t timestamps = 0;            ///< PES packets with a time
    uint64_t decodeDisorders = 0;       ///< decode times that are before the one before them
    uint64_t presentedBeforeDecode = 0; ///< times at which a picture is shown before it is decoded
};

/// The clock references of a program, in seconds.
struct ClockFacts {
    int pid = -1; ///< that the PMT names; -1 without a PMT, 0x1FFF for no clock
    uint64_t count = 0;
    double first = 0;
    double last = 0;
    double longest = 0;     ///< between two of them
    uint64_t backwards = 0; ///< references that are before the one before them
};

/// The packets of a segment.
struct TransportFacts {
    uint64_t packets = 0;
    uint64_t damaged = 0;     ///< packets marked so
    uint64_t nulls = 0;       ///< stuffing packets
    uint64_t syncLosses = 0;  ///< how often no packet stood where the next one was expected
    uint64_t strayBytes = 0;  ///< that belong to no packet
    uint64_t badSections = 0; ///< of PAT and PMT
    bool hasPat = false;
    bool hasPmt = false;
    size_t programs = 0;              ///< in the PAT, without the network's own
    bool isMediaBeforeTables = false; ///< a packet of media comes before the PAT and PMT
    bool hasTableChange = false;      ///< a later PMT names other streams than the first
    ClockFacts clock;
    std::map<int, PidFacts> pids; ///< of tables and media, no stuffing

    bool isScrambled() const;
};

} // namespace hastool

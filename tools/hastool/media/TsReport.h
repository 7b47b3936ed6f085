// What was found in a transport stream.
#pragma once

#include "PsiTables.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace hastool {

/// Clock references of one PID, in units of 1/90,000 s.
struct PcrRange {
    uint64_t count = 0;
    uint64_t first = 0;
    uint64_t last = 0;

    /// From the first to the last, in seconds; the clock may have wrapped once.
    double span() const;
};

struct PidReport {
    uint64_t packets = 0;
    uint64_t continuityErrors = 0;
    uint64_t duplicates = 0;
    std::array<uint64_t, 4> scrambling{}; ///< packets by their scrambling control; 0 is clear
    PcrRange pcr;
};

/// A program of the PAT.
struct ProgramReport {
    int pmtPid = 0;
    bool hasPmt = false; ///< whether a PMT has come; `pmt` is the latest
    PmtSection pmt;
};

/// What the library's broadband parser made of the stream.
struct BroadbandReport {
    unsigned int pmtPid = 0; ///< 0 when it found no PMT
    unsigned int ecmPid = 0; ///< 0 when it found no ECMs
    Bytes privateData;
    uint64_t ecmPackets = 0;
};

struct TsReport {
    size_t packetSize = 0; ///< 188 or 192, 0 without packets
    uint64_t packets = 0;
    uint64_t skippedBytes = 0;
    uint64_t syncLosses = 0;
    uint64_t errorPackets = 0; ///< marked as damaged
    uint64_t badSections = 0;  ///< of PAT, CAT and PMTs
    bool hasPat = false;
    int streamId = 0;
    std::map<int, PidReport> pids;
    std::map<int, ProgramReport> programs; ///< by number
    int networkPid = 0;                    ///< of the network's own table; 0 when there is none
    std::vector<CaInfo> cat;
    BroadbandReport broadband;

    /// What a PID carries, as "PMT" or "H.264 video"; empty when nothing says so.
    std::string roleOf(int pid) const;
    /// The stream with this PID; null when no PMT names it.
    const PmtStream* streamOf(int pid) const;
    /// The clock references of a program; null when it has none.
    const PcrRange* clockOf(const ProgramReport& program) const;

private:
    bool isEcm(int pid) const;
    std::string tableOf(int pid) const;
};

} // namespace hastool

#include "TsReport.h"

#include "TsUnit.h"

#include <algorithm>

namespace hastool {
namespace {

constexpr uint64_t kClockMask = (uint64_t{1} << 33) - 1;
constexpr double kClockRate = 90000;

bool names(const std::vector<CaInfo>& ca, int pid) {
    return std::any_of(ca.begin(), ca.end(), [pid](const CaInfo& it) { return it.pid == pid; });
}

} // namespace

double PcrRange::span() const {
    return static_cast<double>((last - first) & kClockMask) / kClockRate;
}

std::string TsReport::roleOf(int pid) const {
    std::string table = tableOf(pid);
    if (!table.empty())
        return table;
    if (const PmtStream* const stream = streamOf(pid))
        return streamTypeName(stream->type);
    if (isEcm(pid))
        return "ECM";
    if (names(cat, pid))
        return "EMM";
    for (const auto& [number, program] : programs) {
        if (program.hasPmt && program.pmt.pcrPid == pid)
            return "PCR";
    }
    return {};
}

std::string TsReport::tableOf(int pid) const {
    constexpr int kNetwork = 0x10;
    constexpr int kServices = 0x11;
    constexpr int kEvents = 0x12;
    constexpr int kTime = 0x14;
    if (pid == 0)
        return "PAT";
    if (pid == 1)
        return "CAT";
    if (pid == kNullPid)
        return "null";
    for (const auto& [number, program] : programs) {
        if (program.pmtPid == pid)
            return "PMT";
    }
    if (pid == networkPid || pid == kNetwork)
        return "NIT";
    return pid == kServices ? "SDT" : pid == kEvents ? "EIT" : pid == kTime ? "TDT" : "";
}

const PmtStream* TsReport::streamOf(int pid) const {
    for (const auto& [number, program] : programs) {
        for (const PmtStream& stream : program.pmt.streams) {
            if (stream.pid == pid)
                return &stream;
        }
    }
    return nullptr;
}

const PcrRange* TsReport::clockOf(const ProgramReport& program) const {
    const auto found = pids.find(program.pmt.pcrPid);
    const bool isThere = program.hasPmt && found != pids.end() && found->second.pcr.count > 0;
    return isThere ? &found->second.pcr : nullptr;
}

bool TsReport::isEcm(int pid) const {
    for (const auto& [number, program] : programs) {
        if (names(program.pmt.ca, pid))
            return true;
        for (const PmtStream& stream : program.pmt.streams) {
            if (names(stream.ca, pid))
                return true;
        }
    }
    return false;
}

} // namespace hastool

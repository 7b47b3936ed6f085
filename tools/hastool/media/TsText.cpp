#include "TsText.h"

#include "HexText.h"

#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kClockRate = 90000;

double seconds(uint64_t clock) {
    return std::round(static_cast<double>(clock) / kClockRate * 1000) / 1000;
}

std::string secondsText(double value) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%.3f", value);
    return {text, static_cast<size_t>(length)};
}

std::string rangeText(const PcrRange& pcr) {
    return secondsText(seconds(pcr.first)) + " to " + secondsText(seconds(pcr.last)) + " s (" +
           secondsText(pcr.span()) + " s)";
}

/// Text of a given width at least, flush right.
std::string column(const std::string& text, size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string pidLine(const TsReport& report, int pid, const PidReport& it) {
    const uint64_t scrambled = it.scrambling[1] + it.scrambling[2] + it.scrambling[3];
    const std::string role = report.roleOf(pid);
    return "  " + pidText(pid) + column(std::to_string(it.packets), 10) +
           column(std::to_string(it.continuityErrors), 8) +
           column(std::to_string(it.duplicates), 6) + column(std::to_string(scrambled), 11) +
           (role.empty() ? "" : "  " + role) + "\n";
}

std::string caText(const std::string& indent, const CaInfo& ca) {
    return indent + "CA system " + hexNumber(ca.systemId, 4) + ", PID " + pidText(ca.pid) +
           (ca.privateData.empty() ? "" : ", private data " + hexText(ca.privateData)) + "\n";
}

std::string programText(const TsReport& report, int number, const ProgramReport& program) {
    std::string text =
        "program " + std::to_string(number) + ", PMT on PID " + pidText(program.pmtPid);
    if (!program.hasPmt)
        return text + ", not there\n";
    text += ", version " + std::to_string(program.pmt.version) + "\n";
    const PcrRange* const clock = report.clockOf(program);
    text += "  PCR on PID " + pidText(program.pmt.pcrPid) +
            (clock != nullptr ? ", " + rangeText(*clock) : "") + "\n";
    for (const CaInfo& ca : program.pmt.ca)
        text += caText("  ", ca);
    for (const PmtStream& stream : program.pmt.streams) {
        text += "  PID " + pidText(stream.pid) + "  type " + hexNumber(stream.type, 2) + "  " +
                streamTypeName(stream.type) + "\n";
        for (const CaInfo& ca : stream.ca)
            text += caText("    ", ca);
    }
    return text;
}

std::string broadbandText(const BroadbandReport& broadband) {
    if (broadband.ecmPid == 0)
        return {};
    return "broadband parser: ECM on PID " + pidText(static_cast<int>(broadband.ecmPid)) + ", " +
           std::to_string(broadband.ecmPackets) + " packets" +
           (broadband.privateData.empty() ? ""
                                          : ", private data " + hexText(broadband.privateData)) +
           "\n";
}

Json caJson(const std::vector<CaInfo>& list) {
    Json json = Json::array();
    for (const CaInfo& ca : list)
        json.push_back({{"system_id", ca.systemId},
                        {"pid", ca.pid},
                        {"private_data", hexText(ca.privateData)}});
    return json;
}

Json pcrJson(const PcrRange& pcr) {
    return {{"count", pcr.count},
            {"first_s", seconds(pcr.first)},
            {"last_s", seconds(pcr.last)},
            {"span_s", std::round(pcr.span() * 1000) / 1000}};
}

Json pidJson(const TsReport& report, int pid, const PidReport& it) {
    const PmtStream* const stream = report.streamOf(pid);
    return {
        {"pid", pid},
        {"role", report.roleOf(pid)},
        {"stream_type", stream != nullptr ? Json(stream->type) : Json()},
        {"packets", it.packets},
        {"continuity_errors", it.continuityErrors},
        {"duplicates", it.duplicates},
        {"scrambled",
         {{"reserved", it.scrambling[1]}, {"even", it.scrambling[2]}, {"odd", it.scrambling[3]}}},
        {"pcr", it.pcr.count > 0 ? pcrJson(it.pcr) : Json()},
    };
}

Json programJson(int number, const ProgramReport& program) {
    Json json = {{"program", number}, {"pmt_pid", program.pmtPid}, {"has_pmt", program.hasPmt}};
    if (!program.hasPmt)
        return json;
    json["version"] = program.pmt.version;
    json["pcr_pid"] = program.pmt.pcrPid;
    json["ca"] = caJson(program.pmt.ca);
    json["streams"] = Json::array();
    for (const PmtStream& stream : program.pmt.streams)
        json["streams"].push_back({{"pid", stream.pid},
                                   {"stream_type", stream.type},
                                   {"name", streamTypeName(stream.type)},
                                   {"ca", caJson(stream.ca)}});
    return json;
}

} // namespace

std::string toText(const TsReport& report) {
    std::string text = std::to_string(report.packets) + " packets of " +
                       std::to_string(report.packetSize) + " bytes, " +
                       std::to_string(report.errorPackets) + " damaged; " +
                       std::to_string(report.skippedBytes) + " bytes skipped, sync lost " +
                       std::to_string(report.syncLosses) + " times; " +
                       std::to_string(report.badSections) + " bad table sections\n";
    text += "  PID      packets  errors twice  scrambled  carries\n";
    for (const auto& [pid, it] : report.pids)
        text += pidLine(report, pid, it);
    text +=
        report.hasPat ? "transport stream " + std::to_string(report.streamId) + "\n" : "no PAT\n";
    for (const CaInfo& ca : report.cat)
        text += caText("", ca);
    for (const auto& [number, program] : report.programs)
        text += programText(report, number, program);
    return text + broadbandText(report.broadband);
}

Json toJson(const TsReport& report) {
    Json json = {
        {"packet_size", report.packetSize},
        {"packets", report.packets},
        {"error_packets", report.errorPackets},
        {"skipped_bytes", report.skippedBytes},
        {"sync_losses", report.syncLosses},
        {"bad_sections", report.badSections},
        {"transport_stream_id", report.hasPat ? Json(report.streamId) : Json()},
        {"pids", Json::array()},
        {"programs", Json::array()},
        {"cat", caJson(report.cat)},
        {"broadband",
         {{"pmt_pid", report.broadband.pmtPid},
          {"ecm_pid", report.broadband.ecmPid},
          {"ecm_packets", report.broadband.ecmPackets},
          {"private_data", hexText(report.broadband.privateData)}}},
    };
    for (const auto& [pid, it] : report.pids)
        json["pids"].push_back(pidJson(report, pid, it));
    for (const auto& [number, program] : report.programs)
        json["programs"].push_back(programJson(number, program));
    return json;
}

} // namespace hastool

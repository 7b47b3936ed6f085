// Transport streams: the report must not depend on how the bytes are cut, and its sums must fit.
#include <Input.h>
#include <hastool/base/ByteSource.h>
#include <hastool/media/SpsList.h>
#include <hastool/media/TsScanner.h>
#include <hastool/media/TsText.h>

#include <nlohmann/json.hpp>

using fuzz::require;
using hastool::TsReport;

namespace {

TsReport scan(const uint8_t* data, size_t size, size_t piece) {
    hastool::TsScanner scanner;
    for (size_t at = 0; at < size; at += piece)
        scanner.push(data + at, std::min(piece, size - at));
    return scanner.finish();
}

void checkSums(const TsReport& report, size_t size) {
    const uint64_t used = report.packets * hastool::kTsPacketSize + report.skippedBytes;
    require(used <= size);
    // The other bytes are time codes, four to a packet. The packet size says nothing about them, as
    // a file may hold packets with and without.
    require(size - used <= 8 * (report.packets + 1));
    uint64_t packets = 0;
    for (const auto& [pid, it] : report.pids) {
        require(pid >= 0 && pid <= hastool::kNullPid);
        require(it.continuityErrors + it.duplicates <= it.packets);
        packets += it.packets;
    }
    require(packets == report.packets);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const size_t piece = 1 + data[0];
    const TsReport report = scan(data, size, size);
    checkSums(report, size);
    const std::string text = hastool::toJson(report).dump();
    require(text == hastool::toJson(scan(data, size, piece)).dump());
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    for (const hastool::SpsInfo& sps : hastool::findSps(hastool::memorySource(bytes)))
        require(sps.unit.size() >= 4 && (!sps.resolution || sps.fields));
    return 0;
}

#include <hastool/media/TsText.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::TsReport;

namespace {

TsReport report() {
    TsReport it;
    it.packetSize = 188;
    it.packets = 12;
    it.skippedBytes = 5;
    it.syncLosses = 1;
    it.errorPackets = 2;
    it.badSections = 3;
    it.hasPat = true;
    it.streamId = 9;
    it.pids[0].packets = 1;
    it.pids[0x101].packets = 9;
    it.pids[0x101].continuityErrors = 4;
    it.pids[0x101].duplicates = 1;
    it.pids[0x101].scrambling = {2, 0, 3, 4};
    it.pids[0x101].pcr = {2, 90000, 180000};
    it.programs[1].pmtPid = 0x100;
    it.programs[1].hasPmt = true;
    it.programs[1].pmt.pcrPid = 0x101;
    it.programs[1].pmt.ca = {{0x4AD4, 0x200, {1, 0xAB}}};
    it.programs[1].pmt.streams = {{0x1B, 0x101, {{0xB00, 0x201, {}}}}};
    it.programs[2].pmtPid = 0x110;
    it.cat = {{0x4AD4, 0x300, {}}};
    it.broadband = {0x100, 0x200, {0xCD}, 6};
    return it;
}

} // namespace

TEST(TsText, ReadsAsLines) {
    EXPECT_EQ(hastool::toText(report()),
              "12 packets of 188 bytes, 2 damaged; 5 bytes skipped, sync lost 1 times; 3 bad table "
              "sections\n"
              "  PID      packets  errors twice  scrambled  carries\n"
              "  0x0000         1       0     0          0  PAT\n"
              "  0x0101         9       4     1          7  H.264 video\n"
              "transport stream 9\n"
              "CA system 0x4AD4, PID 0x0300\n"
              "program 1, PMT on PID 0x0100, version 0\n"
              "  PCR on PID 0x0101, 1.000 to 2.000 s (1.000 s)\n"
              "  CA system 0x4AD4, PID 0x0200, private data 01ab\n"
              "  PID 0x0101  type 0x1B  H.264 video\n"
              "    CA system 0x0B00, PID 0x0201\n"
              "program 2, PMT on PID 0x0110, not there\n"
              "broadband parser: ECM on PID 0x0200, 6 packets, private data cd\n");
    EXPECT_NE(hastool::toText({}).find("no PAT\n"), std::string::npos);
}

TEST(TsText, KeepsEverythingInJson) {
    const auto json = hastool::toJson(report());
    EXPECT_EQ(json["packet_size"], 188);
    EXPECT_EQ(json["packets"], 12);
    EXPECT_EQ(json["error_packets"], 2);
    EXPECT_EQ(json["skipped_bytes"], 5);
    EXPECT_EQ(json["sync_losses"], 1);
    EXPECT_EQ(json["bad_sections"], 3);
    EXPECT_EQ(json["transport_stream_id"], 9);
    const auto& pid = json["pids"][1];
    EXPECT_EQ(pid["pid"], 0x101);
    EXPECT_EQ(pid["stream_type"], 0x1B);
    EXPECT_EQ(pid["scrambled"]["reserved"], 0);
    EXPECT_EQ(pid["scrambled"]["even"], 3);
    EXPECT_EQ(pid["scrambled"]["odd"], 4);
    EXPECT_EQ(pid["pcr"]["span_s"], 1.0);
    EXPECT_TRUE(json["pids"][0]["pcr"].is_null());
    EXPECT_EQ(json["programs"][0]["ca"][0]["private_data"], "01ab");
    EXPECT_EQ(json["programs"][0]["streams"][0]["ca"][0]["system_id"], 0xB00);
    EXPECT_EQ(json["programs"][1]["has_pmt"], false);
    EXPECT_EQ(json["cat"][0]["pid"], 0x300);
    EXPECT_EQ(json["broadband"]["private_data"], "cd");
    EXPECT_TRUE(hastool::toJson(TsReport())["transport_stream_id"].is_null());
}

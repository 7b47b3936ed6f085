// Media from the field.
#include <hastool/media/HexText.h>
#include <hastool/media/SpsList.h>
#include <hastool/media/TsScanner.h>
#include <support/Samples.h>

#include <filesystem>

#include <gtest/gtest.h>

using hastool::TsReport;
using nlohmann::json;

namespace {

std::string pathOf(const json& expected) {
    return HAS_SAMPLES_DIR "/" + expected["file"].get<std::string>();
}

void expectCa(const std::vector<hastool::CaInfo>& found, const json& descriptors) {
    size_t count = 0;
    for (const json& it : descriptors) {
        if (it["tag"] != 9)
            continue;
        ASSERT_LT(count, found.size());
        EXPECT_EQ(hastool::hexNumber(found[count].systemId, 4), it["CA_system_id"]);
        EXPECT_EQ(found[count].pid, it["CA_PID"]);
        EXPECT_EQ(hastool::hexText(found[count].privateData), it["private_hex"]);
        ++count;
    }
    EXPECT_EQ(found.size(), count);
}

void expectPmt(const hastool::PmtSection& pmt, const json& expected) {
    EXPECT_EQ(pmt.pcrPid, expected["pcr_pid"]);
    EXPECT_EQ(pmt.version, expected["version"]);
    expectCa(pmt.ca, expected["descriptors"]);
    ASSERT_EQ(pmt.streams.size(), expected["streams"].size());
    for (size_t i = 0; i < pmt.streams.size(); ++i) {
        EXPECT_EQ(hastool::hexNumber(pmt.streams[i].type, 2),
                  expected["streams"][i]["stream_type"]);
        EXPECT_EQ(pmt.streams[i].pid, expected["streams"][i]["pid"]);
        expectCa(pmt.streams[i].ca, expected["streams"][i]["descriptors"]);
    }
}

void expectPackets(const TsReport& report, const json& expected) {
    EXPECT_EQ(report.packetSize, expected["packet_size"]);
    EXPECT_EQ(report.packets, expected["packets"]);
    EXPECT_EQ(report.errorPackets, expected["tei_packets"]);
    EXPECT_EQ(report.badSections, expected["psi_sections_with_bad_crc"]);
    EXPECT_EQ(report.pids.size(), expected["packets_per_pid"].size());
    for (const auto& [pid, count] : expected["packets_per_pid"].items())
        EXPECT_EQ(report.pids.at(std::stoi(pid)).packets, count) << pid;
    for (const auto& [pid, controls] : expected["scrambled_packets_per_pid"].items()) {
        for (const auto& [control, count] : controls.items())
            EXPECT_EQ(report.pids.at(std::stoi(pid)).scrambling.at(std::stoul(control)), count);
    }
}

void expectPrograms(const TsReport& report, const json& expected) {
    size_t programs = 0;
    for (const json& pat : expected["PAT"]) {
        for (const json& it : pat["pat"]["programs"]) {
            if (it["program_number"] == 0)
                continue;
            EXPECT_EQ(report.programs.at(it["program_number"]).pmtPid, it["pid"]);
            ++programs;
        }
    }
    EXPECT_EQ(report.programs.size(), programs);
    for (const json& it : expected["PMT"])
        expectPmt(report.programs.at(it["pmt"]["program_number"]).pmt, it["pmt"]);
    if (!expected["CAT"].empty())
        expectCa(report.cat, expected["CAT"][0]["cat"]["descriptors"]);
}

} // namespace

TEST(MediaSamples, TransportStreamsMeasureAsKnown) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(HAS_SAMPLES_DIR "/ts/expected")) {
        SCOPED_TRACE(entry.path().filename().string());
        const json expected = test::sampleJson("ts/expected/" + entry.path().filename().string());
        const TsReport report = hastool::scanTs(hastool::fileSource(pathOf(expected)));
        expectPackets(report, expected);
        expectPrograms(report, expected);
        ++count;
    }
    EXPECT_GE(count, 10);
}

TEST(MediaSamples, ParameterSetsAreFoundWithTheirSizes) {
    for (const json& file : test::sampleJson("dev-expected/h264.json")) {
        SCOPED_TRACE(file["file"].get<std::string>());
        const auto sets = hastool::findSps(hastool::fileSource(pathOf(file)));
        ASSERT_EQ(sets.size(), file["sps"].size());
        for (size_t i = 0; i < sets.size(); ++i) {
            const json& expected = file["sps"][i];
            EXPECT_EQ(hastool::hexText(sets[i].unit), expected["sps_hex"]);
            EXPECT_EQ(sets[i].profile, expected["profile_idc"]);
            EXPECT_EQ(sets[i].isSupported, sets[i].profile != 244);
            const bool hasSize = sets[i].isSupported && expected["pic_width_in_mbs"] > 1;
            ASSERT_EQ(sets[i].resolution.has_value(), hasSize);
            if (!hasSize)
                continue;
            EXPECT_EQ(sets[i].resolution->width, expected["width"]);
            EXPECT_EQ(sets[i].resolution->height, expected["height"]);
        }
    }
}

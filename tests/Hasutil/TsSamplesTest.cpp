#include <Hasutil/CArray.h>
#include <Hasutil/CBbtsParser.h>
#include <Hasutil/IPacketProcessor.h>
#include <support/ExactBytes.h>
#include <support/Samples.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

using test::ExactBytes;

struct Counts {
    std::map<std::string, int> packets;
    std::map<std::string, std::map<std::string, int>> scrambled;
};

/// Passes every packet of a file through one parser.
Counts countPackets(CBbtsParser& parser, const ExactBytes& stream) {
    Counts counts;
    CBbtsParser::TS_HEADER header{};
    for (size_t at = 0; at + 188 <= stream.size(); at += 188) {
        const ExactBytes packet = ExactBytes::of(stream.data() + at, stream.data() + at + 188);
        EXPECT_EQ(parser.TsParser(packet.data(), 188, header), 1);
        const std::string pid = std::to_string(header.PID);
        ++counts.packets[pid];
        if (header.transport_scrambling_control != 0)
            ++counts.scrambled[pid][std::to_string(header.transport_scrambling_control)];
    }
    return counts;
}

/// What the samples say of a file of plain packets; null for other files.
nlohmann::json plainStream(const std::filesystem::path& path) {
    nlohmann::json expected = test::sampleJson("ts/expected/" + path.filename().string());
    const bool plain = expected["packet_size"] == 188 && expected["first_sync_offset"] == 0;
    return plain ? expected : nlohmann::json();
}

std::vector<nlohmann::json> plainStreams() {
    std::vector<nlohmann::json> streams;
    const std::string folder = HAS_SAMPLES_DIR "/ts/expected";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        nlohmann::json expected = plainStream(entry.path());
        if (!expected.is_null())
            streams.push_back(std::move(expected));
    }
    return streams;
}

/// The last program of the last PAT; 0 when there is none.
unsigned int lastProgram(const nlohmann::json& expected) {
    unsigned int pid = 0;
    for (const auto& table : expected["PAT"]) {
        for (const auto& program : table["pat"]["programs"]) {
            if (program["program_number"] != 0)
                pid = program["pid"];
        }
    }
    return pid;
}

TEST(TsSamples, PidsAndScramblingOfEveryPacket) {
    const auto streams = plainStreams();
    EXPECT_GE(streams.size(), 10U);
    for (const auto& expected : streams) {
        SCOPED_TRACE(expected["file"].get<std::string>());
        CBbtsParser parser;
        const Counts counts = countPackets(parser, test::sample(expected["file"]));
        parser.Final();
        EXPECT_EQ(nlohmann::json(counts.packets), expected["packets_per_pid"]);
        EXPECT_EQ(nlohmann::json(counts.scrambled), expected["scrambled_packets_per_pid"]);
    }
}

TEST(TsSamples, ThePmtOfTheLastProgramIsFound) {
    for (const auto& expected : plainStreams()) {
        SCOPED_TRACE(expected["file"].get<std::string>());
        CBbtsParser parser;
        countPackets(parser, test::sample(expected["file"]));
        parser.Final();
        EXPECT_EQ(parser.m_pmtPid, lastProgram(expected));
    }
}

TEST(TsSamples, TheEcmOfTheProgramIsFoundAndThatOfItsStreamsIsNot) {
    CBbtsParser parser;
    countPackets(parser, test::sample("ts/generated/cat_ecm_levels.ts"));
    parser.Final();
    EXPECT_TRUE(parser.IsPmtReady());
    EXPECT_EQ(parser.m_ecmPid, 8160U);
}

TEST(TsSamples, RemappedPacketsKeepEverythingButTheirPid) {
    const ExactBytes stream = test::sample("ts/generated/simple.ts");
    hascommon::IPacketProcessor processor;
    for (size_t at = 0; at + 188 <= stream.size(); at += 188) {
        hascommon::CArray<unsigned char, 188> packet;
        std::copy_n(stream.data() + at, 188, packet.begin());
        const int pid = ((packet[1] & 0x1F) << 8) | packet[2];
        processor.ChangePid(packet, 0x1ABC);
        EXPECT_EQ(packet[2], 0xBC);
        processor.ChangePid(packet, pid);
        EXPECT_TRUE(std::equal(packet.begin(), packet.end(), stream.data() + at));
    }
}

} // namespace

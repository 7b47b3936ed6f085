// Segments from the field, as other parsers see them.
#include <hastool/media/SegmentFacts.h>
#include <support/Samples.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

using hastool::SegmentFacts;
using nlohmann::json;

namespace {

std::vector<json> expectations(const std::string& folder) {
    std::vector<json> all;
    for (const auto& entry :
         std::filesystem::directory_iterator(HAS_SAMPLES_DIR "/" + folder + "/expected"))
        all.push_back(test::sampleJson(folder + "/expected/" + entry.path().filename().string()));
    return all;
}

SegmentFacts factsOf(const json& expected) {
    const test::ExactBytes bytes = test::sample(expected["file"]);
    const std::string_view media(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return hastool::readSegmentFacts("", media);
}

TEST(SegmentFactsSamples, CountThePacketsOfTransportStreams) {
    size_t seen = 0;
    for (const json& expected : expectations("ts")) {
        SCOPED_TRACE(expected["file"].get<std::string>());
        const SegmentFacts facts = factsOf(expected);
        EXPECT_EQ(facts.kind, SegmentFacts::Kind::TransportStream);
        EXPECT_EQ(facts.trouble, "");
        EXPECT_EQ(facts.transport.packets, expected["packets"]);
        EXPECT_EQ(facts.transport.damaged, expected["tei_packets"]);
        EXPECT_EQ(facts.transport.badSections, expected["psi_sections_with_bad_crc"]);
        EXPECT_EQ(facts.transport.hasPat, !expected["PAT"].empty());
        if (facts.transport.damaged == 0) { // damaged packets are not counted by their PIDs
            for (const auto& [pid, it] : facts.transport.pids)
                EXPECT_EQ(it.packets, expected["packets_per_pid"].value(std::to_string(pid), 0))
                    << pid;
        }
        ++seen;
    }
    EXPECT_GT(seen, 10U);
}

TEST(SegmentFactsSamples, FindTheFragmentsOfMp4) {
    size_t seen = 0;
    for (const json& expected : expectations("isobmff")) {
        const std::string file = expected["file"];
        SCOPED_TRACE(file);
        const SegmentFacts facts = factsOf(expected);
        const bool isCut = file.find("cut_in_moof") != std::string::npos;
        EXPECT_EQ(facts.kind, SegmentFacts::Kind::Fragments);
        EXPECT_EQ(facts.boxes.broken.empty(), !isCut);
        ++seen;
        if (isCut)
            continue;
        EXPECT_EQ(facts.boxes.outside, "");
        EXPECT_EQ(facts.boxes.fragments, expected["summary"]["moof_count"]);
        for (const json& fragment : expected["summary"]["fragments"])
            EXPECT_EQ(facts.boxes.tracks.count(fragment["track_ID"].get<uint32_t>()), 1U);
    }
    EXPECT_GT(seen, 10U);
}

} // namespace

// MP4 files from the field.
#include <hastool/media/BoxText.h>
#include <support/Samples.h>

#include <filesystem>
#include <map>

#include <gtest/gtest.h>

using nlohmann::json;

namespace {

/// The tool's names of fields, by the names in the known answers.
const std::map<std::string, std::string>& names() {
    static const std::map<std::string, std::string> table = {
        {"type", "type"},
        {"offset", "offset"},
        {"size", "size"},
        {"header", "header_size"},
        {"version", "version"},
        {"flags", "flags"},
        {"track_ID", "track_id"},
        {"handler", "handler"},
        {"original_format", "original_format"},
        {"scheme_type", "scheme_type"},
        {"isProtected", "is_protected"},
        {"per_sample_iv_size", "iv_size"},
        {"iv_size_used", "iv_size"},
        {"KID", "kid"},
        {"system_id", "system_id"},
        {"data_size", "data_size"},
        {"sample_count", "sample_count"},
        {"sample_sizes_sum", "samples_size"},
        {"data_offset", "data_offset"},
        {"first_sample_flags", "first_sample_flags"},
        {"default_sample_info_size", "default_info_size"},
        {"aux_info_type", "aux_info_type"},
        {"offsets", "offsets"},
        {"sequence_number", "sequence_number"},
        {"baseMediaDecodeTime", "base_media_decode_time"},
        {"base_data_offset", "base_data_offset"},
        {"default_base_is_moof", "default_base_is_moof"},
        {"entry_count", "entry_count"},
        {"grouping_type", "grouping_type"},
        {"reference_ID", "reference_id"},
        {"timescale", "timescale"},
        {"duration", "duration"},
        {"width", "width"},
        {"height", "height"},
        {"channels", "channels"},
        {"samplerate", "sample_rate"},
        {"major", "major_brand"},
        {"compatible", "compatible_brands"},
        {"scheme_id_uri", "scheme_id_uri"},
        {"message_size", "message_size"},
        {"trailing_bytes", "trailing_bytes"},
    };
    return table;
}

int compared = 0;

void expectReferences(const json& found, const json& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        for (const auto& [name, value] : expected[i].items())
            EXPECT_EQ(found[i].at(name), value);
    }
}

void expectSubsamples(const json& found, const json& entries) {
    size_t count = 0;
    for (const json& entry : entries) {
        if (entry.is_string())
            return; // the known list is cut
        count += entry.value("subsamples", json::array()).size();
    }
    EXPECT_EQ(found.at("subsample_count"), count);
}

void expectBoxes(const json& found, const json& expected);

void expectBox(const json& found, const json& expected) {
    SCOPED_TRACE(expected.value("type", "none") + " " + expected["offset"].dump());
    for (const auto& [name, value] : expected.items()) {
        const auto ours = names().find(name);
        if (ours == names().end())
            continue;
        EXPECT_EQ(found.at(ours->second), value) << name;
        ++compared;
    }
    EXPECT_EQ(found.contains("error"), expected.contains("error"));
    if (expected.contains("references"))
        expectReferences(found["references"], expected["references"]);
    if (expected.contains("KIDs")) {
        EXPECT_EQ(found.value("key_ids", json::array()), expected["KIDs"]);
    }
    if (expected.value("type", "") == "senc")
        expectSubsamples(found, expected["entries"]);
    if (expected.contains("children"))
        expectBoxes(found["children"], expected["children"]);
}

void expectBoxes(const json& found, const json& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i)
        expectBox(found[i], expected[i]);
}

json boxesOf(const std::string& path, bool& isWhole) {
    hastool::BoxJson writer;
    std::string text;
    const auto trouble = hastool::walkBoxes(
        hastool::fileBlocks(path), [&](const hastool::BoxInfo& box) { text += writer.add(box); });
    isWhole = !trouble;
    return json::parse(text + writer.finish());
}

} // namespace

TEST(BoxSamples, BoxesAreAsKnown) {
    compared = 0;
    int files = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(HAS_SAMPLES_DIR "/isobmff/expected")) {
        SCOPED_TRACE(entry.path().filename().string());
        const json expected =
            test::sampleJson("isobmff/expected/" + entry.path().filename().string());
        const std::string file = expected["file"];
        bool isWhole = false;
        const json found = boxesOf(HAS_SAMPLES_DIR "/" + file, isWhole);
        expectBoxes(found, expected["boxes"]);
        EXPECT_EQ(isWhole, file.find("cut_in") == std::string::npos);
        ++files;
    }
    EXPECT_GE(files, 15);
    EXPECT_GE(compared, 2000);
}

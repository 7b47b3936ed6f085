#include <hastool/media/AvcConfigs.h>
#include <support/Mp4Boxes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string avcC(const std::vector<std::string>& sets) {
    std::string content = "\1\x42" + zeros(1) + "\x15\xFF" + be(0xE0 | sets.size(), 1);
    for (const std::string& set : sets)
        content += be(set.size(), 2) + set;
    return mp4Box("avcC", content + be(1, 1) + be(3, 2) + "PPS");
}
std::string entry(const std::string& type, const std::string& boxes) {
    return mp4Box(type, zeros(78) + boxes);
}
std::string track(const std::string& entries) {
    return mp4Box(
        "trak",
        mp4Box("mdia", mp4Box("minf", mp4Box("stbl", fullBox("stsd", 0, 0, be(1) + entries)))));
}
std::vector<std::string> find(const std::string& file, size_t piece = 1000) {
    std::vector<std::string> units;
    hastool::AvcConfigs configs(
        [&](const auto& unit) { units.emplace_back(unit.begin(), unit.end()); });
    for (size_t at = 0; at < file.size(); at += piece) {
        const std::string part = file.substr(at, piece);
        configs.push(reinterpret_cast<const unsigned char*>(part.data()), part.size());
    }
    return units;
}

} // namespace

TEST(AvcConfigs, FindsTheSetsOfEveryTrack) {
    const std::string movie =
        mp4Box("moov", mp4Box("mvhd", zeros(100)) +
                           track(entry("avc1", mp4Box("btrt", zeros(12)) + avcC({"one", "two"}))) +
                           track(mp4Box("mp4a", zeros(28))) +
                           track(entry("encv", avcC({"three"})) + entry("avc3", avcC({}))));
    const std::string file =
        mp4Box("ftyp", "iso6") + mp4Box("mdat", zeros(3000)) + movie + mp4Box("moof", zeros(9));
    for (const size_t piece : {1U, 7U, 100000U})
        EXPECT_THAT(find(file, piece), ElementsAre("one", "two", "three"));
}

TEST(AvcConfigs, ReadsLongSizes) {
    const std::string content = track(entry("avc1", avcC({"set"})));
    const std::string movie = be(1) + "moov" + be(16 + content.size(), 8) + content;
    EXPECT_THAT(find(be(1) + "mdat" + be(20, 8) + zeros(4) + movie), ElementsAre("set"));
    EXPECT_THAT(find(movie + be(0) + "mdat" + movie), ElementsAre("set"));
}

TEST(AvcConfigs, TakesNoBoxesOutOfTheirPlace) {
    const std::string config = avcC({"set"});
    EXPECT_THAT(find(config), IsEmpty());
    EXPECT_THAT(find(mp4Box("moov", track(config))), IsEmpty());
    EXPECT_THAT(find(mp4Box("moov", track(entry("hvc1", config)))), IsEmpty());
    EXPECT_THAT(find(mp4Box("mdat", mp4Box("moov", track(entry("avc1", config))))), IsEmpty());
    EXPECT_THAT(find(mp4Box("moov", mp4Box("mdia", track(entry("avc1", config))))), IsEmpty());
}

TEST(AvcConfigs, EndsWhereABoxIsCut) {
    const std::string movie = mp4Box("moov", track(entry("avc1", avcC({"one", "two"}))));
    for (size_t size = 0; size < movie.size(); ++size)
        EXPECT_THAT(find(movie.substr(0, size)), IsEmpty());
    std::string lie = movie;
    lie.replace(lie.find("two") - 2, 2, be(60000, 2));
    EXPECT_THAT(find(lie), ElementsAre("one"));
    EXPECT_THAT(find(mp4Box("moov", track(fullBox("stsd", 0, 0, "")))), IsEmpty());
    EXPECT_THAT(find(be(0) + "moov" + zeros(50)), IsEmpty());
}

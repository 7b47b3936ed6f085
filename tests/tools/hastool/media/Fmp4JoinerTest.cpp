#include <hastool/base/BoxView.h>
#include <hastool/media/Fmp4Joiner.h>

#include <gtest/gtest.h>

using hastool::findBox;
using hastool::Fmp4Joiner;

namespace {

std::string number(uint64_t value, size_t size = 4) {
    std::string result(size, '\0');
    for (size_t i = size; i-- > 0; value >>= 8)
        result[i] = static_cast<char>(value & 0xFF);
    return result;
}

std::string box(const std::string& type, const std::string& content) {
    return number(content.size() + 8) + type + content;
}

/// The configuration of a picture track with one parameter set of each kind.
std::string configuration(const std::string& sps, const std::string& pps, char lengths = '\xFF') {
    return std::string("\x01\x64\x00\x1F", 4) + lengths + '\xE1' + number(sps.size(), 2) + sps +
           '\x01' + number(pps.size(), 2) + pps;
}

std::string track(uint32_t id, const std::string& entry) {
    const std::string table = box("stsd", number(0) + number(1) + entry);
    return box("trak", box("tkhd", number(0, 12) + number(id) + number(0, 64)) +
                           box("mdia", box("minf", box("stbl", table))));
}

std::string init(const std::string& avcC) {
    const std::string picture = box("avc1", std::string(78, '\0') + box("avcC", avcC));
    return box("ftyp", "isom") +
           box("moov", track(2, box("mp4a", std::string(28, '\0'))) + track(1, picture));
}

std::string run(uint64_t dataOffset, const std::string& sampleSizes, size_t count) {
    return box("trun", number(0x201) + number(count) + number(dataOffset) + sampleSizes);
}

std::string fragment(uint32_t track, const std::string& truns, uint32_t flags = 0x20000) {
    return box("traf", box("tfhd", number(flags) + number(track)) + truns);
}

/// Two picture samples of 3 and 2 bytes, then one of 4 bytes of sound.
std::string segment() {
    const auto withOffsets = [](uint64_t pictures, uint64_t sound) {
        return box("moof", box("mfhd", number(0, 8)) +
                               fragment(1, run(pictures, number(3) + number(2), 2)) +
                               fragment(2, run(sound, number(4), 1)));
    };
    const uint64_t data = withOffsets(0, 0).size() + 8;
    return box("sidx", number(0, 32)) + withOffsets(data, data + 5) + box("mdat", "PPPQQSSSS");
}

/// What a run's fields say after the segment was adapted.
struct Placed {
    std::string first;
    uint64_t firstSize = 0;
};

Placed placed(const std::string& segment, size_t fragmentIndex) {
    const auto moof = findBox(segment, "moof");
    std::string_view rest = moof->content;
    hastool::takeBox(rest); // its header
    std::optional<hastool::BoxView> traf = hastool::takeBox(rest);
    for (size_t i = 0; i < fragmentIndex; ++i)
        traf = hastool::takeBox(rest);
    hastool::ByteReader reader(findBox(traf->content, "trun")->content);
    reader.skip(8);
    const uint64_t offset = *reader.number(4);
    const uint64_t size = *reader.number(4);
    const auto begin = static_cast<size_t>(moof->whole.data() - segment.data());
    return {segment.substr(begin + static_cast<size_t>(offset), static_cast<size_t>(size)), size};
}

const std::string kSets1 = number(5) + "\x67sps1" + number(4) + "\x68pp1";
const std::string kSets2 = number(6) + "\x67sps22" + number(4) + "\x68pp2";
const std::string kInit1 = init(configuration("\x67sps1", "\x68pp1"));
const std::string kInit2 = init(configuration("\x67sps22", "\x68pp2"));

} // namespace

TEST(Fmp4Joiner, LeavesEverythingAloneBehindASingleInitialisation) {
    Fmp4Joiner joiner;
    EXPECT_EQ(joiner.adapt(segment()), segment());
    joiner.setInit(kInit1);
    EXPECT_EQ(joiner.adapt(segment()), segment());
}

TEST(Fmp4Joiner, PutsParameterSetsBeforeTheFirstPictureBehindASecondOne) {
    Fmp4Joiner joiner;
    joiner.setInit(kInit1);
    joiner.setInit(kInit2);
    const std::string adapted = joiner.adapt(segment());
    EXPECT_EQ(adapted.size(), segment().size() + kSets2.size());
    EXPECT_EQ(placed(adapted, 0).first, kSets2 + "PPP");
    EXPECT_EQ(placed(adapted, 1).first, "SSSS");
    EXPECT_EQ(findBox(adapted, "mdat")->content, kSets2 + "PPPQQSSSS");
    EXPECT_FALSE(findBox(adapted, "sidx"));
    EXPECT_EQ(findBox(adapted, "free")->content.size(), 32U);
}

TEST(Fmp4Joiner, ReturnsToTheFirstSetsWithTheFirstInitialisation) {
    Fmp4Joiner joiner;
    for (const std::string& it : {kInit1, kInit2, kInit1})
        joiner.setInit(it);
    EXPECT_EQ(placed(joiner.adapt(segment()), 0).first, kSets1 + "PPP");
}

TEST(Fmp4Joiner, AdaptsOnlyTheFirstFragmentOfASegment) {
    Fmp4Joiner joiner;
    joiner.setInit(kInit1);
    joiner.setInit(kInit2);
    const std::string two = segment() + segment();
    EXPECT_EQ(joiner.adapt(two).size(), two.size() + kSets2.size());
}

TEST(Fmp4Joiner, TakesALongBoxOfMedia) {
    Fmp4Joiner joiner;
    joiner.setInit(kInit1);
    joiner.setInit(kInit2);
    std::string moof = box("moof", fragment(1, run(0, number(3), 1)));
    moof = box("moof", fragment(1, run(moof.size() + 16, number(3), 1)));
    const std::string adapted = joiner.adapt(moof + number(1) + "mdat" + number(19, 8) + "PPP");
    EXPECT_EQ(findBox(adapted, "mdat")->content, kSets2 + "PPP");
}

TEST(Fmp4Joiner, LeavesAloneWhatItCannotMend) {
    Fmp4Joiner joiner;
    joiner.setInit(kInit1);
    joiner.setInit(kInit2);
    const auto isUntouched = [&](const std::string& it) { return joiner.adapt(it) == it; };
    const std::string mdat = box("mdat", "PPP");
    EXPECT_TRUE(isUntouched("not boxes at all"));
    EXPECT_TRUE(isUntouched(mdat));
    EXPECT_TRUE(isUntouched(box("moof", fragment(9, run(68, number(3), 1))) + mdat))
        << "no picture";
    EXPECT_TRUE(isUntouched(box("moof", fragment(1, run(68, number(3), 1), 1)) + mdat))
        << "counted from the file's begin";
    EXPECT_TRUE(isUntouched(box("moof", fragment(1, run(4, number(3), 1))) + mdat)) << "no media";
    EXPECT_TRUE(isUntouched(box("moof", fragment(1, run(99999, number(3), 1))) + mdat));
    EXPECT_TRUE(isUntouched(box("moof", fragment(1, run(0xFFFFFFFF, number(3), 1))) + mdat));
    EXPECT_TRUE(isUntouched(box("moof", fragment(1, box("trun", number(1) + number(1)))) + mdat));
    EXPECT_TRUE(isUntouched(
        box("moof", fragment(1, box("trun", number(1) + number(1) + number(64)))) + mdat))
        << "no sizes";
}

TEST(Fmp4Joiner, LeavesSegmentsAloneWithoutParameterSetsOfTheSameKind) {
    const std::string others[] = {
        "",
        "junk",
        box("moov", ""),
        init(configuration("\x67sps22", "\x68pp2", '\xFD')),
        init(std::string("\x01\x64\x00\x1F\xFF\xE1\x00\xFF", 8)),
        init(""),
    };
    for (const std::string& other : others) {
        Fmp4Joiner joiner;
        joiner.setInit(kInit1);
        joiner.setInit(other);
        EXPECT_EQ(joiner.adapt(segment()), segment());
    }
}

TEST(Fmp4Joiner, SurvivesEveryCut) {
    const std::string whole = segment();
    for (size_t size = 0; size < whole.size(); ++size) {
        Fmp4Joiner joiner;
        joiner.setInit(kInit1);
        joiner.setInit(kInit2.substr(0, size));
        joiner.setInit(kInit2);
        EXPECT_LE(joiner.adapt(whole.substr(0, size)).size(), size + kSets2.size());
    }
}

TEST(BoxView, TakesOnlyBoxesThatAreWhole) {
    std::string_view cut = "\0\0\0\x10"
                           "free";
    EXPECT_FALSE(hastool::takeBox(cut));
    const std::string small = number(7) + "free";
    std::string_view tooSmall = small;
    EXPECT_FALSE(hastool::takeBox(tooSmall));
    const std::string open = number(0) + "mdatrest";
    std::string_view toTheEnd = open;
    EXPECT_EQ(hastool::takeBox(toTheEnd)->content, "rest");
    EXPECT_TRUE(toTheEnd.empty());
    const std::string wide = number(1) + "mdat" + number(UINT64_MAX, 8);
    std::string_view tooWide = wide;
    EXPECT_FALSE(hastool::takeBox(tooWide));
}

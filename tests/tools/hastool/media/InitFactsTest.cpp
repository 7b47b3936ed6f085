#include <hastool/media/CodecText.h>
#include <hastool/media/InitFacts.h>
#include <support/ExactBytes.h>
#include <tools/hastool/FragmentBuilder.h>

#include <gtest/gtest.h>

using hastool::InitFacts;
using hastool::readInitFacts;
using hastool::StreamFacts;

namespace {

TEST(InitFacts, TellsTheTracks) {
    const std::string edits = test::mp4Box(
        "edts",
        test::fullBox("elst", 0, 0, test::be(1) + test::be(0) + test::be(500) + test::be(0x10000)));
    const InitFacts facts = readInitFacts(test::movie(
        test::movieTrack(1, "vide", 1000,
                         test::visualEntry("avc1", 176, 144, test::avcConfiguration()), edits) +
            test::movieTrack(2, "soun", 48000,
                             test::audioEntry("mp4a", 2, 48000, test::aacConfiguration())),
        test::trackDefaults(1, 100)));
    EXPECT_EQ(facts.trouble, "");
    EXPECT_TRUE(facts.isFragmented);
    EXPECT_EQ(facts.brands, (std::vector<std::string>{"iso6", "iso6", "dash"}));
    ASSERT_EQ(facts.tracks.size(), 2U);
    const auto& video = facts.tracks[0];
    EXPECT_EQ(video.kind, StreamFacts::Kind::Video);
    EXPECT_EQ(video.format, "avc1");
    EXPECT_EQ(video.codec, "avc1.42e015");
    EXPECT_EQ(video.width, 176);
    EXPECT_EQ(video.entryHeight, 144);
    EXPECT_EQ(video.lengthSize, 4U);
    EXPECT_EQ(video.timescale, 1000U);
    EXPECT_DOUBLE_EQ(video.editStart, 0.5);
    EXPECT_TRUE(video.hasDefaults);
    EXPECT_FALSE(video.isProtected);
    const auto& audio = facts.tracks[1];
    EXPECT_EQ(audio.kind, StreamFacts::Kind::Audio);
    EXPECT_EQ(audio.codec, "mp4a.40.2");
    EXPECT_EQ(audio.channels, 2);
    EXPECT_EQ(audio.sampleRate, 48000);
    EXPECT_FALSE(audio.hasDefaults);
    EXPECT_EQ(facts.track(2), &audio);
    EXPECT_EQ(facts.track(3), nullptr);
}

TEST(InitFacts, LooksBehindEncryption) {
    const std::string keyId = "0123456789abcdef";
    const InitFacts facts = readInitFacts(
        test::movie(test::movieTrack(1, "vide", 1000,
                                     test::visualEntry("encv", 176, 144,
                                                       test::avcConfiguration() +
                                                           test::protection("avc1", keyId))),
                    test::trackDefaults(1, 100)));
    ASSERT_EQ(facts.tracks.size(), 1U);
    EXPECT_TRUE(facts.tracks[0].isProtected);
    EXPECT_EQ(facts.tracks[0].format, "avc1");
    EXPECT_EQ(facts.tracks[0].codec, "avc1.42e015");
    EXPECT_EQ(facts.tracks[0].scheme, "cenc");
    EXPECT_TRUE(facts.tracks[0].hasKeyId);
    EXPECT_EQ(facts.tracks[0].keyId, "30313233343536373839616263646566");
}

TEST(InitFacts, SaysWhatCannotBeRead) {
    EXPECT_EQ(readInitFacts("").trouble, "it is empty");
    EXPECT_EQ(readInitFacts("no boxes at all").trouble, "it has no whole moov");
    EXPECT_EQ(readInitFacts(test::mp4Box("moov", "")).trouble,
              "its moov has no track that can be read");
    EXPECT_EQ(readInitFacts(test::mp4Box("moov", "1234567")).trouble,
              "a box in moov reaches beyond it");
    EXPECT_EQ(readInitFacts(std::string(188, '\x47')).trouble, "");
}

TEST(InitFacts, EndsOnCutBytes) {
    const std::string whole = test::videoInit();
    for (size_t size = 0; size < whole.size(); ++size) {
        const test::ExactBytes bytes(whole.substr(0, size));
        const auto* const at = reinterpret_cast<const char*>(bytes.data());
        EXPECT_NE(readInitFacts({at, bytes.size()}).trouble, "") << size;
    }
}

TEST(CodecText, WritesCodecsAsPlaylistsDo) {
    EXPECT_EQ(hastool::hevcCodec("hvc1", std::string("\x01\x01\x60\x00\x00\x00\x90\x00\x00\x00\x00"
                                                     "\x00\x5D",
                                                     13)),
              "hvc1.1.6.L93.90");
    EXPECT_EQ(hastool::hevcCodec("hev1", "\x01\x01"), "");
    EXPECT_EQ(hastool::av1Codec(std::string("\x81\x05\x4C\x00", 4)), "av01.0.05M.10");
    EXPECT_EQ(hastool::vp9Codec(std::string("\x01\x00\x00\x00\x02\x0A\xA2", 7)), "vp09.02.10.10");
    EXPECT_EQ(hastool::readMpeg4Audio("cut").codec, "");
}

} // namespace

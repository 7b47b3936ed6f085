// Playlists from the field.
#include <hastool/formats/OpenPresentation.h>
#include <hastool/formats/Presentation.h>
#include <hastool/formats/hls/HlsPlaylist.h>
#include <support/TempDir.h>

#include <filesystem>

#include <gtest/gtest.h>

using hastool::HlsPlaylist;

namespace {

HlsPlaylist parse(const std::string& name) {
    const std::string path = std::string(HAS_SAMPLES_DIR) + "/manifests/hls/" + name;
    return hastool::parseHlsPlaylist(test::readFile(path), name);
}

} // namespace

TEST(HlsSamples, AllParse) {
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(HAS_SAMPLES_DIR "/manifests/hls")) {
        EXPECT_NO_THROW(parse(entry.path().filename().string())) << entry.path();
        ++count;
    }
    EXPECT_GE(count, 5);
}

TEST(HlsSamples, MastersGiveTheirVariants) {
    const HlsPlaylist plain = parse("grafov_master.m3u8");
    ASSERT_EQ(plain.variants.size(), 5U);
    EXPECT_EQ(plain.variants[4].bandwidth, 1500000);
    EXPECT_EQ(plain.variants[4].uri, "chunklist-b1500000.m3u8");
    const HlsPlaylist odd = parse("vhs_main.m3u8");
    ASSERT_EQ(odd.variants.size(), 4U);
    EXPECT_EQ(odd.variants[1].bandwidth, 40000);
    EXPECT_EQ(odd.variants[3].resolution, "960x540");
}

TEST(HlsSamples, ByteRangesAndTheMapAreRead) {
    const HlsPlaylist playlist = parse("m3u8-parser_fmp4.m3u8");
    EXPECT_TRUE(playlist.ended);
    ASSERT_GE(playlist.segments.size(), 2U);
    EXPECT_EQ(playlist.segments[0].map->range, (hastool::ByteRange{0, 720}));
    EXPECT_EQ(playlist.segments[1].range, (hastool::ByteRange{5667230, 5861577}));
}

TEST(HlsSamples, KeysAreToldApart) {
    const HlsPlaylist playlist = parse("vhs_encrypted.m3u8");
    ASSERT_EQ(playlist.segments.size(), 6U);
    EXPECT_EQ(playlist.mediaSequence, 7794U);
    EXPECT_EQ(playlist.segments[0].key->uri, "https://priv.example.com/key.php?r=52");
    EXPECT_EQ(playlist.segments[4].key->iv, "0x00000000000000000000014BB69D61E4");
    EXPECT_EQ(playlist.segments[5].key, nullptr);
    EXPECT_EQ(playlist.segments[0].key, playlist.segments[2].key);
    EXPECT_EQ(playlist.segments[3].key->uri, "https://priv.example.com/key.php?r=53");
    EXPECT_EQ(playlist.segments[3].key->iv, "");
    EXPECT_EQ(playlist.segments[4].key->uri, "https://priv.example.com/key.php?r=54");
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(playlist.segments[static_cast<size_t>(i)].key->method, "AES-128");
}

TEST(HlsSamples, KeysOfOtherMethodsAreRead) {
    const HlsPlaylist playlist =
        parse("shaka-packager_avc-ts-live-playlist-with-key-rotation_bear-640x360-video.m3u8");
    ASSERT_EQ(playlist.segments.size(), 2U);
    EXPECT_EQ(playlist.segments[0].key->method, "SAMPLE-AES");
    EXPECT_EQ(playlist.segments[0].key->uri, "data:text/plain;base64,MjM0NTY3ODkwMTIzNDU2MQ==");
    EXPECT_EQ(playlist.segments[1].key->uri, "data:text/plain;base64,MzQ1Njc4OTAxMjM0NTYxMg==");
    EXPECT_EQ(playlist.segments[1].key->iv, "0x3334353637383930");
    EXPECT_EQ(playlist.segments[1].key->format, "identity");
}

TEST(HlsSamples, VectorsComeFromTheAttributeOrTheNumber) {
    const std::string text =
        test::readFile(std::string(HAS_SAMPLES_DIR) + "/manifests/hls/vhs_encrypted.m3u8") +
        "\n#EXT-X-ENDLIST\n";
    const auto presentation = hastool::openPresentation(
        "http://h/a.m3u8",
        [&](const hastool::Resource& resource) {
            return hastool::Document{text, resource.url};
        },
        std::chrono::seconds(1));
    const auto encryption = [&] { return presentation->next(0, 0).piece.media.encryption.value(); };
    EXPECT_EQ(encryption().iv, hastool::ivOfSequence(7794));
    EXPECT_EQ(encryption().iv, hastool::ivOfSequence(7795));
    EXPECT_EQ(encryption().iv, hastool::ivOfSequence(7796));
    EXPECT_EQ(encryption().iv, hastool::ivOfSequence(7797));
    EXPECT_EQ(encryption().iv, hastool::AesBytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x4B, 0xB6,
                                                  0x9D, 0x61, 0xE4}));
    EXPECT_FALSE(presentation->next(0, 0).piece.media.encryption);
}

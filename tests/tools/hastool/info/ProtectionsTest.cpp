// Content protection by name.
#include <hastool/info/AudioChannels.h>
#include <hastool/info/Protections.h>

#include <gtest/gtest.h>

using hastool::audioChannels;
using hastool::InfoProtection;
using hastool::protectionOf;

namespace {

std::string dashSystem(const std::string& scheme) {
    hastool::DashProtection descriptor;
    descriptor.schemeId = scheme;
    return protectionOf(descriptor).system;
}

TEST(Protections, SystemsOfDashHaveNames) {
    EXPECT_EQ(dashSystem("urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed"), "Widevine");
    EXPECT_EQ(dashSystem("urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95"), "PlayReady");
    EXPECT_EQ(dashSystem("URN:UUID:5E629AF5-38DA-4063-8977-97FFBD9902D4"), "Marlin");
    EXPECT_EQ(dashSystem("urn:uuid:94ce86fb-07ff-4f43-adb8-93d2fa968ca2"), "FairPlay");
    EXPECT_EQ(dashSystem("urn:uuid:e2719d58-a985-b3c9-781a-b030af78d30e"), "ClearKey");
    EXPECT_EQ(dashSystem("urn:mpeg:dash:mp4protection:2011"), "mp4protection");
    EXPECT_EQ(dashSystem("urn:uuid:00000000-1111-2222-3333-444444444444"),
              "00000000-1111-2222-3333-444444444444");
    EXPECT_EQ(dashSystem("urn:other"), "urn:other");
}

TEST(Protections, ADefaultKeyIdAndTheOneInTheDataAreOne) {
    hastool::DashProtection descriptor;
    descriptor.schemeId = "urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed";
    descriptor.defaultKid = "31323334-3536-3738-3930-313233343536";
    descriptor.value = "x";
    // Version 0, Widevine, and a protocol buffer with the key's id.
    descriptor.pssh = "AAAAMnBzc2gAAAAA7e+LqXnWSs6jyCfc1R0h7QAAABISEDEyMzQ1Njc4OTAxMjM0NTY=";
    const InfoProtection protection = protectionOf(descriptor);
    EXPECT_EQ(protection.keyIds, std::vector<std::string>{"31323334-3536-3738-3930-313233343536"});
    EXPECT_EQ(protection.value, "x");
}

InfoProtection hlsKey(const std::string& method, const std::string& format, const std::string& uri,
                      const std::string& id = "") {
    hastool::HlsKey key;
    key.method = method;
    key.uri = uri;
    key.id = id;
    if (!format.empty())
        key.format = format;
    return protectionOf(key);
}

TEST(Protections, KeysOfHlsAreNamedByFormatOrMethod) {
    EXPECT_EQ(hlsKey("AES-128", "", "key").system, "AES-128");
    EXPECT_EQ(hlsKey("SAMPLE-AES", "identity", "key").system, "SAMPLE-AES");
    const auto fairPlay = hlsKey("SAMPLE-AES", "com.apple.streamingkeydelivery", "skd://k");
    EXPECT_EQ(fairPlay.system, "FairPlay");
    EXPECT_EQ(fairPlay.value, "SAMPLE-AES");
    EXPECT_EQ(hlsKey("SAMPLE-AES", "com.microsoft.playready", "data:,").system, "PlayReady");
    EXPECT_EQ(hlsKey("SAMPLE-AES-CTR", "org.w3.clearkey", "k").system, "ClearKey");
    EXPECT_EQ(hlsKey("SAMPLE-AES", "com.example", "k").system, "com.example");
    const auto widevine =
        hlsKey("SAMPLE-AES", "urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed",
               "data:text/plain;base64,AAAAMnBzc2gAAAAA7e+LqXnWSs6jyCfc1R0h7QAAABISEDEyMzQ1Njc4OTAx"
               "MjM0NTY=",
               "0x00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(widevine.system, "Widevine");
    EXPECT_EQ(widevine.keyIds, (std::vector<std::string>{"00112233-4455-6677-8899-aabbccddeeff",
                                                         "31323334-3536-3738-3930-313233343536"}));
}

TEST(Protections, TheSameSystemTwiceIsOneWithTheKeysOfBoth) {
    std::vector<InfoProtection> all;
    addProtection(all, {"A", "a", "", {"1", "2"}});
    addProtection(all, {"B", "b", "", {"3"}});
    addProtection(all, {"A", "a", "", {"2", "4"}});
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].keyIds, (std::vector<std::string>{"1", "2", "4"}));
}

TEST(AudioChannels, AreReadInEveryScheme) {
    const std::string plain = "urn:mpeg:dash:23003:3:audio_channel_configuration:2011";
    const std::string index = "urn:mpeg:mpegB:cicp:ChannelConfiguration";
    const std::string dolby = "tag:dolby.com,2014:dash:audio_channel_configuration:2011";
    EXPECT_EQ(audioChannels(plain, "2"), 2);
    EXPECT_EQ(audioChannels(index, "6"), 6);
    EXPECT_EQ(audioChannels(index, "7"), 8);
    EXPECT_EQ(audioChannels(index, "99"), 0);
    EXPECT_EQ(audioChannels(dolby, "A000"), 2);
    EXPECT_EQ(audioChannels(dolby, "F801"), 6);
    EXPECT_EQ(audioChannels("urn:dolby:dash:audio_channel_configuration:2011", "fa01"), 8);
    EXPECT_EQ(audioChannels(dolby, "1A000"), 0);
    EXPECT_EQ(audioChannels(dolby, "x"), 0);
    EXPECT_EQ(audioChannels(plain, "many"), 0);
    EXPECT_EQ(audioChannels("urn:other", "2"), 0);
}

} // namespace

// Key ids in what manifests say of content protection.
#include <hastool/info/KeyIds.h>

#include <hastool/base/Base64.h>

#include <gtest/gtest.h>

using hastool::keyIdsOfPlayReady;
using hastool::keyIdsOfPssh;
using hastool::uuidText;

namespace {

using Ids = std::vector<std::string>;

constexpr char kId[] = "00112233-4455-6677-8899-aabbccddeeff";

std::string fromHex(const std::string& text) {
    std::string bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return bytes;
}

const std::string& key() {
    static const std::string bytes = fromHex("00112233445566778899aabbccddeeff");
    return bytes;
}

std::string word(size_t value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}

/// A PlayReady object with one header.
std::string playReady(const std::string& xml) {
    std::string utf16;
    for (const char letter : xml)
        utf16 += std::string(1, letter) + '\0';
    const std::string records = word(1) + word(1) + word(utf16.size()) + utf16;
    return word(records.size() + 4) + word(0) + records;
}

/// The key's id in the byte order of a GUID.
std::string guid() {
    return hastool::toBase64(fromHex("33221100554477668899aabbccddeeff"));
}

std::string pssh(const std::string& system, const std::string& ids, const std::string& data) {
    const auto number = [](size_t value) {
        return std::string(3, '\0') + static_cast<char>(value);
    };
    const std::string version = ids.empty() ? std::string(4, '\0') : std::string("\1\0\0\0", 4);
    const std::string list = ids.empty() ? "" : number(ids.size() / 16) + ids;
    const std::string body = version + fromHex(system) + list + number(data.size()) + data;
    return number(body.size() + 8) + "pssh" + body;
}

constexpr char kWidevine[] = "edef8ba979d64acea3c827dcd51d21ed";
constexpr char kPlayReady[] = "9a04f07998404286ab92e65be0885f95";

TEST(KeyIds, AnIdIsReadInEveryWriting) {
    for (const char* const text :
         {"00112233445566778899AABBCCDDEEFF", "0x00112233445566778899aabbccddeeff",
          "{00112233-4455-6677-8899-AABBCCDDEEFF}", kId})
        EXPECT_EQ(uuidText(text), kId);
    for (const char* const text : {"", "0x", "key-1", "00112233445566778899aabbccddee",
                                   "00112233445566778899aabbccddeeff00"})
        EXPECT_EQ(uuidText(text), text);
    EXPECT_EQ(hastool::keyIdsOfList(std::string(" ") + kId + "\n abc "), (Ids{kId, "abc"}));
}

TEST(KeyIds, APlayReadyHeaderHasThemAsTextOrInAttributes) {
    EXPECT_EQ(keyIdsOfPlayReady(
                  playReady("<WRMHEADER><DATA><KID>" + guid() + "</KID></DATA></WRMHEADER>")),
              Ids{kId});
    EXPECT_EQ(keyIdsOfPlayReady(playReady("<WRMHEADER><DATA><PROTECTINFO><KIDS><KID VALUE='" +
                                          guid() + "'/><KID VALUE='" + guid() +
                                          "'/></KIDS></PROTECTINFO></DATA></WRMHEADER>")),
              (Ids{kId, kId}));
}

TEST(KeyIds, WhatIsNoPlayReadyObjectHasNone) {
    const std::string good = playReady("<W><KID>" + guid() + "</KID></W>");
    for (size_t size = 0; size < good.size(); ++size)
        EXPECT_TRUE(keyIdsOfPlayReady(good.substr(0, size)).empty()) << size;
    EXPECT_TRUE(keyIdsOfPlayReady(playReady("<W><KID>AAAA</KID>")).empty());
    EXPECT_TRUE(keyIdsOfPlayReady(playReady("<W><KID>AAAA</KID></W>")).empty());
}

TEST(KeyIds, ABoxListsThemOrItsDataHasThem) {
    EXPECT_EQ(keyIdsOfPssh(pssh(kWidevine, key() + key(), "")), (Ids{kId, kId}));
    const std::string widevine = "\x08\x01" + ("\x12\x10" + key()) +
                                 "\x1a\x03"
                                 "abc";
    EXPECT_EQ(keyIdsOfPssh(pssh(kWidevine, "", widevine)), Ids{kId});
    const std::string object = playReady("<W><KID>" + guid() + "</KID></W>");
    EXPECT_EQ(keyIdsOfPssh(pssh(kPlayReady, "", object)), Ids{kId});
    EXPECT_TRUE(keyIdsOfPssh(pssh(kPlayReady, "", widevine)).empty());
}

TEST(KeyIds, ABoxThatIsCutHasNone) {
    const std::string box = pssh(kWidevine, "", "\x12\x10" + key());
    for (size_t size = 0; size < box.size(); ++size)
        EXPECT_TRUE(keyIdsOfPssh(box.substr(0, size)).empty()) << size;
    EXPECT_TRUE(keyIdsOfPssh(pssh(kWidevine, "", "\x12\xff\xff\xff\xff\x7f")).empty());
    EXPECT_TRUE(keyIdsOfPssh(pssh(kWidevine, "", std::string(12, '\xff'))).empty());
}

} // namespace

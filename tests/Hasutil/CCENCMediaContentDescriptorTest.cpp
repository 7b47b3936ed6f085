#include <Hasutil/CCENCMediaContent.h>
#include <support/LogCapture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using dashengine::ContentProtection_t;
using test::LogCapture;
using testing::ElementsAre;

constexpr const char* kMarlin = "urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4";
constexpr const char* kQdrm = "urn:uuid:78cbbd26-2235-a711-c890-f66a56ee12df";
constexpr const char* kPlayReady = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";
constexpr const char* kPlayReadySwapped = "urn:uuid:79f0049a-4098-8642-ab92-e65be0885f95";

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values)
        text += static_cast<char>(value);
    return text;
}

std::string inCase(std::string text, int (*change)(int)) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [change](char c) { return static_cast<char>(change(c)); });
    return text;
}

ContentProtection_t descriptor(const std::string& schemeId, const std::string& pssh = {}) {
    ContentProtection_t cp;
    cp.schemeIdUri = schemeId;
    cp.pssh = pssh;
    return cp;
}

/// A content of some DRM system.
struct Content : CCENCMediaContent {
    explicit Content(int type) { init(static_cast<eDRM_TYPE>(type), true); }
};

TEST(DrmTypes, HaveTheNumbersThatEnginesPass) {
    EXPECT_EQ(eDRM_TYPE_PLAYREADY, 1);
    EXPECT_EQ(eDRM_TYPE_MARLIN_MS3, 3);
    EXPECT_EQ(eDRM_TYPE_QDRM, 4);
    EXPECT_EQ(hascommon::MEDIA_TYPE_AUDIO, 1);
    EXPECT_EQ(hascommon::MEDIA_TYPE_VIDEO, 2);
    EXPECT_EQ(hascommon::MEDIA_TYPE_TEXT, 3);
    EXPECT_EQ(static_cast<int>(CONTENT_TYPE_AUDIO), static_cast<int>(hascommon::MEDIA_TYPE_AUDIO));
    EXPECT_EQ(static_cast<int>(CONTENT_TYPE_VIDEO), static_cast<int>(hascommon::MEDIA_TYPE_VIDEO));
    EXPECT_EQ(static_cast<int>(CONTENT_TYPE_TEXT), static_cast<int>(hascommon::MEDIA_TYPE_TEXT));
    EXPECT_EQ(hascommon::SYSTEM_TYPE_CENC, 2);
    static_assert(std::is_same_v<std::underlying_type_t<eDRM_TYPE>, int>);
    static_assert(std::is_same_v<hascommon::Has_DRMPropertyType, ::Has_DRMPropertyType>);
}

TEST(CCENCMediaContentMode, IsKept) {
    CCENCMediaContent content;
    EXPECT_EQ(content.getMode(), 0);
    EXPECT_EQ(content.setMode(CONTENT_TYPE_VIDEO), 1);
    EXPECT_EQ(content.getMode(), CONTENT_TYPE_VIDEO);
}

struct SchemeRow {
    int type;
    const char* schemeId;
    std::string systemId;
};

class EverySystem : public testing::TestWithParam<SchemeRow> {};

INSTANTIATE_TEST_SUITE_P(
    Table, EverySystem,
    testing::Values(SchemeRow{3, kMarlin,
                              bytes({0x5E, 0x62, 0x9A, 0xF5, 0x38, 0xDA, 0x40, 0x63, 0x89, 0x77,
                                     0x97, 0xFF, 0xBD, 0x99, 0x02, 0xD4})},
                    SchemeRow{4, kQdrm,
                              bytes({0x78, 0xCB, 0xBD, 0x26, 0x22, 0x35, 0xA7, 0x11, 0xC8, 0x90,
                                     0xF6, 0x6A, 0x56, 0xEE, 0x12, 0xDF})},
                    SchemeRow{1, kPlayReady,
                              bytes({0x9A, 0x04, 0xF0, 0x79, 0x98, 0x40, 0x42, 0x86, 0xAB, 0x92,
                                     0xE6, 0x5B, 0xE0, 0x88, 0x5F, 0x95})},
                    SchemeRow{1, kPlayReadySwapped,
                              bytes({0x79, 0xF0, 0x04, 0x9A, 0x40, 0x98, 0x86, 0x42, 0xAB, 0x92,
                                     0xE6, 0x5B, 0xE0, 0x88, 0x5F, 0x95})}));

TEST_P(EverySystem, IsMatchedInAnyCase) {
    Content content(GetParam().type);
    EXPECT_TRUE(content.isSystemIDMatched(GetParam().schemeId));
    EXPECT_TRUE(content.isSystemIDMatched(inCase(GetParam().schemeId, tolower)));
    EXPECT_TRUE(content.isSystemIDMatched(inCase(GetParam().schemeId, toupper)));
}

TEST_P(EverySystem, GivesItsSystemIdInAnyCase) {
    Content content(GetParam().type);
    ContentProtection_t lower = descriptor(inCase(GetParam().schemeId, tolower));
    ContentProtection_t upper = descriptor(inCase(GetParam().schemeId, toupper));
    EXPECT_EQ(content.getSystemID(lower), GetParam().systemId);
    EXPECT_EQ(content.getSystemID(upper), GetParam().systemId);
}

TEST_P(EverySystem, IsNoOtherTypes) {
    for (int type = -1; type < 6; ++type) {
        Content content(type);
        ContentProtection_t cp = descriptor(GetParam().schemeId);
        EXPECT_EQ(content.isSystemIDMatched(GetParam().schemeId), type == GetParam().type);
        EXPECT_EQ(content.getSystemID(cp).empty(), type != GetParam().type);
    }
}

TEST(CCENCMediaContentScheme, IsComparedOverItsOwnLength) {
    Content content(1);
    EXPECT_TRUE(content.isSystemIDMatched("urn:uuid:9a04"));
    EXPECT_TRUE(content.isSystemIDMatched(""));
    EXPECT_FALSE(content.isSystemIDMatched(std::string(kPlayReady) + "x"));
    EXPECT_FALSE(content.isSystemIDMatched("urn:uuid:9a05"));
    EXPECT_FALSE(content.isSystemIDMatched("urn:mpeg:dash:mp4protection:2011"));
}

TEST(CCENCMediaContentScheme, MatchesNothingBeforeInit) {
    CCENCMediaContent content;
    EXPECT_FALSE(content.isSystemIDMatched(kPlayReady));
    EXPECT_FALSE(content.isSystemIDMatched(""));
}

TEST(CCENCMediaContentPsshText, IsTheFirstThatIsNotEmpty) {
    CCENCMediaContent content;
    ContentProtection_t cp;
    EXPECT_EQ(content.getPsshData(cp), "");
    cp.alternatePssh = "second";
    EXPECT_EQ(content.getPsshData(cp), "second");
    cp.pssh = "first";
    EXPECT_EQ(content.getPsshData(cp), "first");
}

std::string decoded(const std::string& text) {
    CCENCMediaContent content;
    return content.base64Decode(text);
}

TEST(CCENCMediaContentBase64, DecodesTheTestVectors) {
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded("Zg=="), "f");
    EXPECT_EQ(decoded("Zm8="), "fo");
    EXPECT_EQ(decoded("Zm9v"), "foo");
    EXPECT_EQ(decoded("Zm9vYg=="), "foob");
    EXPECT_EQ(decoded("Zm9vYmE="), "fooba");
    EXPECT_EQ(decoded("Zm9vYmFy"), "foobar");
}

TEST(CCENCMediaContentBase64, KnowsTheWholeAlphabet) {
    const std::string all = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::string out = decoded(all);
    ASSERT_EQ(out.size(), 48U);
    for (size_t value = 0; value < 64; ++value) {
        const size_t bit = 6 * value;
        const auto byte = [&](size_t at) {
            return at < out.size() ? static_cast<unsigned char>(out[at]) : 0U;
        };
        const unsigned int window = byte(bit / 8) << 8 | byte(bit / 8 + 1);
        EXPECT_EQ(window >> (10 - bit % 8) & 63U, value);
    }
}

TEST(CCENCMediaContentBase64, WantsWholeGroups) {
    const LogCapture log;
    for (const char* text : {"Z", "Zm", "Zm9", "Zm9vY", "Zm9vYg", "Zm9vYg="})
        EXPECT_EQ(decoded(text), "") << text;
    EXPECT_TRUE(log.lines().empty());
}

TEST(CCENCMediaContentBase64, TakesOtherCharactersForZeroBits) {
    EXPECT_EQ(decoded("A*A*"), std::string(3, '\0'));
    EXPECT_EQ(decoded("Zm\xFFv"), decoded("ZmAv"));
    EXPECT_EQ(decoded("=m9v"), decoded("Am9v"));
}

TEST(CCENCMediaContentBase64, LogsThePadding) {
    const LogCapture log;
    decoded("Zm8=");
    decoded("Zg==");
    decoded("Z=9v");
    EXPECT_THAT(
        log.messages("CCENCMediaContent.cpp"),
        ElementsAre("[*] num of [=] ( 1 )", "[*] num of [=] ( 2 )", "[*] num of [=] ( 0 )"));
}

TEST(CCENCMediaContentBase64, TakesNothingOffForTooMuchPadding) {
    const LogCapture log;
    EXPECT_EQ(decoded("Z==="), std::string("d\0\0", 3));
    EXPECT_EQ(decoded("Zm9v===="), std::string("foo\0\0\0", 6));
    EXPECT_THAT(log.messages(),
                ElementsAre("[*] num of [=] ( 3 )",
                            test::highlighted("  [ERROR] num of = should less than two( 3 )"),
                            "[*] num of [=] ( 4 )",
                            test::highlighted("  [ERROR] num of = should less than two( 4 )")));
    EXPECT_EQ(log.find(test::highlighted("  [ERROR] num of = should less than two( 3 )")).priority,
              16);
}

class Table : public testing::Test {
protected:
    Content content{1};
    ContentProtection_t found;

    void store(int period, int representation, std::list<ContentProtection_t> list) {
        content.setContentProtectionInfo(period, representation, &list);
        list.clear(); // the content has stored a copy
    }
    int find(int period, int representation) {
        return content.findContentProtection(period, representation, found);
    }
};

TEST_F(Table, FindsTheDescriptorOfARepresentation) {
    store(1, 2, {descriptor(kPlayReady, "a")});
    EXPECT_EQ(find(1, 2), 1);
    EXPECT_EQ(found.schemeIdUri, kPlayReady);
    EXPECT_EQ(found.pssh, "a");
}

TEST_F(Table, MissesOtherPeriodsAndRepresentations) {
    store(1, 2, {descriptor(kPlayReady, "a")});
    found.pssh = "untouched";
    EXPECT_EQ(find(2, 2), 0);
    EXPECT_EQ(find(1, 1), 0);
    EXPECT_EQ(found.pssh, "untouched");
}

TEST_F(Table, TakesTheFirstThatMatchesInOrder) {
    store(0, 0,
          {descriptor(kMarlin, "m"), descriptor("urn:mpeg:dash:mp4protection:2011"),
           descriptor(kPlayReadySwapped, "first"), descriptor(kPlayReady, "second")});
    EXPECT_EQ(find(0, 0), 1);
    EXPECT_EQ(found.pssh, "first");
}

TEST_F(Table, FindsNothingInAnEmptyListOrAmongOthers) {
    store(0, 0, {});
    store(0, 1, {descriptor(kMarlin), descriptor(kQdrm)});
    EXPECT_EQ(find(0, 0), 0);
    EXPECT_EQ(find(0, 1), 0);
}

TEST_F(Table, AsksForTheTypeOfTheLastInit) {
    store(0, 0, {descriptor(kPlayReady, "p"), descriptor(kQdrm, "q")});
    EXPECT_EQ(find(0, 0), 1);
    EXPECT_EQ(found.pssh, "p");
    content.init(eDRM_TYPE_QDRM, false);
    EXPECT_EQ(find(0, 0), 1);
    EXPECT_EQ(found.pssh, "q");
}

TEST_F(Table, ReplacesWhatWasStored) {
    store(1, 1, {descriptor(kPlayReady, "old"), descriptor(kPlayReady, "older")});
    store(1, 2, {descriptor(kPlayReady, "other")});
    store(1, 1, {descriptor(kPlayReady, "new")});
    EXPECT_EQ(find(1, 1), 1);
    EXPECT_EQ(found.pssh, "new");
    EXPECT_EQ(find(1, 2), 1);
    EXPECT_EQ(found.pssh, "other");
}

TEST_F(Table, ForgetsForNull) {
    store(1, 1, {descriptor(kPlayReady, "a")});
    store(1, 2, {descriptor(kPlayReady, "b")});
    content.setContentProtectionInfo(1, 1, nullptr);
    content.setContentProtectionInfo(7, 1, nullptr);
    EXPECT_EQ(find(1, 1), 0);
    EXPECT_EQ(find(1, 2), 1);
    content.setContentProtectionInfo(1, 2, nullptr);
    EXPECT_EQ(find(1, 2), 0);
}

TEST_F(Table, SearchesChangeNothing) {
    store(1, 1, {descriptor(kPlayReady, "a")});
    find(1, 1);
    found.pssh = "changed";
    EXPECT_EQ(find(1, 1), 1);
    EXPECT_EQ(found.pssh, "a");
}

TEST_F(Table, HoldsDeepCopies) {
    std::list<ContentProtection_t> list{descriptor(kPlayReady)};
    list.front().data.reset(new unsigned char[2]{1, 2});
    list.front().dataSize = 2;
    content.setContentProtectionInfo(1, 1, &list);
    list.front().data[0] = 9;
    EXPECT_EQ(find(1, 1), 1);
    EXPECT_EQ(found.data[0], 1);
    found.data[1] = 9;
    EXPECT_EQ(find(1, 1), 1);
    EXPECT_EQ(found.data[1], 2);
}

ContentProtection_t filled() {
    ContentProtection_t cp = descriptor(kMarlin, "pssh");
    cp.value = "value";
    cp.data.reset(new unsigned char[3]{7, 8, 9});
    cp.dataSize = 3;
    cp.defaultKid = "kid";
    cp.robustness = "robustness";
    cp.reference = "reference";
    cp.licenseUrl = "license";
    cp.certificateUrl = "certificate";
    cp.headerObject = "header";
    cp.alternatePssh = "alternate";
    return cp;
}

void expectFilled(const ContentProtection_t& cp) {
    EXPECT_EQ(cp.schemeIdUri, kMarlin);
    EXPECT_EQ(cp.value, "value");
    ASSERT_NE(cp.data, nullptr);
    EXPECT_THAT(std::vector<unsigned char>(cp.data.get(), cp.data.get() + 3), ElementsAre(7, 8, 9));
    EXPECT_EQ(cp.dataSize, 3);
    EXPECT_EQ(cp.defaultKid, "kid");
    EXPECT_EQ(cp.robustness, "robustness");
    EXPECT_EQ(cp.reference, "reference");
    EXPECT_EQ(cp.licenseUrl, "license");
    EXPECT_EQ(cp.certificateUrl, "certificate");
    EXPECT_EQ(cp.headerObject, "header");
    EXPECT_EQ(cp.pssh, "pssh");
    EXPECT_EQ(cp.alternatePssh, "alternate");
}

TEST(ContentProtection, CopiesDeeply) {
    const ContentProtection_t source = filled();
    ContentProtection_t copy(source);
    ContentProtection_t assigned;
    assigned = source;
    EXPECT_NE(copy.data, source.data);
    EXPECT_NE(assigned.data, source.data);
    expectFilled(copy);
    expectFilled(assigned);
    expectFilled(source);
}

TEST(ContentProtection, MovesAndIsAssignedToItself) {
    ContentProtection_t source = filled();
    const unsigned char* const data = source.data.get();
    ContentProtection_t moved(std::move(source));
    EXPECT_EQ(moved.data.get(), data);
    ContentProtection_t assigned;
    assigned = std::move(moved);
    expectFilled(assigned);
    const ContentProtection_t& same = assigned;
    assigned = same;
    expectFilled(assigned);
}

TEST(ContentProtection, CopiesNoBytesWhereThereAreNone) {
    ContentProtection_t cp;
    cp.dataSize = 1000;
    EXPECT_EQ(ContentProtection_t(cp).data, nullptr);
    cp.data.reset(new unsigned char[1]{1});
    for (const int size : {0, -1}) {
        cp.dataSize = size;
        const ContentProtection_t copy(cp);
        EXPECT_EQ(copy.data, nullptr);
        EXPECT_EQ(copy.dataSize, size);
    }
}

TEST(ContentProtection, HasItsFieldsInOrder) {
    const ContentProtection_t cp;
    const auto at = [&cp](const void* field) {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(&cp);
    };
    const std::vector<std::ptrdiff_t> places = {
        at(&cp.schemeIdUri),    at(&cp.value),        at(&cp.data),      at(&cp.dataSize),
        at(&cp.defaultKid),     at(&cp.robustness),   at(&cp.reference), at(&cp.licenseUrl),
        at(&cp.certificateUrl), at(&cp.headerObject), at(&cp.pssh),      at(&cp.alternatePssh)};
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
    EXPECT_EQ(places.front(), 0);
}

} // namespace

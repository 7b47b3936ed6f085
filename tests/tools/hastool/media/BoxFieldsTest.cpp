// The fields that are read from boxes of each type.
#include <tools/hastool/BoxList.h>

#include <hastool/media/BoxFields.h>
#include <hastool/media/ProtectionFields.h>
#include <support/Mp4Boxes.h>

#include <gtest/gtest.h>

using nlohmann::json;
using test::be;
using test::BoxList;
using test::fullBox;
using test::mp4Box;
using test::zeros;

namespace {

const std::string kKey = "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x10\x11\x12\x13\x14\x15\x16";
const std::string kKeyText = "01020304050607080910111213141516";

/// The facts of the last box.
json factsOf(const std::string& boxes) {
    const BoxList list(boxes);
    EXPECT_EQ(list.trouble(), "");
    return list.at(list.size() - 1).facts;
}

/// Expects trouble for every shorter form of a box, and that the fields it still holds are read as
/// in the whole box.
void expectCutsAreTrouble(const std::string& type, const std::string& content, size_t from = 0) {
    const json whole = factsOf(mp4Box(type, content));
    for (size_t size = from; size < content.size(); ++size) {
        const BoxList list(mp4Box(type, content.substr(0, size)));
        EXPECT_NE(list.trouble(), "") << type << " " << size;
        const json facts = list.at(0).facts;
        for (const auto& [name, value] : facts.items()) {
            EXPECT_TRUE(value.is_array() || value == whole[name])
                << type << " " << size << " " << name;
        }
    }
}

std::string samplesEntry(const std::string& handler, const std::string& entry,
                         uint64_t version = 0) {
    return mp4Box("mdia", fullBox("hdlr", 0, 0, be(0) + handler + zeros(13)) +
                              fullBox("stsd", version, 0, be(1) + entry));
}

std::string track(uint64_t id, uint64_t ivSize) {
    const std::string tenc = fullBox("tenc", 0, 0,
                                     zeros(2) + be(1, 1) + be(ivSize, 1) + kKey +
                                         (ivSize == 0 ? be(8, 1) + "constant" : ""));
    return mp4Box("trak",
                  fullBox("tkhd", 0, 0, zeros(8) + be(id) + zeros(68)) + mp4Box("schi", tenc));
}

std::string fragment(uint64_t id, const std::string& boxes) {
    return mp4Box("moof", mp4Box("traf", fullBox("tfhd", 0, 0, be(id)) + boxes));
}

} // namespace

TEST(BoxFields, BrandsAreListed) {
    for (const char* type : {"ftyp", "styp"})
        EXPECT_EQ(factsOf(mp4Box(type, "iso6" + be(512) + "dashcmfc")),
                  json({{"major_brand", "iso6"},
                        {"minor_version", 512},
                        {"compatible_brands", {"dash", "cmfc"}}}));
    EXPECT_NE(BoxList(mp4Box("ftyp", "iso6")).trouble(), "");
}

TEST(BoxFields, TimesHaveTwoSizes) {
    for (const char* type : {"mvhd", "mdhd"}) {
        const json expected = {{"version", 0}, {"flags", 0}, {"timescale", 90000}, {"duration", 5}};
        EXPECT_EQ(factsOf(fullBox(type, 0, 0, zeros(8) + be(90000) + be(5))), expected);
        const json longer =
            factsOf(fullBox(type, 1, 0, zeros(16) + be(90000) + be(uint64_t{5} << 32, 8)));
        EXPECT_EQ(longer["duration"], uint64_t{5} << 32);
    }
    expectCutsAreTrouble("mvhd", zeros(12) + be(90000) + be(5));
}

TEST(BoxFields, ATrackHeaderHasTwoSizes) {
    const std::string size = zeros(52) + be(640 << 16) + be(360 << 16);
    const json expected = {{"version", 0},  {"flags", 7},     {"track_id", 3},
                           {"duration", 9}, {"width", 640.0}, {"height", 360.0}};
    EXPECT_EQ(factsOf(fullBox("tkhd", 0, 7, zeros(8) + be(3) + zeros(4) + be(9) + size)), expected);
    EXPECT_EQ(
        factsOf(fullBox("tkhd", 1, 7, zeros(16) + be(3) + zeros(4) + be(9, 8) + size))["track_id"],
        3);
    expectCutsAreTrouble("tkhd", zeros(12) + be(3) + zeros(4) + be(9) + size);
}

TEST(BoxFields, AHandlerIsTold) {
    EXPECT_EQ(factsOf(fullBox("hdlr", 0, 0, be(0) + "vide" + zeros(13)))["handler"], "vide");
    expectCutsAreTrouble("hdlr", zeros(8) + "vide");
}

TEST(BoxFields, MetaComesWithAndWithoutAVersion) {
    const std::string child = mp4Box("free", "");
    const BoxList full(fullBox("meta", 0, 0, child));
    EXPECT_EQ(full.at(0).facts["version"], 0);
    EXPECT_EQ(full.at(1).offset, 12U);
    const BoxList plain(mp4Box("meta", child));
    EXPECT_TRUE(plain.at(0).facts.empty());
    EXPECT_EQ(plain.at(1).offset, 8U);
    EXPECT_EQ(BoxList(mp4Box("meta", "")).trouble(), "");
}

TEST(BoxFields, SampleTablesTellTheirCounts) {
    for (const char* type : {"stts", "ctts", "stsc", "stco", "co64", "stss", "elst"})
        EXPECT_EQ(factsOf(fullBox(type, 0, 0, be(2)))["entry_count"], 2) << type;
    const json sizes = factsOf(fullBox("stsz", 0, 0, be(10) + be(20)));
    EXPECT_EQ(sizes["sample_size"], 10);
    EXPECT_EQ(sizes["sample_count"], 20);
}

TEST(BoxFields, DataReferencesAreBoxes) {
    const BoxList list(fullBox("dref", 0, 0, be(1) + fullBox("url ", 0, 1, "")));
    EXPECT_EQ(list.at(1).type, "url ");
    EXPECT_EQ(list.at(1).facts["flags"], 1);
}

TEST(BoxFields, AVisualEntryTellsItsSizeAndHoldsBoxes) {
    for (const char* type : {"avc1", "encv"}) {
        const std::string entry =
            mp4Box(type, zeros(24) + be(640, 2) + be(360, 2) + zeros(50) + mp4Box("avcC", "x"));
        const BoxList list(samplesEntry("vide", entry));
        EXPECT_EQ(json(list.find(type).facts), json({{"width", 640}, {"height", 360}}));
        EXPECT_EQ(list.at(list.size() - 1).type, "avcC");
        EXPECT_EQ(list.trouble(), "");
    }
}

TEST(BoxFields, AnAudioEntryTellsItsChannelsInAllForms) {
    for (const auto& [version, more] : {std::pair(0, 0), {1, 16}, {2, 36}}) {
        const std::string fields = zeros(8) + be(static_cast<uint64_t>(version), 2) + zeros(6) +
                                   be(2, 2) + zeros(6) + be(44100, 2) + zeros(2);
        const std::string child = mp4Box("esds", "");
        for (const char* type : {"mp4a", "enca"}) {
            const BoxList list(samplesEntry(
                "soun", mp4Box(type, fields + zeros(static_cast<size_t>(more)) + child)));
            EXPECT_EQ(json(list.find(type).facts), json({{"channels", 2}, {"sample_rate", 44100}}));
            EXPECT_EQ(list.at(list.size() - 1).type, "esds") << version;
        }
        const BoxList iso(samplesEntry("soun", mp4Box("mp4a", fields + child), 1));
        EXPECT_EQ(iso.at(iso.size() - 1).type, "esds") << version;
    }
}

TEST(BoxFields, AnEncryptedEntryIsKnownByItsType) {
    EXPECT_EQ(BoxList(samplesEntry("text", mp4Box("encv", zeros(78) + mp4Box("sinf", ""))))
                  .find("sinf")
                  .size,
              8U);
    EXPECT_EQ(BoxList(samplesEntry("text", mp4Box("enca", zeros(28) + mp4Box("sinf", ""))))
                  .find("sinf")
                  .size,
              8U);
}

TEST(BoxFields, AnotherEntryIsNotTakenForBoxes) {
    const BoxList list(samplesEntry("text", mp4Box("wvtt", zeros(6) + be(1, 2) + "anything")));
    EXPECT_EQ(list.at(list.size() - 1).type, "wvtt");
    EXPECT_EQ(list.trouble(), "");
}

TEST(BoxFields, TheOriginalFormatAndTheSchemeAreTold) {
    EXPECT_EQ(factsOf(mp4Box("frma", "avc1"))["original_format"], "avc1");
    const json scheme = factsOf(fullBox("schm", 0, 0, "cbcs" + be(0x10000)));
    EXPECT_EQ(scheme["scheme_type"], "cbcs");
    EXPECT_EQ(scheme["scheme_version"], 0x10000);
    EXPECT_EQ(factsOf(fullBox("schm", 0, 1, "cenc" + be(0) + "urn:x" + zeros(1)))["scheme_uri"],
              "urn:x");
    expectCutsAreTrouble("frma", "avc1");
    expectCutsAreTrouble("schm", zeros(4) + "cbcs" + be(1));
}

TEST(BoxFields, ALongTextIsCutAndMadePlain) {
    const std::string text = factsOf(fullBox(
        "schm", 0, 1, "cenc" + be(0) + "\n" + std::string(5000, 'x') + zeros(1)))["scheme_uri"];
    EXPECT_EQ(text, "\\x0a" + std::string(199, 'x'));
}

TEST(BoxFields, TrackEncryptionIsTold) {
    const std::string content = zeros(6) + be(1, 1) + be(8, 1) + kKey;
    EXPECT_EQ(factsOf(mp4Box("tenc", content)), json({{"version", 0},
                                                      {"flags", 0},
                                                      {"is_protected", 1},
                                                      {"iv_size", 8},
                                                      {"kid", kKeyText}}));
    expectCutsAreTrouble("tenc", content);
}

TEST(BoxFields, TrackEncryptionTellsThePatternAndTheConstantIv) {
    const json facts = factsOf(fullBox(
        "tenc", 1, 0, zeros(1) + be(0x19, 1) + be(1, 1) + be(0, 1) + kKey + be(8, 1) + "12345678"));
    EXPECT_EQ(facts["crypt_blocks"], 1);
    EXPECT_EQ(facts["skip_blocks"], 9);
    EXPECT_EQ(facts["constant_iv"], "3132333435363738");
    EXPECT_FALSE(factsOf(fullBox("tenc", 0, 0, zeros(4) + kKey)).contains("constant_iv"));
}

TEST(BoxFields, ASystemIsNamedWithItsKeyIds) {
    const std::string system = "\xE2\x71\x9D\x58\xA9\x85\xB3\xC9\x78\x1A\xB0\x30\xAF\x78\xD3\x0E";
    const std::string content = be(1, 1) + be(0, 3) + system + be(2) + kKey + kKey + be(3) + "abc";
    EXPECT_EQ(factsOf(mp4Box("pssh", content)),
              json({{"version", 1},
                    {"flags", 0},
                    {"system_id", "e2719d58a985b3c9781ab030af78d30e"},
                    {"system", "Clear Key"},
                    {"key_id_count", 2},
                    {"key_ids", {kKeyText, kKeyText}},
                    {"data_size", 3}}));
    expectCutsAreTrouble("pssh", content);
    const json plain = factsOf(test::psshBox(kKey, "data"));
    EXPECT_EQ(plain["data_size"], 4);
    EXPECT_FALSE(plain.contains("system"));
    EXPECT_FALSE(plain.contains("key_ids"));
}

TEST(BoxFields, SystemsHaveNames) {
    EXPECT_EQ(hastool::systemName("5e629af538da4063897797ffbd9902d4"), "Marlin");
    EXPECT_EQ(hastool::systemName("9a04f07998404286ab92e65be0885f95"), "PlayReady");
    EXPECT_EQ(hastool::systemName("79f0049a40988642ab92e65be0885f95"),
              "PlayReady (byte-swapped id)");
    EXPECT_EQ(hastool::systemName("78cbbd262235a711c890f66a56ee12df"), "QDRM");
    EXPECT_EQ(hastool::systemName("1077efecc0b24d02ace33c1e52e2fb4b"), "W3C common");
    EXPECT_EQ(hastool::systemName(""), "");
}

TEST(BoxFields, AKeyIdCountThatTheBoxCannotHoldIsTrouble) {
    const BoxList list(fullBox("pssh", 1, 0, kKey + be(0xFFFFFFFF) + kKey));
    EXPECT_NE(list.trouble(), "");
    EXPECT_EQ(list.at(0).facts["key_id_count"], 0xFFFFFFFF);
    EXPECT_EQ(list.at(0).facts["key_ids"].size(), 1U);
}

TEST(BoxFields, LongListsAreCut) {
    std::string ids;
    for (int i = 0; i < 3000; ++i)
        ids += kKey;
    const json facts = factsOf(fullBox("pssh", 1, 0, kKey + be(3000) + ids + be(0)));
    EXPECT_EQ(facts["key_id_count"], 3000);
    EXPECT_EQ(facts["key_ids"].size(), hastool::kMaxListed);
    EXPECT_EQ(facts["data_size"], 0);
}

TEST(BoxFields, FragmentHeadersAreTold) {
    EXPECT_EQ(factsOf(fullBox("mfhd", 0, 0, be(12)))["sequence_number"], 12);
    EXPECT_EQ(factsOf(fullBox("tfdt", 0, 0, be(5)))["base_media_decode_time"], 5);
    EXPECT_EQ(factsOf(fullBox("tfdt", 1, 0, be(uint64_t{5} << 40, 8)))["base_media_decode_time"],
              uint64_t{5} << 40);
    EXPECT_EQ(factsOf(fullBox("mehd", 0, 0, be(5)))["fragment_duration"], 5);
    const std::string content = be(0, 1) + be(0x3003B, 3) + be(1) + be(uint64_t{7} << 33, 8) +
                                be(2) + be(3) + be(4) + be(5);
    EXPECT_EQ(factsOf(mp4Box("tfhd", content)), json({{"version", 0},
                                                      {"flags", 0x3003B},
                                                      {"track_id", 1},
                                                      {"base_data_offset", uint64_t{7} << 33},
                                                      {"sample_description_index", 2},
                                                      {"default_sample_duration", 3},
                                                      {"default_sample_size", 4},
                                                      {"default_sample_flags", 5},
                                                      {"default_base_is_moof", true},
                                                      {"duration_is_empty", true}}));
    EXPECT_EQ(BoxList(mp4Box("tfhd", content.substr(0, 12))).at(0).facts["track_id"], 1);
    EXPECT_NE(BoxList(mp4Box("tfhd", content.substr(0, 12))).trouble(), "");
}

TEST(BoxFields, ARunTellsItsSamples) {
    const std::string samples = be(1) + be(100) + be(0) + be(9) + be(1) + be(200) + be(0) + be(9);
    const std::string content = be(0, 1) + be(0xF05, 3) + be(2) + be(0xFFFFFFF0) + be(7) + samples;
    EXPECT_EQ(factsOf(mp4Box("trun", content)), json({{"version", 0},
                                                      {"flags", 0xF05},
                                                      {"sample_count", 2},
                                                      {"data_offset", -16},
                                                      {"first_sample_flags", 7},
                                                      {"samples_size", 300}}));
    expectCutsAreTrouble("trun", content, 4);
}

TEST(BoxFields, ARunWithoutSizesTakesTheDefaultOne) {
    const std::string run = fullBox("trun", 0, 0x100, be(2) + be(1) + be(1));
    EXPECT_FALSE(factsOf(run).contains("samples_size"));
    EXPECT_EQ(
        factsOf(mp4Box("traf", fullBox("tfhd", 0, 0x10, be(1) + be(50)) + run))["samples_size"],
        100);
    const std::string defaults = fullBox("trex", 0, 0, be(1) + be(1) + be(2) + be(60) + be(3));
    EXPECT_EQ(factsOf(mp4Box("mvex", defaults) + fragment(1, run))["samples_size"], 120);
    EXPECT_FALSE(factsOf(mp4Box("mvex", defaults) + fragment(2, run)).contains("samples_size"));
}

TEST(BoxFields, ASampleCountThatTheBoxCannotHoldIsTrouble) {
    for (const uint64_t flags : {0x200U, 0xF00U, 0x100U}) {
        const BoxList list(fullBox("trun", 0, flags, be(0xFFFFFFFF) + zeros(64)));
        EXPECT_NE(list.trouble(), "");
        EXPECT_EQ(list.at(0).facts["sample_count"], 0xFFFFFFFF);
    }
    EXPECT_EQ(BoxList(fullBox("trun", 0, 0, be(0xFFFFFFFF))).trouble(), "");
}

TEST(BoxFields, AuxiliarySizesAndOffsetsAreTold) {
    const json sizes = factsOf(fullBox("saiz", 0, 1, "cenc" + be(5) + be(0, 1) + be(3) + "abc"));
    EXPECT_EQ(sizes["aux_info_type"], "cenc");
    EXPECT_EQ(sizes["aux_info_parameter"], 5);
    EXPECT_EQ(sizes["default_info_size"], 0);
    EXPECT_EQ(sizes["sample_count"], 3);
    EXPECT_EQ(factsOf(fullBox("saiz", 0, 0, be(16, 1) + be(1000)))["sample_count"], 1000);
    EXPECT_NE(BoxList(fullBox("saiz", 0, 0, be(0, 1) + be(3) + "ab")).trouble(), "");
    EXPECT_EQ(factsOf(fullBox("saio", 0, 0, be(2) + be(7) + be(8)))["offsets"], json({7, 8}));
    const json longer = factsOf(fullBox("saio", 1, 1, "cenc" + be(0) + be(1) + be(1ull << 40, 8)));
    EXPECT_EQ(longer["offsets"], json({1ull << 40}));
    EXPECT_EQ(longer["entry_count"], 1);
    EXPECT_NE(BoxList(fullBox("saio", 0, 0, be(2) + be(7))).trouble(), "");
}

TEST(BoxFields, SampleEncryptionTakesTheIvSizeOfItsTrack) {
    const std::string entries = std::string("12345678") + "12345678";
    const std::string senc = fullBox("senc", 0, 0, be(2) + entries);
    const std::string movie = mp4Box("moov", track(1, 8) + track(2, 16));
    EXPECT_EQ(factsOf(movie + fragment(1, senc))["iv_size"], 8);
    EXPECT_EQ(factsOf(movie + fragment(2, fullBox("senc", 0, 0, be(1) + entries)))["iv_size"], 16);
    EXPECT_EQ(factsOf(movie + fragment(1, senc))["subsample_count"], 0);
}

TEST(BoxFields, SampleEncryptionTakesTheIvSizeOfItsSampleGroup) {
    const std::string group =
        fullBox("sgpd", 1, 0, "seig" + be(20) + be(1) + zeros(2) + be(1, 1) + be(16, 1) + kKey);
    const std::string senc = fullBox("senc", 0, 0, be(1) + std::string(16, 'i'));
    EXPECT_EQ(factsOf(mp4Box("moov", track(1, 8)) + fragment(1, group + senc))["iv_size"], 16);
}

TEST(BoxFields, SampleEncryptionFindsItsIvSizeWhereNothingTellsIt) {
    const std::string part = be(2, 2) + std::string(12, 'w'); // 'w' as a count would be too large
    for (const uint64_t size : {0U, 8U, 16U}) {
        const std::string entry = std::string(static_cast<size_t>(size), 'i') + part;
        const json facts = factsOf(fullBox("senc", 0, 2, be(3) + entry + entry + entry));
        EXPECT_EQ(facts["iv_size"], size);
        EXPECT_EQ(facts["subsample_count"], 6);
    }
    EXPECT_EQ(factsOf(fullBox("senc", 0, 0, be(5)))["iv_size"], 0);
}

TEST(BoxFields, SampleEncryptionThatDoesNotFillItsBoxIsTrouble) {
    for (const uint64_t flags : {0U, 2U}) {
        EXPECT_NE(BoxList(fullBox("senc", 0, flags, be(2) + zeros(21))).trouble(), "");
        EXPECT_NE(BoxList(fullBox("senc", 0, flags, be(0xFFFFFFFF) + zeros(21))).trouble(), "");
    }
    EXPECT_NE(BoxList(fullBox("senc", 0, 0, "")).trouble(), "");
}

TEST(BoxFields, SampleGroupsAreTold) {
    const json facts = factsOf(fullBox("sbgp", 1, 0, "seig" + be(4) + be(1) + be(9) + be(65537)));
    EXPECT_EQ(facts["grouping_type"], "seig");
    EXPECT_EQ(facts["grouping_type_parameter"], 4);
    EXPECT_EQ(facts["entries"], json({{9, 65537}}));
    const json group = factsOf(fullBox("sgpd", 1, 0,
                                       "seig" + be(0) + be(1) + be(20) + zeros(1) + be(0x19, 1) +
                                           be(1, 1) + be(8, 1) + kKey));
    EXPECT_EQ(group["entry_count"], 1);
    EXPECT_EQ(group["kid"], kKeyText);
    EXPECT_EQ(group["crypt_blocks"], 1);
    EXPECT_EQ(factsOf(fullBox("sgpd", 2, 0, "roll" + be(1) + be(1) + zeros(2)))["entry_count"], 1);
}

TEST(BoxFields, AnIndexListsItsReferences) {
    const std::string reference = be(0x80000064) + be(500) + be(0x90000000);
    const json expected = {{{"type", 1}, {"size", 100}, {"duration", 500}, {"starts_with_sap", 1}}};
    const json facts = factsOf(
        fullBox("sidx", 0, 0, be(1) + be(1000) + be(2) + be(3) + zeros(2) + be(1, 2) + reference));
    EXPECT_EQ(facts["reference_id"], 1);
    EXPECT_EQ(facts["timescale"], 1000);
    EXPECT_EQ(facts["earliest_presentation_time"], 2);
    EXPECT_EQ(facts["first_offset"], 3);
    EXPECT_EQ(facts["reference_count"], 1);
    EXPECT_EQ(facts["references"], expected);
    EXPECT_EQ(factsOf(fullBox("sidx", 1, 0,
                              be(1) + be(1000) + be(2, 8) + be(3, 8) + zeros(2) + be(1, 2) +
                                  reference))["references"],
              expected);
    EXPECT_NE(BoxList(fullBox("sidx", 0, 0, zeros(18) + be(2, 2) + reference)).trouble(), "");
}

TEST(BoxFields, AnEventTellsItsScheme) {
    const std::string texts = "urn:x" + zeros(1) + "1" + zeros(1);
    const json facts =
        factsOf(fullBox("emsg", 0, 0, texts + be(1) + be(2) + be(3) + be(4) + "message"));
    EXPECT_EQ(facts["scheme_id_uri"], "urn:x");
    EXPECT_EQ(facts["value"], "1");
    EXPECT_EQ(facts["presentation_time_delta"], 2);
    EXPECT_EQ(facts["id"], 4);
    EXPECT_EQ(facts["message_size"], 7);
    EXPECT_EQ(factsOf(fullBox("emsg", 1, 0,
                              be(1) + be(2, 8) + be(3) + be(4) + texts))["presentation_time"],
              2);
    EXPECT_NE(BoxList(fullBox("emsg", 0, 0, "no end")).trouble(), "");
}

TEST(BoxFields, RandomAccessIsTold) {
    EXPECT_EQ(factsOf(fullBox("tfra", 0, 0, be(1) + be(0) + be(5)))["entry_count"], 5);
    EXPECT_EQ(factsOf(fullBox("mfro", 0, 0, be(224)))["mfra_size"], 224);
}

TEST(BoxFields, AnotherMovieBeginsAnew) {
    const std::string senc = fullBox("senc", 0, 0, be(2) + zeros(16));
    const std::string second = mp4Box("moov", track(1, 16));
    // Two IVs of 16 bytes do not fit: the size found is the one that does.
    EXPECT_EQ(factsOf(mp4Box("moov", track(1, 8)) + second + fragment(1, senc))["iv_size"], 8);
}

TEST(BoxFields, TheWindowMovesThroughALargeBox) {
    std::string entries;
    for (int i = 0; i < 20000; ++i)
        entries += zeros(8) + be(1, 2) + zeros(6);
    EXPECT_EQ(factsOf(fullBox("senc", 0, 2, be(20000) + entries))["subsample_count"], 20000);
}

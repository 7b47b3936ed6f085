#include "MediaFaults.h"
#include "Seed.h"

#include <support/Mp4Boxes.h>

namespace {

using test::builtIn;
using test::Seed;

constexpr char kManifest[] = "manifest.mpd";
constexpr char kInit[] = "v2/init.mp4";

Seed initSeed(const char* code, std::function<void(std::string&)> put) {
    return {code, builtIn("dash-cenc"), kManifest,
            [put = std::move(put)](CheckedFolder& folder) { put(folder.file(kInit)); }};
}

/// Adds a box to the movie.
void addToMovie(std::string& init, const std::string& box) {
    const size_t type = init.find("moov");
    ASSERT_NE(type, std::string::npos);
    uint64_t whole = 0;
    for (size_t i = 0; i < 4; ++i)
        whole = whole << 8 | static_cast<unsigned char>(init[type - 4 + i]);
    init.insert(type - 4 + static_cast<size_t>(whole), box);
    init.replace(type - 4, 4, test::be(whole + box.size()));
}

/// A pssh that names a key (version 1).
std::string psshFor(const std::string& keyId) {
    return test::fullBox("pssh", 1, 0, std::string(16, 'S') + test::be(1) + keyId + test::be(0));
}

void takeProtectionAway(std::string& text) {
    for (size_t at = text.find("<ContentProtection"); at != std::string::npos;
         at = text.find("<ContentProtection")) {
        const size_t end = text.find('>', at);
        const bool isEmpty = text[end - 1] == '/';
        const std::string last = "</ContentProtection>";
        text.erase(at, (isEmpty ? end + 1 : text.find(last, at) + last.size()) - at);
    }
}

class ProtectionRule : public test::SeededFault {};

TEST_P(ProtectionRule, AloneSeesItsFault) {
    expectOnlyItsRule();
}

const Seed kSamples[] = {

    Seed{"cenc-clear-boxes", builtIn("dash"), kManifest,
         [](CheckedFolder& folder) {
             folder.replace(kManifest, "xmlns=\"urn:mpeg:dash:schema:mpd:2011\"",
                            "xmlns=\"urn:mpeg:dash:schema:mpd:2011\" "
                            "xmlns:cenc=\"urn:mpeg:cenc:2013\"");
             folder.replace(kManifest, "par=\"16:9\">",
                            "par=\"16:9\"><ContentProtection "
                            "schemeIdUri=\"urn:mpeg:dash:mp4protection:2011\" value=\"cenc\" "
                            "cenc:default_KID=\"a0a1a2a3-a4a5-a6a7-a8a9-aaabacadaeaf\"/>");
         }},
    Seed{"cenc-undeclared", builtIn("dash-cenc"), kManifest,
         [](CheckedFolder& folder) { takeProtectionAway(folder.file(kManifest)); }},
    initSeed("cenc-key-id",
             [](std::string& it) { test::setField(it, "tenc", 8, 8, 0x0102030405060708); }),
    initSeed("cenc-pssh-key-id",
             [](std::string& it) { addToMovie(it, psshFor("0123456789abcdef")); }),
    initSeed("cenc-tenc-missing", [](std::string& it) { test::hideBoxes(it, "tenc"); }),
    Seed{"cenc-samples", builtIn("dash-cenc"), kManifest,
         [](CheckedFolder& folder) {
             for (const std::string& path : folder.paths("v2/", ".m4s")) {
                 test::hideBoxes(folder.file(path), "senc");
                 test::hideBoxes(folder.file(path), "saiz");
                 test::hideBoxes(folder.file(path), "saio");
             }
         }},
};

INSTANTIATE_TEST_SUITE_P(Samples, ProtectionRule, testing::ValuesIn(kSamples), test::nameOfSeed);

const Seed kSegments[] = {

    Seed{"hls-aes-decrypt", builtIn("hls-aes"), "2/index.m3u8",
         [](CheckedFolder& folder) {
             folder.file("2/5.ts").resize(folder.file("2/5.ts").size() - 5);
         }},
    Seed{"hls-aes-nonsense", builtIn("hls-aes"), "2/index.m3u8",
         [](CheckedFolder& folder) {
             folder.replaceAll("2/index.m3u8", "URI=\"../1.key\"",
                               "URI=\"../1.key\",IV=0xf00102030405060708090a0b0c0d0e0f");
         }},
    Seed{"hls-key-size", builtIn("hls-aes"), "2/index.m3u8",
         [](CheckedFolder& folder) { folder.file("1.key") = "<html>log in</html>"; }},
};

INSTANTIATE_TEST_SUITE_P(Segments, ProtectionRule, testing::ValuesIn(kSegments), test::nameOfSeed);

TEST(ProtectionRules, AreContentWithAPsshThatFits) {
    CheckedFolder folder("dash-cenc");
    std::string& init = folder.file(kInit);
    addToMovie(init, psshFor(init.substr(init.find("tenc") + 12, 16)));
    EXPECT_EQ(linesOf(folder.check(kManifest)), "");
}

} // namespace

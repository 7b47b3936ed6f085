// Manifests in the encodings that the XML reader knows.
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/Documents.h>
#include <tools/hastool/ErrorOf.h>

#include <hastool/base/XmlDocument.h>
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/smooth/SmoothManifest.h>

#include <gtest/gtest.h>

using test::errorOf;

namespace {

/// ASCII and Latin-1 text in UTF-16.
std::string utf16(const std::string& text, bool isBig, bool hasMark) {
    std::string result;
    const auto add = [&](unsigned unit) {
        const char high = static_cast<char>(unit >> 8);
        const char low = static_cast<char>(unit & 0xFF);
        result += isBig ? high : low;
        result += isBig ? low : high;
    };
    if (hasMark)
        add(0xFEFF);
    for (const char c : text)
        add(static_cast<unsigned char>(c));
    return result;
}

const std::string kDash = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n<!-- \xE9 --><MPD "
                          "mediaPresentationDuration='PT4S'>"
                          "<Period><AdaptationSet contentType='video'><SegmentTemplate "
                          "media='\xE9$Number$' duration='2'/>"
                          "<Representation id='v' bandwidth='1'/></AdaptationSet></Period></MPD>";

const std::string kSmooth =
    "<?xml version=\"1.0\" encoding=\"utf-16\"?>\r\n<SmoothStreamingMedia MajorVersion='2' "
    "Duration='40000000'><StreamIndex Type='video' Url='Q({bitrate})/F({start time})'>"
    "<QualityLevel Index='0' Bitrate='500' FourCC='H264' CodecPrivateData='00000001'/>"
    "<c t='0' d='20000000'/><c d='20000000'/></StreamIndex></SmoothStreamingMedia>";

std::unique_ptr<hastool::Presentation> open(const std::string& text) {
    Documents documents;
    documents.set("http://h/m", text);
    return hastool::openPresentation("http://h/m", documents.fetcher(),
                                     std::chrono::milliseconds(0));
}

TEST(XmlDocument, ManifestsInUtf16ArePlayed) {
    for (const bool isBig : {false, true}) {
        for (const bool hasMark : {false, true}) {
            const auto dash = open(utf16(kDash, isBig, hasMark));
            EXPECT_EQ(nextUrl(*dash), "http://h/%C3%A91") << isBig << hasMark;
            EXPECT_EQ(nextUrl(*dash), "http://h/%C3%A92") << isBig << hasMark;
            EXPECT_EQ(nextUrl(*dash), "end") << isBig << hasMark;
            const auto smooth = open(utf16(kSmooth, isBig, hasMark));
            EXPECT_EQ(nextUrl(*smooth), "http://h/Q(500)/F(0)") << isBig << hasMark;
            EXPECT_EQ(nextUrl(*smooth), "http://h/Q(500)/F(20000000)") << isBig << hasMark;
            EXPECT_EQ(nextUrl(*smooth), "end") << isBig << hasMark;
        }
    }
}

TEST(XmlDocument, TheOutermostElementIsWhatTheReaderSays) {
    EXPECT_EQ(hastool::outermostElement("<a:MPD xmlns:a='x'><b/></a:MPD>"), "MPD");
    EXPECT_EQ(hastool::outermostElement(utf16(kDash, true, false)), "MPD");
    EXPECT_EQ(hastool::outermostElement(utf16(kSmooth, false, true)), "SmoothStreamingMedia");
    EXPECT_EQ(hastool::outermostElement("\xEF\xBB\xBF<?xml version='1.0'?><!-- <x> --><MPD/>"),
              "MPD");
    EXPECT_EQ(hastool::outermostElement("<!DOCTYPE MPD [<!ENTITY a \"<b>\">]><MPD/>"), "MPD")
        << "a DTD may hold brackets";
    EXPECT_EQ(
        hastool::outermostElement("<?xml version='1.0' encoding='ISO-8859-1'?><MPD a='\xE9'/>"),
        "MPD");
    EXPECT_EQ(hastool::outermostElement("#EXTM3U\n#EXTINF:1,<MPD/>\n"), "");
    EXPECT_EQ(hastool::outermostElement(""), "");
}

TEST(XmlDocument, WhatIsNotWellFormedIsToldForWhatItIsMeantAs) {
    EXPECT_EQ(hastool::outermostElement("<MPD><Period></MPD>"), "MPD");
    EXPECT_EQ(errorOf([] { open("<MPD><Period></MPD>"); }),
              "http://h/m: not a well-formed XML document");
    EXPECT_EQ(errorOf([] { open("<?xml version='1.0'?><x:SmoothStreamingMedia"); }),
              "http://h/m: not a well-formed XML document");
}

TEST(XmlDocument, StaysUsableWhileOthersEnd) {
    auto first = std::make_unique<hastool::XmlDocument>("<a b='1'/>", "u");
    hastool::XmlDocument second("<c d='2'/>", "u");
    first.reset();
    EXPECT_EQ(second.root().Attribute("d"), "2");
    EXPECT_EQ(errorOf([] { hastool::XmlDocument("<a>", "u"); }),
              "u: not a well-formed XML document");
    EXPECT_EQ(second.root().Name(), "c");
}

} // namespace

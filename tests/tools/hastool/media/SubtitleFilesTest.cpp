// Subtitles in MP4 and as TTML documents, and the clock of the media beside them.
#include <hastool/base/BoxBuilder.h>
#include <hastool/media/MediaClock.h>
#include <hastool/media/TtmlJoiner.h>
#include <hastool/media/WvttReader.h>

#include <gtest/gtest.h>

using hastool::BoxBuilder;
using hastool::firstTimestamp;
using hastool::kCueClock;
using hastool::TtmlJoiner;
using hastool::WvttReader;

namespace {

std::string initialisation(const std::string& entry, uint32_t timescale = 1000) {
    const std::string table = BoxBuilder()
                                  .u32(1)
                                  .bytes(BoxBuilder().zeros(6).u16(1).bytes(entry).box("wvtt"))
                                  .fullBox("stsd");
    const std::string media =
        BoxBuilder()
            .bytes(BoxBuilder().zeros(8).u32(timescale).u32(0).u32(0).fullBox("mdhd"))
            .bytes(BoxBuilder().bytes(BoxBuilder().bytes(table).box("stbl")).box("minf"))
            .box("mdia");
    const std::string track =
        BoxBuilder().bytes(BoxBuilder().zeros(8).u32(3).fullBox("tkhd")).bytes(media).box("trak");
    const std::string defaults = BoxBuilder().u32(3).u32(1).u32(500).u32(0).u32(0).fullBox("trex");
    return BoxBuilder().bytes(track).bytes(BoxBuilder().bytes(defaults).box("mvex")).box("moov");
}

std::string cueBox(const std::string& text, const std::string& id = "") {
    BoxBuilder cue;
    if (!id.empty())
        cue.bytes(BoxBuilder().bytes(id).box("iden"));
    return cue.bytes(BoxBuilder().bytes("line:0").box("sttg"))
        .bytes(BoxBuilder().bytes(text).box("payl"))
        .box("vttc");
}

struct Sample {
    std::string bytes;
    uint32_t duration;
};

std::string fragment(uint32_t time, const std::vector<Sample>& samples, uint32_t track = 3) {
    const auto make = [&](uint32_t offset) {
        BoxBuilder run;
        run.u32(static_cast<uint32_t>(samples.size())).u32(offset);
        std::string data;
        for (const Sample& it : samples) {
            run.u32(it.duration).u32(static_cast<uint32_t>(it.bytes.size()));
            data += it.bytes;
        }
        const std::string traf = BoxBuilder()
                                     .bytes(BoxBuilder().u32(track).fullBox("tfhd", 0, 0x20000))
                                     .bytes(BoxBuilder().u32(time).fullBox("tfdt"))
                                     .bytes(run.fullBox("trun", 0, 0x301))
                                     .box("traf");
        return std::pair(BoxBuilder().bytes(traf).box("moof"),
                         BoxBuilder().bytes(data).box("mdat"));
    };
    const auto size = static_cast<uint32_t>(make(0).first.size());
    const auto [moof, mdat] = make(size + 8);
    return moof + mdat;
}

/// A packet that begins a PES packet of video with a PTS.
std::string packet(int64_t pts, unsigned pid, unsigned char stream = 0xE0) {
    std::string bytes = {0x47, static_cast<char>(0x40 | pid >> 8), static_cast<char>(pid), 0x10};
    bytes +=
        std::string("\0\0\1", 3) + static_cast<char>(stream) + std::string("\0\0\x80\x80\x05", 5);
    bytes += static_cast<char>(0x21 | (pts >> 29 & 0x0E));
    bytes += static_cast<char>(pts >> 22);
    bytes += static_cast<char>((pts >> 14 & 0xFE) | 1);
    bytes += static_cast<char>(pts >> 7);
    bytes += static_cast<char>((pts << 1 & 0xFE) | 1);
    bytes.resize(188, '\xFF');
    return bytes;
}

} // namespace

TEST(WvttReader, ReadsTheCuesOfAFragment) {
    const auto reader =
        WvttReader::open(initialisation(BoxBuilder().bytes("WEBVTT\n\nSTYLE\nx").box("vttC")));
    ASSERT_TRUE(reader);
    const auto document =
        reader->read(fragment(4000, {{cueBox("one\n\ntwo --> x", "i") + cueBox("other"), 1000},
                                     {BoxBuilder().box("vtte"), 500},
                                     {cueBox("three"), 250}}));
    ASSERT_TRUE(document);
    ASSERT_EQ(document->cues.size(), 3U);
    EXPECT_EQ(document->cues[0].start, 4 * kCueClock);
    EXPECT_EQ(document->cues[0].end, 5 * kCueClock);
    EXPECT_EQ(document->cues[0].id, "i");
    EXPECT_EQ(document->cues[0].settings, "line:0");
    EXPECT_EQ(document->cues[0].text, "one\ntwo --&gt; x");
    EXPECT_EQ(document->cues[1].text, "other");
    EXPECT_EQ(document->cues[2].start, kCueClock * 11 / 2);
    EXPECT_EQ(document->blocks, std::vector<std::string>{"STYLE\nx"});
}

TEST(WvttReader, PassesOtherTracksOverAndRefusesWhatIsBroken) {
    EXPECT_FALSE(WvttReader::open("<html>"));
    EXPECT_FALSE(WvttReader::open(initialisation("", 0)));
    const auto reader = WvttReader::open(initialisation(""));
    ASSERT_TRUE(reader);
    EXPECT_FALSE(reader->read("<html>"));
    const std::string good = fragment(0, {{cueBox("x"), 1}});
    EXPECT_TRUE(reader->read(fragment(0, {{cueBox("x"), 1}}, 9))->cues.empty());
    EXPECT_FALSE(reader->read(good.substr(0, good.size() - 1))) << "the sample is cut";
}

TEST(WvttReader, BoundsTheNumberOfSamples) {
    const auto reader = WvttReader::open(initialisation(""));
    const std::string run = BoxBuilder().u32(0xFFFFFFFF).fullBox("trun", 0, 0);
    const std::string traf =
        BoxBuilder().bytes(BoxBuilder().u32(3).fullBox("tfhd")).bytes(run).box("traf");
    const auto document = reader->read(BoxBuilder().bytes(traf).box("moof"));
    ASSERT_TRUE(document);
    EXPECT_TRUE(document->cues.empty());
}

TEST(TtmlJoiner, PutsTheBodiesOfAllIntoTheFirst) {
    TtmlJoiner joiner;
    EXPECT_EQ(joiner.text(), "");
    const auto document = [](const std::string& content, const std::string& head = "") {
        return "<?xml version='1.0'?><!-- <body> --><tt:tt a='>'><tt:head>" + head +
               "</tt:head><tt:body b='x>y'>" + content + "</tt:body></tt:tt>\n";
    };
    joiner.add(document("<tt:div>1</tt:div>"));
    joiner.add(document("<tt:div>2</tt:div>"));
    joiner.add(document("<tt:div>2</tt:div>"));
    joiner.add(document("<tt:div>3</tt:div>", "<other/>"));
    EXPECT_EQ(joiner.text(), document("<tt:div>1</tt:div><tt:div>2</tt:div>"));
    EXPECT_EQ(joiner.leftOut(), 1U);
}

TEST(TtmlJoiner, BeginsWithTheFirstDocumentThatSaysAnything) {
    TtmlJoiner joiner;
    joiner.add("<tt><body/></tt>");
    EXPECT_EQ(joiner.text(), "<tt><body/></tt>");
    joiner.add("<tt/>");
    EXPECT_EQ(joiner.text(), "<tt><body/></tt>");
    joiner.add("<tt><body>x</body></tt>");
    joiner.add("<tt/>");
    EXPECT_EQ(joiner.text(), "<tt><body>x</body></tt>");
    for (const char* const cut : {"<", "<tt", "<tt><body", "<tt><body>", "<!--", "<![CDATA[", "</"})
        TtmlJoiner().add(cut);
}

TEST(MediaClock, IsTheEarliestOfATransportStreamsBegins) {
    const int64_t pts = (int64_t{1} << 32) + 123456789;
    EXPECT_EQ(firstTimestamp("", packet(pts + 900, 0x100) + packet(pts, 0x101, 0xC0) +
                                     packet(5, 0x100) + packet(7, 0x102, 0xBE)),
              pts);
    EXPECT_EQ(firstTimestamp("", "no stream"), std::nullopt);
}

TEST(MediaClock, IsTheDecodeTimeOfAFragment) {
    EXPECT_EQ(firstTimestamp(initialisation("", 1000), fragment(2500, {{"x", 1}})),
              kCueClock * 5 / 2);
    EXPECT_EQ(firstTimestamp(initialisation("", 0), fragment(2500, {{"x", 1}})), std::nullopt);
    EXPECT_EQ(firstTimestamp(initialisation(""), fragment(1, {{"x", 1}}, 8)), std::nullopt);
    EXPECT_EQ(firstTimestamp("x", "y"), std::nullopt);
}

#include <tools/hastool/VirtualPlay.h>

#include <hastool/base/BoxBuilder.h>
#include <hastool/base/IsoTime.h>
#include <support/AesPeer.h>
#include <support/TempDir.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using test::VirtualPlay;

namespace {

const std::vector<int> kBitrates = {300000, 800000, 1600000, 3000000};

/// A play whose line falls to next to nothing for a while.
void addOutage(VirtualPlay& play) {
    play.options.rule = "hybrid";
    play.options.bufferGoal = 10s;
    play.line.rates = {{0ms, 5000000}, {20000ms, 250000}, {40000ms, 5000000}};
}

/// Each segment once, one behind the other.
void expectWhole(const VirtualPlay& play, size_t count) {
    std::vector<uint64_t> numbers;
    for (const auto& row : play.rows) {
        EXPECT_FALSE(row.skipped);
        if (!row.isAudio)
            numbers.push_back(row.index);
    }
    ASSERT_EQ(numbers.size(), count);
    for (size_t i = 0; i < count; ++i)
        EXPECT_EQ(numbers[i], numbers[0] + i);
}

const hastool::TraceRow* findGivenUp(const VirtualPlay& play) {
    const auto found = std::find_if(play.rows.begin(), play.rows.end(),
                                    [](const auto& row) { return row.givenUp > 0; });
    return found != play.rows.end() ? &*found : nullptr;
}

/// What was given up is in the rows, the events and the summary alike.
void expectGivenUp(const VirtualPlay& play) {
    uint64_t givenUp = 0;
    uint64_t wasted = 0;
    for (const auto& row : play.rows) {
        givenUp += static_cast<uint64_t>(row.givenUp);
        wasted += row.wasted;
        EXPECT_EQ(row.givenUp == 0, row.wasted == 0);
    }
    EXPECT_GT(givenUp, 0U);
    EXPECT_EQ(play.summary.givenUp, givenUp);
    EXPECT_EQ(play.summary.wasted, wasted);
    EXPECT_EQ(
        static_cast<uint64_t>(std::count_if(play.events.begin(), play.events.end(),
                                            [](const auto& it) { return it.kind == "give-up"; })),
        givenUp);
}

/// A body that tells its stream and segment, of two seconds.
std::string bodyOf(size_t stream, uint64_t index) {
    std::string body(static_cast<size_t>(kBitrates[stream]) / 4, static_cast<char>('a' + stream));
    const std::string head = std::to_string(stream) + "/" + std::to_string(index) + "/";
    body.replace(0, head.size(), head);
    return body;
}

VirtualPlay::Answer whole(const std::string& bytes) {
    VirtualPlay::Answer answer;
    answer.bytes = bytes;
    return answer;
}

/// Serves "v2/17.ts" by a function of stream and index.
void serveBodies(VirtualPlay& play,
                 const std::function<std::string(size_t stream, uint64_t index)>& body) {
    play.special = [body](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        const size_t slash = name.find('/');
        if (name[0] != 'v' || slash == std::string::npos)
            return std::nullopt;
        return whole(body(std::stoul(name.substr(1)), std::stoull(name.substr(slash + 1))));
    };
}

std::string contentOf(const std::string& path) {
    std::string content(static_cast<size_t>(std::filesystem::file_size(path)), '\0');
    std::ifstream(path, std::ios::binary)
        .read(content.data(), static_cast<std::streamsize>(content.size()));
    return content;
}

/// What the main track's rows say the output should be.
std::string mediaOf(const VirtualPlay& play) {
    std::string media;
    for (const auto& row : play.rows)
        media += row.isAudio ? "" : bodyOf(row.stream, row.index);
    return media;
}

const char* const kSet = "<AdaptationSet mimeType='video/mp4'><SegmentTemplate "
                         "media='$RepresentationID$/$Number$.ts' startNumber='0' duration='2'/>"
                         "<Representation id='v0' bandwidth='300000'/>"
                         "<Representation id='v1' bandwidth='800000'/>"
                         "<Representation id='v2' bandwidth='1600000'/>"
                         "<Representation id='v3' bandwidth='3000000'/></AdaptationSet>";

} // namespace

TEST(GiveUp, AnOutageInASegmentLeadsToALowerStreamOfIt) {
    VirtualPlay play;
    play.addVideo(kBitrates, 40);
    addOutage(play);
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    expectGivenUp(play);
    const hastool::TraceRow* const row = findGivenUp(play);
    ASSERT_NE(row, nullptr);
    const std::string name = "/" + std::to_string(row->index) + ".ts";
    const std::string lower = "v" + std::to_string(row->stream) + name;
    EXPECT_EQ(play.requestsFor(lower), 1);
    int higher = 0;
    for (size_t i = row->stream + 1; i < kBitrates.size(); ++i)
        higher += play.requestsFor("v" + std::to_string(i) + name);
    EXPECT_EQ(higher, row->givenUp) << "asked for first, of a higher stream";
    EXPECT_STREQ(row->change, "down");
    EXPECT_GT(row->wasted, 0U);
    EXPECT_LT(row->wasted, 750000U);
    EXPECT_EQ(play.requestsFor("v0/39.ts") + play.requestsFor("v1/39.ts") +
                  play.requestsFor("v2/39.ts") + play.requestsFor("v3/39.ts"),
              1);
}

TEST(GiveUp, SparesTheViewerAStall) {
    VirtualPlay patient;
    patient.addVideo(kBitrates, 40);
    addOutage(patient);
    patient.options.rule = "adaptive";
    EXPECT_EQ(patient.play(), "");
    EXPECT_EQ(patient.summary.givenUp, 0U) << "the system's rule never gives up";
    EXPECT_EQ(findGivenUp(patient), nullptr);

    VirtualPlay hasty;
    hasty.addVideo(kBitrates, 40);
    addOutage(hasty);
    EXPECT_EQ(hasty.play(), "");
    EXPECT_LT(hasty.summary.stallTime, patient.summary.stallTime);
    EXPECT_GT(patient.summary.stallTime, 0);
}

TEST(GiveUp, NothingOnASteadyLine) {
    for (const uint64_t rate : {600000U, 1000000U, 2500000U, 9000000U}) {
        VirtualPlay play;
        play.addVideoAndAudio(kBitrates, 60);
        play.options.rule = "hybrid";
        play.line.rates = {{0ms, rate}};
        EXPECT_EQ(play.play(), "");
        expectWhole(play, 60);
        EXPECT_EQ(play.summary.givenUp, 0U) << rate;
        EXPECT_EQ(play.summary.wasted, 0U);
        EXPECT_EQ(play.summary.stalls, 0) << rate;
    }
}

TEST(GiveUp, TheOutputIsWholeInHls) {
    const test::TempDir dir;
    VirtualPlay play;
    play.addVideoAndAudio(kBitrates, 40);
    addOutage(play);
    serveBodies(play, bodyOf);
    play.options.output = dir.file("film.ts");
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    expectGivenUp(play);
    EXPECT_TRUE(contentOf(play.options.output) == mediaOf(play));
    EXPECT_EQ(std::count_if(play.rows.begin(), play.rows.end(),
                            [](const auto& row) { return row.isAudio && row.givenUp > 0; }),
              0);
}

/// Each stream under a key of its own, which is fetched when it is needed.
TEST(GiveUp, TheOutputIsWholeInHlsUnderKeys) {
    const test::TempDir dir;
    VirtualPlay play;
    play.addVideo(kBitrates, 40);
    addOutage(play);
    const auto keyOf = [](size_t stream) {
        return std::string(16, static_cast<char>('a' + stream));
    };
    for (size_t i = 0; i < kBitrates.size(); ++i)
        play.texts[VirtualPlay::kBase + "v" + std::to_string(i) + ".m3u8"].insert(
            8, "#EXT-X-KEY:METHOD=AES-128,URI=\"key" + std::to_string(i) + "\"\n");
    serveBodies(play, [&](size_t stream, uint64_t index) {
        test::AesSetting setting;
        const std::string key = keyOf(stream);
        setting.key.assign(key.begin(), key.end());
        setting.iv = test::Bytes(16, 0);
        setting.iv.back() = static_cast<unsigned char>(index);
        setting.padding = true;
        const std::string body = bodyOf(stream, index);
        const auto cipher = test::encrypted(setting, test::Bytes(body.begin(), body.end()));
        return std::string(cipher.begin(), cipher.end());
    });
    play.special = [&, media = play.special](const std::string& name) {
        return name.rfind("key", 0) == 0 ? std::optional(whole(keyOf(std::stoul(name.substr(3)))))
                                         : media(name);
    };
    play.options.output = dir.file("film.ts");
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    expectGivenUp(play);
    EXPECT_TRUE(contentOf(play.options.output) == mediaOf(play));
}

TEST(GiveUp, TheOutputIsWholeInDash) {
    const test::TempDir dir;
    VirtualPlay play;
    addOutage(play);
    play.options.url = VirtualPlay::kBase + "m.mpd";
    play.texts[play.options.url] =
        std::string("<MPD mediaPresentationDuration='PT80S'><Period>") + kSet + "</Period></MPD>";
    serveBodies(play, bodyOf);
    play.options.output = dir.file("film.mp4");
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    expectGivenUp(play);
    EXPECT_TRUE(contentOf(play.options.output) == mediaOf(play));
}

TEST(GiveUp, TheOutputIsWholeInSmooth) {
    const test::TempDir dir;
    VirtualPlay play;
    addOutage(play);
    play.options.url = VirtualPlay::kBase + "s.ism/Manifest";
    std::string manifest = "<SmoothStreamingMedia TimeScale='1'><StreamIndex Type='video' "
                           "Url='{bitrate}/{start time}'>";
    for (const int bitrate : kBitrates)
        manifest += "<QualityLevel Bitrate='" + std::to_string(bitrate) +
                    "' FourCC='H264' MaxWidth='64' MaxHeight='48' CodecPrivateData='"
                    "000000016742c00d8d650000000168ce3c80'/>";
    play.texts[play.options.url] =
        manifest + "<c d='2' r='40'/></StreamIndex></SmoothStreamingMedia>";
    const auto streamOf = [](const std::string& bitrate) {
        return static_cast<size_t>(
            std::find(kBitrates.begin(), kBitrates.end(), std::stoi(bitrate)) - kBitrates.begin());
    };
    play.special = [&](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        const size_t begin = name.find('/') + 1;
        const size_t end = name.find('/', begin);
        if (end == std::string::npos)
            return std::nullopt;
        const std::string tfhd = hastool::BoxBuilder().u32(1).fullBox("tfhd");
        const std::string traf = hastool::BoxBuilder().bytes(tfhd).box("traf");
        const auto stream = streamOf(name.substr(begin, end - begin));
        return whole(hastool::BoxBuilder().bytes(traf).box("moof") +
                     hastool::BoxBuilder()
                         .bytes(bodyOf(stream, std::stoull(name.substr(end + 1)) / 2))
                         .box("mdat"));
    };
    play.options.output = dir.file("film.mp4");
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    expectGivenUp(play);
    std::string media = contentOf(play.options.output);
    for (const auto& row : play.rows) {
        const size_t at = media.find(bodyOf(row.stream, row.index));
        ASSERT_NE(at, std::string::npos) << row.index;
        media.erase(0, at);
    }
}

TEST(GiveUp, ALivePlayGoesOn) {
    VirtualPlay play;
    play.addVideo(kBitrates, 1);
    addOutage(play);
    play.line.rates = {{0ms, 5000000}, {19200ms, 400000}, {40000ms, 5000000}};
    play.options.duration = 90;
    play.special = [&](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name[0] != 'v' || name.find(".m3u8") == std::string::npos)
            return std::nullopt;
        return whole(VirtualPlay::mediaPlaylist(name.substr(0, name.find('.')),
                                                static_cast<int>(play.seconds() / 2), 12, false));
    };
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 45);
    expectGivenUp(play);
}

TEST(GiveUp, ALiveDashPlayGoesOn) {
    VirtualPlay play;
    addOutage(play);
    play.options.url = VirtualPlay::kBase + "m.mpd";
    play.options.duration = 90;
    const double begin = static_cast<double>(play.clock.milliseconds()) / 1000 - 100;
    play.texts[play.options.url] = "<MPD type='dynamic' suggestedPresentationDelay='PT12S' "
                                   "availabilityStartTime='" +
                                   hastool::isoDateTime(begin) + "'><Period start='PT0S'>" + kSet +
                                   "</Period></MPD>";
    serveBodies(play, bodyOf);
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 45);
    expectGivenUp(play);
}

TEST(GiveUp, AFastPlayToo) {
    VirtualPlay play;
    play.addVideo(kBitrates, 60);
    addOutage(play);
    play.options.fast = true;
    play.options.bufferGoal = 4s; // below what a fast play keeps
    play.line.rates = {{0ms, 5000000}, {5100ms, 100000}, {25000ms, 5000000}};
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 60);
    expectGivenUp(play);
}

/// The transfer had ended when it was to be cancelled.
TEST(GiveUp, WhatHasEndedIsTaken) {
    VirtualPlay play;
    play.addVideo(kBitrates, 40);
    addOutage(play);
    play.isLate = true;
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    EXPECT_EQ(play.summary.givenUp, 0U);
    EXPECT_EQ(play.summary.wasted, 0U);
    EXPECT_EQ(findGivenUp(play), nullptr);
    EXPECT_EQ(play.summary.downloads, play.requests.size());
}

/// While the viewer pauses, no bytes come, and that is not the line's fault.
TEST(GiveUp, NotForAPauseOfTheViewer) {
    VirtualPlay play;
    play.addVideo(kBitrates, 30);
    play.options.rule = "hybrid";
    play.line.rates = {{0ms, 2000000}};
    play.options.pauseAt = 9;
    play.options.pauseFor = 60;
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 30);
    EXPECT_EQ(play.summary.givenUp, 0U);
    EXPECT_EQ(play.summary.stalls, 0);
    EXPECT_GT(play.rows.back().stream, 0U);
}

/// With the system's rule one more piece is under way than the buffer takes, and held.
TEST(GiveUp, AFullBufferComesBeforeTheChoice) {
    VirtualPlay play;
    play.addVideoAndAudio(kBitrates, 40);
    play.options.rule = "hybrid";
    play.options.bufferGoal = 10s;
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    EXPECT_EQ(play.summary.stalls, 0);
    double highest = 0;
    for (const auto& row : play.rows) {
        EXPECT_LT(row.choiceBuffer, 10000);
        EXPECT_LT(row.time - row.begin, 2) << "nothing is held";
        highest = std::max(highest, row.buffer);
    }
    EXPECT_GT(highest, 10);
}

TEST(GiveUp, TheLowerStreamsManifestMayFail) {
    VirtualPlay play;
    play.addVideo(kBitrates, 40);
    addOutage(play);
    play.options.startBitrate = 3000000;
    play.line.rates[0].bitsPerSecond = 30000000; // so that no other is chosen before the outage
    play.special = [](const std::string& name) -> std::optional<VirtualPlay::Answer> {
        if (name != "v0.m3u8" && name != "v1.m3u8" && name != "v2.m3u8")
            return std::nullopt;
        VirtualPlay::Answer answer;
        answer.failure = "HTTP 404";
        return answer;
    };
    EXPECT_EQ(play.play(), "");
    expectWhole(play, 40);
    for (const auto& row : play.rows)
        EXPECT_EQ(row.stream, 3U);
    EXPECT_GT(play.summary.givenUp, 0U);
    EXPECT_FALSE(play.troubles.empty());
}

TEST(GiveUp, ASegmentThatTheLowerStreamLacksComesOfTheHigher) {
    VirtualPlay play;
    play.addVideo(kBitrates, 40);
    addOutage(play);
    for (const char* name : {"v0.m3u8", "v1.m3u8", "v2.m3u8"}) {
        std::string& text = play.texts[VirtualPlay::kBase + name];
        for (size_t at = text.find("#EXTINF"); at != std::string::npos;
             at = text.find("#EXTINF", at + 13))
            text.insert(at, "#EXT-X-GAP\n");
    }
    play.options.startBitrate = 3000000;
    play.line.rates[0].bitsPerSecond = 30000000; // so that no other is chosen before the outage
    EXPECT_EQ(play.play(), "");
    const hastool::TraceRow* const row = findGivenUp(play);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->stream, 3U);
    EXPECT_FALSE(row->skipped);
    EXPECT_STREQ(row->change, "");
    EXPECT_EQ(row->givenUp, 1);
}

TEST(GiveUp, TheMediaIsToldOfOnce) {
    VirtualPlay play;
    play.addVideo(kBitrates, 40);
    addOutage(play);
    for (size_t i = 0; i < kBitrates.size(); ++i) {
        std::string& text = play.texts[VirtualPlay::kBase + "v" + std::to_string(i) + ".m3u8"];
        for (size_t at = text.find("#EXTINF"); at != std::string::npos;
             at = text.find("#EXTINF", at + 30))
            text.insert(at, "#EXT-X-DISCONTINUITY\n");
    }
    EXPECT_EQ(play.play(), "");
    expectGivenUp(play);
    EXPECT_EQ(std::count_if(play.events.begin(), play.events.end(),
                            [](const auto& it) { return it.kind == "discontinuity"; }),
              40);
}

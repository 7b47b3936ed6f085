// What a presentation holds, as text and as JSON.
#include <hastool/info/InfoJson.h>
#include <hastool/info/InfoText.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using hastool::InfoStream;
using hastool::InfoTrack;
using hastool::PresentationInfo;
using nlohmann::ordered_json;

namespace {

InfoStream stream(uint64_t bitrate, const std::string& codecs, uint64_t count, double seconds) {
    InfoStream result;
    result.bitrate = bitrate;
    result.codecs = codecs;
    result.segments =
        hastool::InfoLengths{count, seconds, seconds, seconds * static_cast<double>(count)};
    return result;
}

PresentationInfo example() {
    PresentationInfo info;
    info.url = "http://me:secret@h/m.m3u8?token=1";
    info.format = "HLS";
    info.isLive = false;
    info.duration = 65;
    InfoTrack video;
    video.kind = "video";
    video.streams = {stream(400000, "avc1.4d401e", 10, 6.5), stream(1200000, "", 0, 0)};
    video.streams[0].width = 640;
    video.streams[0].height = 360;
    video.streams[0].frameRate = 30000 / 1001.0;
    video.streams[1].segments.reset();
    video.streams[1].error = "http://h/hi.m3u8?token=2: HTTP 404";
    video.protections = {{"Widevine", "urn:uuid:w", "", {"k1"}},
                         {"mp4protection", "urn:m", "cenc", {"k1", "k2"}}};
    InfoTrack audio;
    audio.kind = "audio";
    audio.language = "en";
    audio.name = "Eng\x1b[31mlish";
    audio.isDefault = true;
    audio.streams = {stream(0, "mp4a.40.2", 10, 6.5)};
    audio.streams[0].channels = 2;
    info.periods.push_back({"", 0, 65, {video, audio}});
    return info;
}

TEST(InfoText, IsATableForEachKindOfTracks) {
    EXPECT_EQ(toText(example()), "http://me:...@h/m.m3u8?...\n"
                                 "HLS, recorded, 1 min 5.0 s\n"
                                 "\n"
                                 "Video\n"
                                 "      bitrate     size    fps  segs  s each  codecs\n"
                                 "   400 kbit/s  640x360  29.97    10    6.50  avc1.4d401e\n"
                                 "  1.20 Mbit/s                     ?\n"
                                 "  protection: Widevine, mp4protection (cenc)\n"
                                 "  key ids: k1\n"
                                 "           k2\n"
                                 "\n"
                                 "Audio\n"
                                 "  lang  name          role     ch  segs  s each  codecs\n"
                                 "  en    Eng?[31mlish  default   2    10    6.50  mp4a.40.2\n"
                                 "\n"
                                 "Could not be read\n"
                                 "  http://h/hi.m3u8?...: HTTP 404\n");
}

TEST(InfoText, UnevenSegmentsHaveThreeLengths) {
    PresentationInfo info = example();
    info.periods[0].tracks.erase(info.periods[0].tracks.begin());
    info.periods[0].tracks[0].streams[0].segments->add(1);
    const std::string text = toText(info);
    EXPECT_NE(text.find("segs   min  mean  max s  codecs\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  11  1.00  6.00   6.50  mp4a.40.2\n"), std::string::npos) << text;
}

TEST(InfoText, SeveralPeriodsHaveHeadings) {
    PresentationInfo info = example();
    info.periods.push_back({"p\n2", 65, {}, {}});
    info.isLive = true;
    info.duration.reset();
    info.timeShift = 3725.04;
    const std::string text = toText(info);
    EXPECT_NE(text.find("HLS, live, the last 1 h 2 min 5.0 s can be had, 2 periods\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\nPeriod 1, from 0.0 s, 1 min 5.0 s long\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nPeriod 2 \"p?2\", from 1 min 5.0 s\n"), std::string::npos) << text;
}

TEST(InfoText, APeriodLikeTheOneBeforeIsNotRepeated) {
    PresentationInfo info = example();
    info.periods.push_back(info.periods[0]);
    info.periods.push_back({"", 130, {}, {}});
    const std::string text = toText(info);
    EXPECT_NE(text.find("\nPeriod 2, from 0.0 s, 1 min 5.0 s long\n"
                        "  the same as in the period before\n"
                        "\nPeriod 3, from 2 min 10.0 s\n  nothing to play\n"),
              std::string::npos)
        << text;
}

TEST(InfoText, TracksOfOtherProtectionAreToldApart) {
    PresentationInfo info = example();
    InfoTrack clear = info.periods[0].tracks[1];
    clear.name = "clear one";
    info.periods[0].tracks[1].protections = {{"AES-128", "identity", "AES-128", {}}};
    info.periods[0].tracks.push_back(clear);
    const std::string text = toText(info);
    EXPECT_NE(text.find("lish: protection: AES-128\n  en clear one: clear\n"), std::string::npos)
        << text;
}

TEST(InfoText, ManyKeysAreCounted) {
    PresentationInfo info = example();
    auto& keys = info.periods[0].tracks[0].protections[0].keyIds;
    keys.clear();
    for (int i = 0; i < 100; ++i)
        keys.push_back("key" + std::to_string(i));
    const std::string text = toText(info);
    EXPECT_NE(text.find("key7\n           and 94 more, which --json lists\n"), std::string::npos)
        << text;
}

TEST(InfoJson, HasTheDocumentedKeys) {
    const ordered_json json = toJson(example());
    const ordered_json expected = ordered_json::parse(R"({
      "url": "http://me:...@h/m.m3u8?...", "format": "HLS", "live": false, "duration_s": 65.0,
      "time_shift_s": null, "protection": [], "periods": [{"id": "", "start_s": 0.0,
      "duration_s": 65.0, "tracks": [{"type": "video", "id": "", "group": "", "name": "",
      "language": "", "roles": [], "default": false, "forced": false, "trick_mode": false,
      "protection": [{"system": "Widevine", "scheme": "urn:uuid:w", "value": "",
      "key_ids": ["k1"]}, {"system": "mp4protection", "scheme": "urn:m", "value": "cenc",
      "key_ids": ["k1", "k2"]}], "streams": [{"id": "", "bitrate_bps": 400000,
      "average_bitrate_bps": null, "codecs": "avc1.4d401e", "mime_type": "", "width": 640,
      "height": 360, "frame_rate": 29.97002997002997, "channels": null, "sampling_rate_hz": null,
      "audio_group": "", "segments": {"count": 10, "shortest_s": 6.5, "mean_s": 6.5,
      "longest_s": 6.5}, "error": ""}, {"id": "", "bitrate_bps": 1200000,
      "average_bitrate_bps": null, "codecs": "", "mime_type": "", "width": null, "height": null,
      "frame_rate": null, "channels": null, "sampling_rate_hz": null, "audio_group": "",
      "segments": null, "error": "http://h/hi.m3u8?...: HTTP 404"}]}, {"type": "audio", "id": "",
      "group": "", "name": "Eng\u001b[31mlish", "language": "en", "roles": [], "default": true,
      "forced": false, "trick_mode": false, "protection": [], "streams": [{"id": "",
      "bitrate_bps": null, "average_bitrate_bps": null, "codecs": "mp4a.40.2", "mime_type": "",
      "width": null, "height": null, "frame_rate": null, "channels": 2, "sampling_rate_hz": null,
      "audio_group": "", "segments": {"count": 10, "shortest_s": 6.5, "mean_s": 6.5,
      "longest_s": 6.5}, "error": ""}]}]}], "warnings": [], "errors": [], "complete": false})");
    EXPECT_EQ(json.dump(1), expected.dump(1));
}

} // namespace

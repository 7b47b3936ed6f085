// Small recorded presentations to publish live, and a clock that a test sets.
#pragma once

#include "TsBuilder.h"

#include <hastool/origin/LiveTime.h>
#include <support/Mp4Boxes.h>
#include <support/TempDir.h>

#include <condition_variable>
#include <mutex>
#include <string>

namespace test {

/// Stands still until it is set. A wait ends when the time has come.
class SetTime : public hastool::LiveTime {
public:
    explicit SetTime(double now)
        : m_now(now) {}

    double now() const override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_now;
    }
    bool waitUntil(double time) override {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_waiting;
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_isStopped || m_now >= time; });
        --m_waiting;
        return !m_isStopped;
    }
    void stop() override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isStopped = true;
        m_changed.notify_all();
    }
    void set(double now) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_now = now;
        m_changed.notify_all();
    }
    /// Returns when somebody waits.
    void awaitWaiter() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return m_waiting > 0; });
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    double m_now;
    int m_waiting = 0;
    bool m_isStopped = false;
};

/// An initialisation of one track, number 1, in units of milliseconds.
inline std::string liveInit() {
    const std::string tkhd = fullBox("tkhd", 0, 0, zeros(8) + be(1) + zeros(68));
    const std::string mdhd = fullBox("mdhd", 0, 0, zeros(8) + be(1000) + be(0) + zeros(4));
    const std::string trex = fullBox("trex", 0, 0, be(1) + be(1) + be(100) + be(3) + be(0x10000));
    return mp4Box("moov", mp4Box("trak", tkhd + mp4Box("mdia", mdhd)) + mp4Box("mvex", trex));
}

/// A segment of 20 samples of 100 ms and 3 bytes, "a00", "a01"..., the first a key picture.
inline std::string liveSegment(char name, uint64_t time, const std::string& inTraf = "",
                               const std::string& inTop = "") {
    std::string data;
    for (int i = 0; i < 20; ++i)
        data += std::string(1, name) + static_cast<char>('0' + i / 10) +
                static_cast<char>('0' + i % 10);
    const auto moof = [&](size_t offset) {
        return mp4Box(
            "moof",
            fullBox("mfhd", 0, 0, be(1)) +
                mp4Box("traf",
                       fullBox("tfhd", 0, 0x20000, be(1)) + fullBox("tfdt", 1, 0, be(time, 8)) +
                           fullBox("trun", 0, 0x5, be(20) + be(offset) + be(0x2000000)) + inTraf));
    };
    return mp4Box("styp", "msdh") + inTop + moof(moof(0).size() + 8) + mp4Box("mdat", data);
}

/// A segment of a transport stream: 20 pictures of 100 ms, a packet each, from a time on.
inline std::string liveTsSegment(char name, double begin = 10) {
    std::string text;
    for (int i = 0; i < 20; ++i) {
        const auto time = static_cast<uint64_t>((begin + i * 0.1) * 90000 + 0.5);
        Packet packet;
        packet.pid = 0x100;
        packet.counter = i;
        packet.start = true;
        packet.payload = {0,
                          0,
                          1,
                          0xE0,
                          0,
                          0,
                          0x80,
                          0x80,
                          5,
                          low(static_cast<unsigned int>(0x21 | (time >> 29 & 0xE))),
                          low(static_cast<unsigned int>(time >> 22)),
                          low(static_cast<unsigned int>((time >> 14 & 0xFE) | 1)),
                          low(static_cast<unsigned int>(time >> 7)),
                          low(static_cast<unsigned int>((time << 1 & 0xFE) | 1)),
                          static_cast<unsigned char>(name),
                          low(static_cast<unsigned int>(i))};
        const Bytes bytes = bytesOf(packet);
        text.append(bytes.begin(), bytes.end());
    }
    return text;
}

/// DASH: /d/m.mpd, 3 segments of 2 s.
inline void writeLiveDash(const TempDir& folder, const std::string& attributes = "duration=\"2\"",
                          const std::string& timeline = "") {
    folder.write("d/i.mp4", liveInit());
    for (int i = 0; i < 3; ++i)
        folder.write("d/" + std::to_string(i + 1) + ".m4s",
                     liveSegment(static_cast<char>('a' + i), static_cast<uint64_t>(i) * 2000, "",
                                 fullBox("sidx", 0, 0, zeros(20))));
    folder.write("d/m.mpd",
                 "<MPD type=\"static\" mediaPresentationDuration=\"PT6S\"><Period><AdaptationSet "
                 "contentType=\"video\"><SegmentTemplate initialization=\"i.mp4\" "
                 "media=\"$Number$.m4s\" " +
                     attributes + ">" + timeline +
                     "</SegmentTemplate><Representation id=\"v\" bandwidth=\"100\" "
                     "codecs=\"avc1.4D401F\"/></AdaptationSet></Period></MPD>");
}

/// HLS: /h/m.m3u8, 3 segments of 2 s. @param tags  before the first segment
inline void writeLiveHls(const TempDir& folder, const std::string& tags = "") {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:7\n" + tags;
    for (int i = 0; i < 3; ++i) {
        folder.write("h/" + std::to_string(i) + ".ts", liveTsSegment(static_cast<char>('a' + i)));
        text += "#EXTINF:2,\n" + std::to_string(i) + ".ts\n";
    }
    folder.write("h/m.m3u8", text + "#EXT-X-ENDLIST\n");
}

} // namespace test

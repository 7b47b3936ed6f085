// A play over a virtual line, in virtual time.
#pragma once

#include <hastool/play/Player.h>
#include <hastool/play/VirtualLine.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace test {

/// A line on which a transfer cannot be cancelled any more: it has ended, but nobody has seen that.
class LateLine : public hastool::VirtualLine {
public:
    using VirtualLine::VirtualLine;
    void cancel(Id) override {}
};

/// Serves an HLS presentation from memory over a virtual line, plays it and keeps what its observer
/// is told.
class VirtualPlay : public hastool::PlayObserver {
public:
    using Answer = hastool::VirtualAnswer;

    struct Request {
        double time = 0; ///< seconds since the begin
        std::string url;
    };
    struct Event {
        double time = 0;
        std::string kind;
        std::string what;
    };

    VirtualPlay() {
        options.url = kBase + "master.m3u8";
        line.rates = {{std::chrono::milliseconds(0), 8000000}};
        line.latency = std::chrono::milliseconds(20);
    }
    VirtualPlay(const VirtualPlay&) = delete;
    VirtualPlay& operator=(const VirtualPlay&) = delete;

    /// A master playlist of streams with so many segments of 2 s each: "v0.m3u8" with "v0/7.ts"...
    void addVideo(const std::vector<int>& bitrates, int count, const std::string& extra = "") {
        std::string master = "#EXTM3U\n" + extra;
        for (size_t i = 0; i < bitrates.size(); ++i) {
            const std::string name = "v" + std::to_string(i);
            master += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(bitrates[i]) +
                      (extra.empty() ? "" : ",AUDIO=\"a\"") + "\n" + name + ".m3u8\n";
            texts[kBase + name + ".m3u8"] = mediaPlaylist(name, 0, count, true);
            m_bitrates[name] = bitrates[i];
        }
        texts[kBase + "master.m3u8"] = master;
    }
    /// The same with audio in a playlist of its own, "a.m3u8" with "a/7.ts".
    void addVideoAndAudio(const std::vector<int>& bitrates, int count) {
        addVideo(bitrates, count,
                 "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"x\",DEFAULT=YES,URI=\"a.m3u8\"\n");
        texts[kBase + "a.m3u8"] = mediaPlaylist("a", 0, count, true);
        m_bitrates["a"] = 64000;
    }
    static std::string mediaPlaylist(const std::string& name, int first, int count, bool ended) {
        std::string text =
            "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) +
            "\n";
        for (int i = first; i < first + count; ++i)
            text += "#EXTINF:2,\n" + name + "/" + std::to_string(i) + ".ts\n";
        return text + (ended ? "#EXT-X-ENDLIST\n" : "");
    }

    /// Plays to the end. @return the error; empty without one
    std::string play() {
        const hastool::PlayWorld world{
            clock, [this](const auto&, auto& traffic) -> std::unique_ptr<hastool::Fetcher> {
                const auto origin = [this](const hastool::Resource& it) { return answer(it.url); };
                if (isLate)
                    return std::make_unique<LateLine>(line, origin, clock, traffic);
                return std::make_unique<hastool::VirtualLine>(line, origin, clock, traffic);
            }};
        m_begun = clock.steady();
        hastool::Player player(options, *this, world);
        std::string failure;
        try {
            player.play();
        } catch (const hastool::ToolError& error) {
            failure = error.what();
        }
        summary = player.summary();
        return failure;
    }

    double seconds() const {
        return std::chrono::duration<double>(clock.steady() - m_begun).count();
    }
    /// When a name was requested first, in seconds; nothing when it never was.
    std::optional<double> askedAt(const std::string& name) const {
        for (const Request& it : requests) {
            if (it.url == kBase + name)
                return it.time;
        }
        return std::nullopt;
    }
    int requestsFor(const std::string& name) const {
        int count = 0;
        for (const Request& it : requests)
            count += it.url == kBase + name ? 1 : 0;
        return count;
    }

    void onStatus(const hastool::PlayStatus&) override {}
    void onSegment(const hastool::TraceRow& row) override { rows.push_back(row); }
    void onSample(const hastool::PlaySample& sample) override { samples.push_back(sample); }
    void onEvent(double time, const std::string& kind, const std::string& what) override {
        events.push_back({time, kind, what});
    }
    void onSwitch(double, int from, int to) override { switches.emplace_back(from, to); }
    void onRendition(double, int, const std::string&) override {}
    void onTrouble(const std::string& what) override { troubles.push_back(what); }

    static inline const std::string kBase = "http://line/";

    hastool::VirtualClock clock;
    hastool::VirtualLine::Options line;
    bool isLate = false; ///< see LateLine
    hastool::PlayOptions options;
    std::map<std::string, std::string> texts;
    /// Asked before the presentation's own files; may answer nothing.
    std::function<std::optional<Answer>(const std::string& name)> special;

    std::vector<Request> requests;
    std::vector<hastool::TraceRow> rows;
    std::vector<hastool::PlaySample> samples;
    std::vector<Event> events;
    std::vector<std::pair<int, int>> switches;
    std::vector<std::string> troubles;
    hastool::Summary summary;

private:
    Answer answer(const std::string& url) {
        requests.push_back({seconds(), url});
        const std::string name = url.substr(kBase.size());
        if (special) {
            if (auto result = special(name))
                return *result;
        }
        Answer answer;
        const auto text = texts.find(url);
        const auto bitrate = m_bitrates.find(name.substr(0, name.find('/')));
        if (text != texts.end())
            answer.bytes = text->second;
        else if (bitrate != m_bitrates.end())
            answer.size = static_cast<uint64_t>(bitrate->second) * 2 / 8;
        else
            answer.failure = "HTTP 404";
        return answer;
    }

    std::map<std::string, int> m_bitrates; ///< by the folder of the segments
    hastool::Clock::TimePoint m_begun;
};

} // namespace test

#include "Adaptation.h"

#include <hastool/base/ToolError.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace hastool {
namespace {

unsigned int inMs32(std::chrono::milliseconds time) {
    return static_cast<unsigned int>(time.count());
}

/// The bitrates to choose from, for a message.
std::string bitratesText(const TrackInfo& track) {
    std::string text;
    for (const StreamInfo& stream : track.streams)
        text += (text.empty() ? "" : ", ") + std::to_string(stream.bitrate);
    return text + " bit/s";
}

} // namespace

void Adaptation::start(long long now) {
    m_checker.ParseComp();
    m_checker.Start();
    m_lastPoll = now;
}

/// One millisecond more than the interval: the checker ignores a poll before that.
std::chrono::milliseconds Adaptation::untilPoll(long long now) {
    const long long due = m_lastPoll + static_cast<long long>(m_checker.GetMonitorInterval()) + 1;
    return std::chrono::milliseconds(std::max(due - now, 0LL));
}

bool Adaptation::poll(long long now) {
    if (untilPoll(now).count() > 0)
        return false;
    m_lastPoll = now;
    m_traffic.flush();
    m_checker.OnPolling(now);
    return true;
}

void Adaptation::configure(const PlayOptions& options, std::deque<PlayTrack>& tracks) {
    PlayTrack& main = tracks[0];
    if (!main.allow(options.limits))
        throw ToolError("--limit", "allows none of the streams: " + bitratesText(main.info));
    std::vector<int> bitrates;
    for (const size_t index : main.ladder)
        bitrates.push_back(main.info.streams[index].bitrate);
    m_switcher.Init(&m_checker);
    m_switcher.SetSwitchParam(options.upTimer, options.marginKbps);
    m_switcher.SetBitrateLimit(options.groups, options.limits);
    m_switcher.ResetData(bitrates, false);
    main.startAt(options.startBitrate);
    int audio = options.audioBitrate; // where audio comes with the video, the user's figure holds
    for (size_t i = 1; i < tracks.size(); ++i) {
        tracks[i].startAt(options.audioBitrate);
        audio = tracks[i].bitrate();
    }
    m_switcher.SetAudioBitrate(audio);
}

StreamChoice Adaptation::choose(const PlayTrack& main, const PlaybackBuffer& buffer) {
    StreamChoice choice;
    if (main.ladder.size() < 2)
        return choice;
    choice.buffer = buffer.level().count();
    choice.mean = m_checker.GetCurrentAvgBandwidth();
    choice.first = m_checker.GetBeginingBandwidth();
    // The switcher's numbers count only the streams that are allowed.
    const auto present = std::find(main.ladder.begin(), main.ladder.end(), main.stream);
    choice.answer = m_switcher.ProcessAdaptiveSeg(static_cast<int>(present - main.ladder.begin()),
                                                  inMs32(buffer.level()));
    if (choice.answer < 0 || static_cast<size_t>(choice.answer) >= main.ladder.size())
        return choice;
    choice.stream = main.ladder[static_cast<size_t>(choice.answer)];
    choice.answer = static_cast<int>(*choice.stream);
    return choice;
}

void Adaptation::taken(const PlaybackBuffer& buffer) {
    const auto held = static_cast<unsigned int>(
        std::min<uint64_t>(buffer.bytes(), std::numeric_limits<unsigned int>::max()));
    m_switcher.ProcessAdaptiveSegLevel(held, inMs32(buffer.level()), false);
}

} // namespace hastool

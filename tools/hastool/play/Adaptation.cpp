#include "Adaptation.h"

#include "StreamRules.h"
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace hastool {
namespace {

/// The bitrates to choose from, for a message.
std::string bitratesText(const TrackInfo& track) {
    std::string text;
    for (const StreamInfo& stream : track.streams)
        text += (text.empty() ? "" : ", ") + std::to_string(stream.bitrate);
    return text + " bit/s";
}

/// A track's stream as a rule counts: only those that are allowed.
int ladderPlace(const PlayTrack& track) {
    const auto place = std::find(track.ladder.begin(), track.ladder.end(), track.stream);
    return static_cast<int>(place - track.ladder.begin());
}

/// The stream of a rule's answer; nothing for one that names none.
std::optional<size_t> streamAt(const PlayTrack& track, int answer) {
    if (answer < 0 || static_cast<size_t>(answer) >= track.ladder.size())
        return std::nullopt;
    return track.ladder[static_cast<size_t>(answer)];
}

/// Of a figure per stream those of the streams that are allowed.
std::vector<uint64_t> inLadder(const PlayTrack& track, const std::vector<uint64_t>& all) {
    std::vector<uint64_t> result;
    for (const size_t index : track.ladder) {
        if (index < all.size())
            result.push_back(all[index]);
    }
    return result;
}

} // namespace

Adaptation::Adaptation(const std::string& rule, const Clock& clock)
    : m_rule(makeStreamRule(rule))
    , m_watch(*m_rule, clock) {}

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
    StreamRule::Setting setting;
    for (const size_t index : main.ladder)
        setting.bitrates.push_back(main.info.streams[index].bitrate);
    main.startAt(options.startBitrate);
    // Where audio comes with the video, the user's figure holds.
    setting.audioBitrate = options.audioBitrate;
    for (size_t i = 1; i < tracks.size(); ++i) {
        tracks[i].startAt(options.audioBitrate);
        setting.audioBitrate = tracks[i].bitrate();
    }
    setting.marginKbps = options.marginKbps;
    setting.upTimer = options.upTimer;
    setting.groups = options.groups;
    setting.limits = options.limits;
    setting.bufferGoal = options.bufferGoal;
    setting.checker = &m_checker;
    m_rule->configure(setting);
}

StreamChoice Adaptation::choose(const PlayTrack& main, StreamRule::NextSegment next,
                                const PlaybackBuffer& buffer) {
    StreamChoice choice;
    if (main.ladder.size() < 2)
        return choice;
    choice.buffer = buffer.level().count();
    choice.mean = m_checker.GetCurrentAvgBandwidth();
    choice.first = m_checker.GetBeginingBandwidth();
    next.bytes = inLadder(main, next.bytes);
    choice.answer = m_rule->choose(ladderPlace(main), next, m_watch.moment(buffer));
    choice.stream = streamAt(main, choice.answer);
    if (choice.stream)
        choice.answer = static_cast<int>(*choice.stream);
    return choice;
}

void Adaptation::begun(const PlayTrack& main, const MediaPiece& piece,
                       const PlaybackBuffer& buffer) {
    const auto& range = piece.media.resource.range;
    m_flowBefore = m_traffic.flow();
    m_watch.begin(ladderPlace(main), range ? range->length.value_or(0) : 0, buffer);
}

std::optional<size_t> Adaptation::progress(const PlayTrack& main, uint64_t received,
                                           uint64_t expected, const PlaybackBuffer& buffer) {
    return streamAt(main, m_watch.progress(received, expected, buffer));
}

void Adaptation::taken(const MediaPiece& piece, const Outcome& outcome,
                       const PlaybackBuffer& buffer) {
    tellArrival(piece, outcome, buffer);
    m_rule->buffered(buffer.bytes(), m_watch.moment(buffer));
}

/// Of a piece that came as it was made only what its server did not make it wait for counts.
void Adaptation::tellArrival(const MediaPiece& piece, const Outcome& outcome,
                             const PlaybackBuffer& buffer) {
    StreamRule::Arrived arrived;
    arrived.bytes = outcome.bytes;
    arrived.latency = outcome.latency;
    arrived.duration = StreamRule::Time(std::llround(piece.seconds * 1e6));
    if (piece.growsFor > 0) {
        const PacedTraffic::Flow flow = m_traffic.flow();
        const auto flowed = flow.time - m_flowBefore.time;
        arrived.bytes = flow.bytes - m_flowBefore.bytes;
        arrived.latency = StreamRule::Time(0);
        if (arrived.bytes == 0)
            return;
        const auto passed = m_watch.now() - m_watch.begunAt();
        m_watch.leaveOut(std::max(passed - flowed, StreamRule::Time(0)));
    }
    m_watch.end(arrived, buffer);
}

} // namespace hastool

#include "CueJoiner.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <utility>

namespace hastool {
namespace {

constexpr int64_t kClockWrap = int64_t{1} << 33;
constexpr int64_t kEarliest = -(int64_t{1} << 31); // ticks, 6.6 hours, before the begin
constexpr int64_t kSameTime = kCueClock / 1000;    // one millisecond: maps are rounded
constexpr size_t kLookBack = 64;                   // cues on the screen at a time

/// The time nearest to the begin of the media that the clock of 33 bits shows alike.
int64_t unwrapped(int64_t time) {
    const int64_t since = (time - kEarliest) % kClockWrap;
    return (since < 0 ? since + kClockWrap : since) + kEarliest;
}

bool isSameText(const VttCue& left, const VttCue& right) {
    return left.settings == right.settings && left.text == right.text;
}

} // namespace

void CueJoiner::add(const VttDocument& document, const CuePlace& place) {
    for (const std::string& block : document.blocks) {
        const bool isKnown = std::find(m_blocks.begin(), m_blocks.end(), block) != m_blocks.end();
        if (!isKnown && m_blocks.size() < kMaxVttBlocks)
            m_blocks.push_back(block);
    }
    m_leftOut += document.dropped;
    for (const VttCue& cue : document.cues) {
        const size_t size = cue.id.size() + cue.settings.size() + cue.text.size();
        if (m_cues.size() == kMaxCues || size > kMaxBytes - m_bytes) {
            ++m_leftOut;
            continue;
        }
        m_bytes += size;
        m_cues.push_back({cue, place});
    }
}

std::string CueJoiner::text(const std::function<int64_t(size_t stretch)>& clockStart) const {
    std::string result = "WEBVTT\n";
    for (const std::string& block : m_blocks)
        result += "\n" + block + "\n";
    std::set<std::string> ids; // each may name one cue only
    for (const Cue& cue : withoutRepeats(placed(clockStart))) {
        result += "\n";
        if (!cue.id.empty() && ids.insert(cue.id).second)
            result += cue.id + "\n";
        result += vttTime(cue.start) + " --> " + vttTime(cue.end);
        result += (cue.settings.empty() ? "" : " ") + cue.settings + "\n";
        if (!cue.text.empty())
            result += cue.text + "\n";
    }
    return result;
}

/// The cues at the times of the joined media, in their order; those before its begin are left out.
std::vector<CueJoiner::Cue>
CueJoiner::placed(const std::function<int64_t(size_t stretch)>& clockStart) const {
    std::vector<Cue> cues;
    for (Cue cue : m_cues) {
        const int64_t length = cue.end - cue.start;
        cue.start += cue.place.offset;
        if (cue.place.isMediaClock)
            cue.start = unwrapped(cue.start - clockStart(cue.place.stretch));
        cue.end = cue.start + length;
        cue.start = std::max<int64_t>(cue.start, 0);
        if (cue.end - cue.start >= kSameTime)
            cues.push_back(std::move(cue));
    }
    std::stable_sort(cues.begin(), cues.end(),
                     [](const Cue& left, const Cue& right) { return left.start < right.start; });
    return cues;
}

/// Leaves out what has come before at the same time, and mends cues that were cut at boundaries.
std::vector<CueJoiner::Cue> CueJoiner::withoutRepeats(std::vector<Cue> cues) {
    std::vector<Cue> result;
    for (Cue& cue : cues) {
        const auto last = std::min(kLookBack, result.size());
        const auto takes = [&](Cue& other) {
            if (!isSameText(other, cue))
                return false;
            if (std::abs(other.start - cue.start) <= kSameTime &&
                std::abs(other.end - cue.end) <= kSameTime)
                return true;
            if (!cue.place.isCutUp || !other.place.isCutUp || other.id != cue.id ||
                std::abs(other.end - cue.start) > kSameTime)
                return false;
            other.end = cue.end;
            return true;
        };
        if (std::none_of(result.end() - static_cast<std::ptrdiff_t>(last), result.end(), takes))
            result.push_back(std::move(cue));
    }
    return result;
}

} // namespace hastool

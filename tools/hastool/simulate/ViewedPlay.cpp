#include "ViewedPlay.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace hastool {
namespace {

constexpr double kSecond = 1e6;
constexpr double kEnoughToBegin = 2 * kSecond; // as a real play has it
constexpr double kStallWeight = 5;             // of the score
constexpr double kRounding = 0.001;            // microseconds: less is no time at all

double lengthOf(const Movie::Segment& segment) {
    return static_cast<double>(segment.duration.count());
}

} // namespace

ViewedPlay::ViewedPlay(const Movie& movie)
    : m_movie(movie) {
    for (const Movie::Segment& segment : movie.segments)
        m_meanDuration += lengthOf(segment);
    m_meanDuration /= static_cast<double>(std::max<size_t>(movie.segments.size(), 1));
}

void ViewedPlay::add(size_t segment, size_t stream) {
    const double length = lengthOf(m_movie.segments[segment]);
    m_held.push_back({segment, stream, length});
    m_level += length;
    m_bytes += m_movie.segments[segment].bytes[stream];
    m_hasAll = segment + 1 == m_movie.segments.size();
    if (m_isPlaying || (m_level < kEnoughToBegin && !m_hasAll))
        return;
    m_isPlaying = true;
    if (!m_hasBegun)
        m_startup = m_now;
    m_hasBegun = true;
}

void ViewedPlay::pass(double time) {
    if (m_isPlaying)
        play(time);
    else
        stand(time);
}

void ViewedPlay::stand(double time) {
    m_now += time;
    if (m_hasBegun)
        m_stallTime += time;
}

void ViewedPlay::play(double time) {
    while (time > 0 && !m_held.empty()) {
        Held& head = m_held.front();
        if (!m_isHeadBegun)
            begin(head);
        const double played = std::min(time, head.left);
        head.left -= played;
        m_level -= played;
        m_now += played;
        time -= played;
        if (head.left > 0)
            continue;
        m_bytes -= m_movie.segments[head.segment].bytes[head.stream];
        m_held.pop_front();
        m_isHeadBegun = false;
    }
    if (m_held.empty())
        m_level = 0; // and not what rounding left of it
    if (time <= kRounding)
        return;
    m_isPlaying = false;
    ++m_stalls;
    stand(time);
}

/// Counts a segment as it begins to be played.
void ViewedPlay::begin(const Held& held) {
    m_isHeadBegun = true;
    const double length = lengthOf(m_movie.segments[held.segment]);
    const double bitrate = m_movie.bitrates[held.stream];
    m_bitrate += bitrate * length;
    m_utility += std::log(bitrate / m_movie.bitrates.front()) * length;
    if (m_stream && *m_stream != held.stream) {
        m_change += std::abs(bitrate - m_movie.bitrates[*m_stream]);
        ++m_switches;
    }
    m_stream = held.stream;
}

void ViewedPlay::playOut() {
    m_isPlaying = true;
    play(m_level);
    while (!m_held.empty()) // what rounding left
        play(m_held.front().left);
}

PlayFigures ViewedPlay::figures() const {
    PlayFigures figures;
    if (m_now <= 0)
        return figures;
    figures.time = m_now / kSecond;
    figures.meanBitrate = m_bitrate / m_now;
    figures.utility = m_utility / m_now;
    figures.stallRatio = m_stallTime / m_now;
    figures.score = figures.utility - kStallWeight * figures.stallRatio;
    figures.stalls = m_stalls;
    figures.stallTime = m_stallTime / kSecond;
    figures.startup = m_startup / kSecond;
    figures.switches = m_switches;
    figures.change = m_change * m_meanDuration / m_now;
    return figures;
}

} // namespace hastool

#include "LineSchedule.h"

#include <algorithm>

namespace hastool {
namespace {

// Seconds. A sender that comes back within this time woke up late, but the line was never unused.
constexpr double kLateness = 0.03;
constexpr double kPieceSeconds = 0.01;
constexpr double kMinPiece = 256; // smaller pieces cost more than they make the rate even
constexpr double kMaxPiece = 16384;

} // namespace

double LineSchedule::send(double now, size_t bytes) {
    if (now - m_freeAt > kLateness)
        m_position = std::max(m_position, m_profile.bytesUntil(now));
    m_position += static_cast<double>(bytes);
    m_freeAt = m_profile.timeOf(m_position);
    return m_freeAt;
}

size_t LineSchedule::pieceSize(double now) const {
    const double bytes = m_profile.at(now).kbps * RateProfile::kBytesPerKbps * kPieceSeconds;
    return static_cast<size_t>(std::clamp(bytes, kMinPiece, kMaxPiece));
}

} // namespace hastool

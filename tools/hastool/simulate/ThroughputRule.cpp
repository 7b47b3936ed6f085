#include "ThroughputRule.h"

namespace hastool {
namespace {

constexpr double kSafety = 0.9;
constexpr double kPatience = 1.8; // segments' durations
constexpr double kGrace = 0.5;    // seconds

} // namespace

PublishedRule::Choice ThroughputRule::decide(const Question& question) {
    const double rate = estimate().rate();
    int stream = streamForRate(rate * kSafety);
    const double bits = m_safeSize.next(question.level, estimate().latency(), rate);
    while (stream > 0 && bitrate(stream) * segment() > bits)
        --stream;
    return {stream, 0};
}

bool ThroughputRule::watch(const Underway& transfer) {
    const double time = transfer.time - transfer.latency;
    if (transfer.time < kGrace || time <= 0 || transfer.received <= 0)
        return false;
    const double rate = transfer.received / time;
    const double left = transfer.bits - transfer.received;
    if (transfer.time + left / rate <= kPatience * segment())
        return false;
    const int stream = streamForRate(rate * kSafety);
    return stream < transfer.stream &&
           transfer.bits * bitrate(stream) / bitrate(transfer.stream) < left;
}

} // namespace hastool

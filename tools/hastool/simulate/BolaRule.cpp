#include "BolaRule.h"

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

constexpr double kGamma = 5; // what playing on is worth against utility
constexpr double kLeastSegments = 3;

} // namespace

void BolaRule::configure(const Setting& setting) {
    PublishedRule::configure(setting);
    m_utilities.clear();
    for (int stream = 0; stream < streams(); ++stream)
        m_utilities.push_back(std::log(bitrate(stream) / bitrate(0)));
    m_last = 0;
}

double BolaRule::weigh(int stream, double level, double bits) const {
    return (m_control * (kGamma + utility(stream)) - level) / bits;
}

int BolaRule::streamForLevel(double level) const {
    int best = 0;
    for (int stream = 1; stream < streams(); ++stream) {
        if (weigh(stream, level, bitrate(stream)) > weigh(best, level, bitrate(best)))
            best = stream;
    }
    return best;
}

/// Near the begin and the end less is buffered than the goal.
PublishedRule::Choice BolaRule::decide(const Question& question) {
    double segments = static_cast<double>(question.index);
    if (question.left > 0)
        segments = std::min(segments, static_cast<double>(question.left));
    const double buffer = std::min(goal(), std::max(segments / 2, kLeastSegments) * segment());
    m_control = (buffer - segment()) / (m_utilities.back() + kGamma);
    const Choice choice = limit(streamForLevel(question.level), question.level);
    m_last = choice.stream;
    return choice;
}

/// Keeps an upgrade near what the throughput bears.
PublishedRule::Choice BolaRule::limit(int stream, double level) const {
    if (stream <= m_last)
        return {stream, 0};
    const int borne = streamForRate(estimate().rate());
    if (stream <= borne)
        return {stream, 0};
    if (m_last > borne)
        return {m_last, 0};
    if (!m_isDamped)
        return {borne + 1, 0};
    const double most = m_control * (kGamma + utility(borne));
    const bool isHighest = borne + 1 == streams();
    return {borne, isHighest ? 0 : std::max(level - most, 0.0)};
}

bool BolaRule::watch(const Underway& transfer) {
    if (transfer.received <= 0)
        return false;
    const double left = transfer.bits - transfer.received;
    const double weight = weigh(transfer.stream, transfer.level, left);
    const int stream = weight < 0 ? kStay : heavierThan(weight, left, transfer);
    if (stream == kStay)
        return false;
    m_last = stream;
    return true;
}

/// The lower stream that weighs most, where one weighs more than the rest of a transfer and is less
/// to fetch.
int BolaRule::heavierThan(double weight, double left, const Underway& transfer) const {
    int best = kStay;
    for (int stream = 0; stream < transfer.stream; ++stream) {
        const double bits = transfer.bits * bitrate(stream) / bitrate(transfer.stream);
        const double other = weigh(stream, transfer.level, bits);
        if (bits >= left || other <= weight)
            continue;
        weight = other;
        best = stream;
    }
    return best;
}

} // namespace hastool

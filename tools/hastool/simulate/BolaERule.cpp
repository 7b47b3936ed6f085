#include "BolaERule.h"

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

constexpr double kLeastBuffer = 10;    // seconds, up to which the lowest stream is played
constexpr double kBufferPerStream = 2; // seconds

constexpr double kJustBelow = 1e-7; // seconds, far above what rounding adds

} // namespace

void BolaERule::configure(const Setting& setting) {
    PublishedRule::configure(setting);
    m_utilities.clear();
    for (int stream = 0; stream < streams(); ++stream)
        m_utilities.push_back(1 + std::log(bitrate(stream) / bitrate(0)));
    m_control = 0;
    m_isSteady = false;
    m_imagined = 0;
    m_last = 0;
    m_safeSize = SafeSize();
}

/// Lets the highest stream be reached with a full buffer. A single stream has nothing to weigh.
void BolaERule::setControl() {
    if (m_control > 0 || streams() < 2)
        return;
    const double buffer = std::max(kLeastBuffer + kBufferPerStream * streams(), goal());
    m_gamma = (m_utilities.back() - 1) / (buffer / kLeastBuffer - 1);
    m_control = kLeastBuffer / m_gamma;
}

double BolaERule::weigh(int stream, double level, double bits) const {
    return (m_control * (m_gamma + utility(stream)) - level) / bits;
}

int BolaERule::streamForLevel(double level) const {
    int best = 0;
    for (int stream = 1; stream < streams(); ++stream) {
        if (weigh(stream, level, bitrate(stream)) > weigh(best, level, bitrate(best)))
            best = stream;
    }
    return best;
}

/// The buffer from which on a stream weighs more than all below it.
double BolaERule::leastLevel(int stream) const {
    double level = 0;
    for (int lower = 0; lower < stream; ++lower) {
        const double b = bitrate(stream);
        const double a = bitrate(lower);
        const double mean = (b * utility(lower) - a * utility(stream)) / (b - a);
        level = std::max(level, m_control * (m_gamma + mean));
    }
    return level;
}

/// The buffer above which it is better to wait than to fetch the stream.
double BolaERule::mostLevel(int stream) const {
    return m_control * (m_gamma + utility(stream));
}

PublishedRule::Choice BolaERule::begin(double level) {
    m_isSteady = true;
    const int stream = streamForRate(estimate().rate());
    m_imagined = std::max(leastLevel(stream) - level, 0.0);
    m_last = stream;
    return {stream, 0};
}

PublishedRule::Choice BolaERule::decide(const Question& question) {
    setControl();
    if (streams() < 2 || !estimate().isKnown())
        return {m_last, 0};
    if (!m_isSteady)
        return begin(question.level);
    Choice choice{streamForLevel(question.level + m_imagined), 0};
    const int borne = streamForRate(estimate().rate());
    if (choice.stream > m_last && choice.stream > borne)
        choice.stream = std::max(m_last, borne) + (m_isDamped ? 0 : 1);
    choice.pause = spend(choice.stream, question.level);
    lower(choice, question.level);
    m_last = choice.stream;
    return choice;
}

/// Takes what is too much from the imagined buffer first.
/// @return how long to wait for the rest
double BolaERule::spend(int stream, double level) {
    const double tooMuch = std::max(level + m_imagined - mostLevel(stream), 0.0);
    const double imagined = std::min(tooMuch, m_imagined);
    m_imagined -= imagined;
    return stream + 1 == streams() ? 0 : tooMuch - imagined;
}

/// Goes down to what comes before the buffer is empty.
void BolaERule::lower(Choice& choice, double level) {
    const double bits = m_safeSize.next(level, estimate().latency(), estimate().rate());
    int stream = 0;
    while (stream < choice.stream && bitrate(stream + 1) * segment() <= bits)
        ++stream;
    if (stream == choice.stream)
        return;
    choice = {stream, 0};
    m_imagined = std::min(m_imagined, std::max(leastLevel(stream) - level, 0.0));
}

void BolaERule::begun(int stream, uint64_t bytes, const Moment& moment) {
    PublishedRule::begun(stream, bytes, moment);
    m_begun = seconds(moment.now);
    m_fetched = stream;
}

void BolaERule::done(const Arrived& arrived, const Moment& moment) {
    PublishedRule::done(arrived, moment);
    m_last = m_fetched;
    setControl();
    const double level = seconds(moment.buffer);
    const double before = level + seconds(moment.now) - m_begun;
    m_imagined = std::min(m_imagined, std::max(mostLevel(m_fetched) - before, 0.0));
    if (level > 0)
        m_imagined = std::max(m_imagined, leastLevel(m_fetched) - before);
}

void BolaERule::held(Time time) {
    m_imagined += seconds(time);
}

bool BolaERule::watch(const Underway& transfer) {
    if (transfer.received <= 0 || transfer.time <= transfer.latency)
        return false;
    // Another request costs a latency, in which this transfer would have gone on.
    const double level = std::max(transfer.level + m_imagined - transfer.latency, 0.0);
    const double rate = transfer.received / (transfer.time - transfer.latency);
    const double left = transfer.bits - transfer.received - transfer.latency * rate;
    if (left <= 0)
        return false;
    const int stream = heavierThan(level, left, transfer);
    if (stream == kStay)
        return false;
    // Something went wrong: the imagined part goes down to what is safe. At the level itself two
    // streams weigh the same; just below it the lower one is taken.
    const double safe = (stream > 0 ? leastLevel(stream) : kLeastBuffer) - kJustBelow;
    m_imagined = std::min(m_imagined, std::max(safe - transfer.level, 0.0));
    return true;
}

/// The lower stream that weighs most, where one weighs more than the rest of a transfer and is less
/// to fetch.
int BolaERule::heavierThan(double level, double left, const Underway& transfer) const {
    double weight = weigh(transfer.stream, level, left);
    int best = kStay;
    for (int stream = 0; stream < transfer.stream; ++stream) {
        const double bits = transfer.bits * bitrate(stream) / bitrate(transfer.stream);
        const double other = weigh(stream, level, bits);
        if (bits >= left || other <= weight)
            continue;
        weight = other;
        best = stream;
    }
    return best;
}

} // namespace hastool

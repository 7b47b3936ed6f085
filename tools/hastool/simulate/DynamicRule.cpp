#include "DynamicRule.h"

namespace hastool {
namespace {

constexpr StreamRule::Time kLittle{10'000'000};

} // namespace

void DynamicRule::configure(const Setting& setting) {
    m_throughput.configure(setting);
    m_bola.configure(setting);
    m_isByBuffer = false;
}

int DynamicRule::choose(int current, const NextSegment& next, const Moment& moment) {
    m_next = next;
    const auto streamOf = [&](StreamRule& rule) {
        const int answer = rule.choose(current, next, moment);
        return answer == kStay ? current : answer;
    };
    const int byBuffer = streamOf(m_bola);
    const int byThroughput = streamOf(m_throughput);
    if (m_isByBuffer)
        m_isByBuffer = moment.buffer >= kLittle || byBuffer >= byThroughput;
    else
        m_isByBuffer = moment.buffer > kLittle && byBuffer >= byThroughput;
    const int stream = m_isByBuffer ? byBuffer : byThroughput;
    return stream == current ? kStay : stream;
}

void DynamicRule::begun(int stream, uint64_t bytes, const Moment& moment) {
    m_fetched = stream;
    m_throughput.begun(stream, bytes, moment);
    m_bola.begun(stream, bytes, moment);
}

/// Transfers are always given up by throughput.
int DynamicRule::progress(uint64_t received, const Moment& moment) {
    if (!m_throughput.givesUp(received, moment))
        return kStay;
    const int stream = choose(m_fetched, m_next, moment);
    return stream == kStay ? m_fetched : stream;
}

void DynamicRule::done(const Arrived& arrived, const Moment& moment) {
    m_throughput.done(arrived, moment);
    m_bola.done(arrived, moment);
}

} // namespace hastool

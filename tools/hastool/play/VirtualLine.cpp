#include "VirtualLine.h"

#include <hastool/base/Interrupt.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;

/// For so long after held transfers go on, the engine restarts the measurement at each chunk.
constexpr milliseconds kResumeSettles{100};
constexpr size_t kChunk = 16384;

unsigned int low32(long long time) {
    return static_cast<unsigned int>(static_cast<unsigned long long>(time) & 0xFFFFFFFFu);
}

} // namespace

VirtualLine::VirtualLine(Options options, VirtualOrigin origin, VirtualClock& clock,
                         hascommon::IDownloadEvent& traffic)
    : m_options(std::move(options))
    , m_origin(std::move(origin))
    , m_clock(clock)
    , m_traffic(traffic)
    , m_begun(clock.steady()) {}

Fetcher::Id VirtualLine::begin(const Resource& resource, ByteSink& sink) {
    // The bandwidth checker took the machine's time when it was started: give it the virtual time.
    if (m_nextId == 1)
        m_traffic.ResetRxBaseTime(m_clock.milliseconds());
    Transfer transfer;
    transfer.url = resource.url;
    transfer.sink = &sink;
    transfer.answer = m_origin(resource);
    transfer.size = std::max<uint64_t>(transfer.answer.bytes.size(), transfer.answer.size);
    transfer.begun = transfer.lastByte = m_clock.steady();
    transfer.firstByte = transfer.begun + m_options.latency + transfer.answer.delay;
    m_transfers.emplace(m_nextId, std::move(transfer));
    return m_nextId++;
}

Fetcher::Id VirtualLine::beginAside(const Resource& resource, ByteSink& sink) {
    const Id id = begin(resource, sink);
    m_transfers.at(id).isAside = true;
    return id;
}

const Outcome* VirtualLine::outcome(Id id) const {
    const auto& outcome = m_transfers.at(id).outcome;
    return outcome ? &*outcome : nullptr;
}

/// The head of an answer comes with its first byte.
uint64_t VirtualLine::expected(Id id) const {
    const Transfer& transfer = m_transfers.at(id);
    const bool isKnown = transfer.firstByte <= m_clock.steady() && transfer.answer.failure.empty();
    return isKnown && transfer.answer.bytesPerSecond <= 0 ? transfer.size : 0;
}

void VirtualLine::hold(bool held) {
    if (m_held && !held)
        m_resumed = m_clock.steady();
    m_held = held;
}

void VirtualLine::cancel(Id id) {
    Transfer& transfer = m_transfers.at(id);
    if (!transfer.outcome)
        end(transfer, "cancelled");
}

void VirtualLine::cancelAll() {
    hold(false);
    for (auto& [id, transfer] : m_transfers)
        cancel(id);
}

void VirtualLine::wait(Clock::TimePoint until) {
    if (isInterrupted())
        cancelAll();
    while (m_clock.steady() < until) {
        if (moveTo(nextMoment(until)))
            return;
    }
}

/// Whether a transfer's body is coming in.
bool VirtualLine::isFlowing(const Transfer& transfer) const {
    return !transfer.outcome && !(m_held && !transfer.isAside) &&
           transfer.firstByte <= m_clock.steady();
}

size_t VirtualLine::countFlowing() const {
    return static_cast<size_t>(
        std::count_if(m_transfers.begin(), m_transfers.end(),
                      [&](const auto& entry) { return isFlowing(entry.second); }));
}

/// The share of the line that each transfer has whose body is coming in.
double VirtualLine::bytesPerMicrosecond() const {
    uint64_t rate = 0;
    for (const LineRate& it : m_options.rates) {
        if (m_begun + it.begin <= m_clock.steady())
            rate = it.bitsPerSecond;
    }
    const auto share = static_cast<double>(std::max<size_t>(countFlowing(), 1));
    return static_cast<double>(rate) / 8e6 / share;
}

double VirtualLine::speedOf(const Transfer& transfer) const {
    const double share = bytesPerMicrosecond();
    const double made = transfer.answer.bytesPerSecond / 1e6;
    return made > 0 ? std::min(share, made) : share;
}

Clock::TimePoint VirtualLine::nextRate() const {
    for (const LineRate& it : m_options.rates) {
        if (m_begun + it.begin > m_clock.steady())
            return m_begun + it.begin;
    }
    return Clock::TimePoint::max();
}

/// When the next event is, or `until` if that is earlier.
Clock::TimePoint VirtualLine::nextMoment(Clock::TimePoint until) const {
    Clock::TimePoint next = std::min(until, nextRate());
    for (const auto& [id, transfer] : m_transfers) {
        if (transfer.outcome || (m_held && !transfer.isAside))
            continue;
        if (!isFlowing(transfer)) {
            next = std::min(next, transfer.firstByte);
        } else if (const double speed = speedOf(transfer); speed > 0) {
            const double left = static_cast<double>(transfer.size) - transfer.arrived;
            const auto time = std::ceil(std::min(left / speed, 1e12)); // days are far enough
            next = std::min(next, m_clock.steady() + microseconds(static_cast<long long>(time)));
        }
    }
    return next;
}

/// Goes to a moment; there must be no event before it. @return whether a transfer has ended
bool VirtualLine::moveTo(Clock::TimePoint time) {
    const auto passed = duration_cast<microseconds>(time - m_clock.steady());
    const auto span = static_cast<double>(passed.count());
    for (auto& [id, transfer] : m_transfers) {
        if (isFlowing(transfer))
            transfer.arrived = std::min(transfer.arrived + speedOf(transfer) * span,
                                        static_cast<double>(transfer.size));
    }
    m_clock.goTo(time);
    bool hasEnded = false;
    for (auto& [id, transfer] : m_transfers) {
        if (!isFlowing(transfer))
            continue;
        receive(transfer);
        hasEnded = hasEnded || transfer.outcome;
    }
    return hasEnded;
}

/// Hands on what has arrived by now.
void VirtualLine::receive(Transfer& transfer) {
    if (!transfer.answer.failure.empty()) {
        end(transfer, transfer.answer.failure);
        return;
    }
    const uint64_t bytes = static_cast<uint64_t>(transfer.arrived) - transfer.delivered;
    if (bytes > 0) {
        if (!transfer.isAside)
            tellTraffic(transfer, bytes);
        if (!deliver(transfer, bytes)) {
            end(transfer, transfer.sink->failure());
            return;
        }
    }
    if (transfer.delivered == transfer.size)
        end(transfer, "");
}

bool VirtualLine::deliver(Transfer& transfer, uint64_t bytes) {
    static const std::string zeros(kChunk, '\0');
    transfer.lastByte = m_clock.steady();
    while (bytes > 0) {
        const auto size = static_cast<size_t>(std::min<uint64_t>(bytes, kChunk));
        const std::string& body = transfer.answer.bytes;
        const char* const data = body.empty() ? zeros.data() : body.data() + transfer.delivered;
        if (!transfer.sink->write(reinterpret_cast<const unsigned char*>(data), size))
            return false;
        transfer.delivered += size;
        bytes -= size;
    }
    return true;
}

void VirtualLine::tellTraffic(const Transfer& transfer, uint64_t bytes) {
    const long long now = m_clock.milliseconds();
    if (m_resumed && m_clock.steady() - *m_resumed <= kResumeSettles) {
        m_traffic.ResetRxBaseTime(now);
        return;
    }
    const auto since = duration_cast<milliseconds>(m_clock.steady() - transfer.lastByte);
    m_traffic.AddRxTimeInfo(low32(now - since.count()), low32(now),
                            static_cast<unsigned int>(bytes));
}

void VirtualLine::end(Transfer& transfer, const std::string& failure) {
    Outcome outcome;
    outcome.ok = failure.empty();
    outcome.bytes = transfer.delivered;
    outcome.latency = duration_cast<milliseconds>(transfer.firstByte - transfer.begun);
    outcome.time = duration_cast<milliseconds>(m_clock.steady() - transfer.begun);
    outcome.url = transfer.url;
    outcome.failure = failure;
    transfer.outcome = std::move(outcome);
}

} // namespace hastool

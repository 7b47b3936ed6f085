#include "LineSum.h"

#include "TraceText.h"

#include <algorithm>
#include <optional>

namespace hastool {
namespace {

/// A time at which something changes.
struct Event {
    enum class Kind { Ends, Asked, Begins }; // in the order of one moment
    double time;
    Kind kind;
    double value; ///< bits per second, or for Asked the latency
};

std::vector<Event> eventsOf(const std::vector<SeenTransfer>& transfers) {
    std::vector<Event> events;
    for (const SeenTransfer& it : transfers) {
        const double rate = it.bytes * 8 / (it.end - it.firstByte);
        events.push_back({it.begin, Event::Kind::Asked, it.firstByte - it.begin});
        events.push_back({it.firstByte, Event::Kind::Begins, rate});
        events.push_back({it.end, Event::Kind::Ends, rate});
    }
    std::stable_sort(events.begin(), events.end(), [](const Event& left, const Event& right) {
        return left.time != right.time ? left.time < right.time : left.kind < right.kind;
    });
    return events;
}

/// A stretch of time; the rate is not known while nothing is under way.
struct Stretch {
    double seconds;
    std::optional<double> rate;
    double latency;
};

std::vector<Stretch> stretchesOf(const std::vector<Event>& events) {
    std::vector<Stretch> stretches;
    double now = 0;
    double rate = 0;
    double latency = events.front().value; // the first event is a request: so before it too
    int running = 0;
    for (const Event& it : events) {
        if (it.time > now)
            stretches.push_back(
                {it.time - now, running > 0 ? std::optional(rate) : std::nullopt, latency});
        now = std::max(now, it.time);
        if (it.kind == Event::Kind::Asked) {
            latency = it.value;
            continue;
        }
        const bool begins = it.kind == Event::Kind::Begins;
        running += begins ? 1 : -1;
        rate = running > 0 ? std::max(rate + (begins ? it.value : -it.value), 0.0) : 0;
    }
    return stretches;
}

/// Gives the stretches without a rate the mean of the known ones in front of them, or of the first
/// known ones at the begin.
void fillGaps(std::vector<Stretch>& stretches) {
    std::optional<double> mean;
    std::optional<double> first;
    for (size_t i = 0; i < stretches.size();) {
        if (!stretches[i].rate) {
            stretches[i++].rate = mean;
            continue;
        }
        double seconds = 0;
        double bits = 0;
        for (; i < stretches.size() && stretches[i].rate; ++i) {
            seconds += stretches[i].seconds;
            bits += *stretches[i].rate * stretches[i].seconds;
        }
        mean = bits / seconds;
        if (!first)
            first = mean;
    }
    for (Stretch& it : stretches) {
        if (!it.rate)
            it.rate = first;
    }
}

} // namespace

std::vector<TracePeriod> sumOfTransfers(const std::vector<SeenTransfer>& transfers,
                                        const std::string& where) {
    std::vector<TracePeriod> periods;
    if (!transfers.empty()) {
        std::vector<Stretch> stretches = stretchesOf(eventsOf(transfers));
        fillGaps(stretches);
        for (const Stretch& it : stretches)
            periods.push_back(makePeriod(it.seconds, it.rate.value_or(0), it.latency, where));
    }
    return usablePeriods(std::move(periods), where);
}

} // namespace hastool

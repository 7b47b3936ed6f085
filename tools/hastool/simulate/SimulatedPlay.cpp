#include "SimulatedPlay.h"

#include "TraceLine.h"
#include "ViewedPlay.h"

#include <Hascommon/Datetime.h>
#include <Hasnet/BandwidthChecker.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

using Time = StreamRule::Time;

// How often a transfer is looked at: not before so many bits have come and so much time has passed.
constexpr double kLookBits = 12000;
constexpr double kLookTime = 50'000;
constexpr double kMillisecond = 1000;

/// Numbers between -1 and 1 that depend on nothing but the seed.
class Noise {
public:
    explicit Noise(uint64_t seed)
        : m_state(seed) {}

    double next() {
        m_state += 0x9E3779B97F4A7C15u;
        uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
        constexpr double kHalf = 9007199254740992.0; // of the 54 bits that are taken
        return static_cast<double>((mixed ^ (mixed >> 31)) >> 10) / kHalf - 1;
    }

private:
    uint64_t m_state;
};

/// One play.
class SimulatedPlay {
public:
    SimulatedPlay(const Movie& movie, const NetworkTrace& trace, StreamRule& rule,
                  const SimulationOptions& options)
        : m_movie(movie)
        , m_rule(rule)
        , m_options(options)
        , m_line(trace)
        , m_view(movie)
        , m_noise(options.seed)
        , m_begun(hascommon::has_getTime()) {
        configure();
    }

    SimulatedRun run();

private:
    /// What came of one transfer.
    struct Transfer {
        double time = 0;
        double latency = 0;
        uint64_t received = 0;
        std::optional<size_t> instead; ///< the stream that it was given up for
    };

    void configure();
    void fetch(size_t index);
    void holdFor(const Movie::Segment& segment);
    size_t choose(size_t index);
    Transfer transfer(size_t index, size_t stream, bool mayGiveUp);
    std::optional<size_t> look(const Transfer& transfer, uint64_t size, bool mayGiveUp);
    void waitForRule();
    void passWithoutTransfer(double time);
    StreamRule::Moment moment(double later = 0) const;
    void measure(double from, double to, uint64_t bytes);
    void poll(double now);
    long long machineTime(double now) const;
    uint64_t seen(uint64_t bytes) const;

    const Movie& m_movie;
    StreamRule& m_rule;
    const SimulationOptions& m_options;
    TraceLine m_line;
    ViewedPlay m_view;
    Noise m_noise;
    double m_error = 1; ///< what rules see of the present transfer's rate
    hascommon::BandwidthChecker m_checker;
    const long long m_begun; ///< the machine's time at the begin, as the checker counts
    double m_polled = 0;
    size_t m_stream = 0;
    SimulatedRun m_result;
};

void SimulatedPlay::configure() {
    m_checker.ParseComp();
    m_checker.Start();
    StreamRule::Setting setting;
    setting.bitrates = m_movie.bitrates;
    setting.marginKbps = m_options.marginKbps;
    setting.upTimer = m_options.upTimer;
    setting.bufferGoal = m_options.bufferGoal;
    setting.checker = &m_checker;
    m_rule.configure(setting);
}

SimulatedRun SimulatedPlay::run() {
    for (size_t i = 0; i < m_movie.segments.size(); ++i)
        fetch(i);
    m_view.playOut();
    PlayFigures figures = m_view.figures();
    for (const SimulatedSegment& segment : m_result.segments) {
        figures.bytes += segment.bytes;
        figures.wasted += segment.wasted;
        figures.givenUp += segment.givenUp;
    }
    m_result.figures = figures;
    return std::move(m_result);
}

/// Fetches a segment, of another stream where its transfer is given up.
void SimulatedPlay::fetch(size_t index) {
    const Movie::Segment& segment = m_movie.segments[index];
    SimulatedSegment row;
    if (index > 0) {
        // A real play asks such a rule first, and holds the transfer that it has begun.
        const bool isHeldChosen =
            m_options.hold == SimulationOptions::Hold::Goal && m_rule.choosesWhenFull();
        if (!isHeldChosen)
            holdFor(segment);
        m_stream = choose(index);
        if (isHeldChosen)
            holdFor(segment);
    }
    row.begun = m_view.now() / 1e6;
    const double stalled = m_view.stallTime();
    for (;;) {
        const Transfer came = transfer(index, m_stream, m_options.abandon && index > 0);
        if (!came.instead) {
            m_view.add(index, m_stream);
            m_rule.done({seen(came.received), Time(std::llround(came.latency)), segment.duration},
                        moment());
            break;
        }
        m_stream = *came.instead;
        waitForRule();
        row.wasted += came.received;
        ++row.givenUp;
    }
    m_rule.buffered(m_view.bytes(), moment());
    row.time = m_view.now() / 1e6;
    row.stream = m_stream;
    row.bytes = segment.bytes[m_stream];
    row.buffer = m_view.level() / 1e6;
    row.stalled = (m_view.stallTime() - stalled) / 1e6;
    m_result.segments.push_back(row);
}

/// Waits until there is room for a segment.
void SimulatedPlay::holdFor(const Movie::Segment& segment) {
    const auto goal = static_cast<double>(m_options.bufferGoal.count());
    const double room = m_options.hold == SimulationOptions::Hold::Fit
                            ? std::max(goal - static_cast<double>(segment.duration.count()), 0.0)
                            : goal;
    const double time = m_view.level() - room;
    if (time <= 0)
        return;
    passWithoutTransfer(time);
    m_rule.held(Time(std::llround(time)));
}

void SimulatedPlay::passWithoutTransfer(double time) {
    m_line.wait(time);
    m_view.pass(time);
    poll(m_view.now());
}

size_t SimulatedPlay::choose(size_t index) {
    const Movie::Segment& segment = m_movie.segments[index];
    StreamRule::NextSegment next;
    next.duration = segment.duration;
    next.bytes = segment.bytes;
    next.index = index;
    next.left = m_movie.segments.size() - index;
    const int answer = m_rule.choose(static_cast<int>(m_stream), next, moment());
    waitForRule();
    const bool isStream = answer >= 0 && static_cast<size_t>(answer) < m_movie.bitrates.size();
    return isStream ? static_cast<size_t>(answer) : m_stream;
}

void SimulatedPlay::waitForRule() {
    if (const double time = static_cast<double>(m_rule.pause().count()); time > 0)
        passWithoutTransfer(time);
}

/// Fetches a segment, or a part of it. The viewer's time passes at the end.
SimulatedPlay::Transfer SimulatedPlay::transfer(size_t index, size_t stream, bool mayGiveUp) {
    const uint64_t size = m_movie.segments[index].bytes[stream];
    const double bits = static_cast<double>(size) * 8;
    m_rule.begun(static_cast<int>(stream), size, moment());
    m_error = std::max(1 + m_options.noise * m_noise.next(), 0.0);
    Transfer result;
    result.latency = m_line.request();
    result.time = result.latency;
    double received = 0;
    double minTime = std::max(kLookTime - result.latency, 0.0);
    while (received < bits && !result.instead) {
        const auto came = m_line.receive(bits - received, kLookBits, minTime);
        received = received + came.bits < bits ? received + came.bits : bits;
        result.time += came.time;
        const auto whole = static_cast<uint64_t>(received / 8);
        const double from = result.received == 0 ? 0 : result.time - came.time;
        measure(from, result.time, whole - result.received);
        result.received = whole;
        if (received < bits)
            result.instead = look(result, size, mayGiveUp);
        minTime = kLookTime;
    }
    m_view.pass(result.time);
    return result;
}

/// Lets the rule look at a transfer.
std::optional<size_t> SimulatedPlay::look(const Transfer& transfer, uint64_t size, bool mayGiveUp) {
    if (!mayGiveUp)
        return std::nullopt;
    const int answer = m_rule.progress(std::min(transfer.received, size), moment(transfer.time));
    const bool isStream = answer >= 0 && static_cast<size_t>(answer) < m_movie.bitrates.size();
    return isStream ? std::optional(static_cast<size_t>(answer)) : std::nullopt;
}

/// The present moment, or one that is later by so much of a transfer.
StreamRule::Moment SimulatedPlay::moment(double later) const {
    const double played = m_view.isPlaying() ? later : 0;
    return {Time(std::llround(m_view.now() + later)),
            Time(std::llround(std::max(m_view.level() - played, 0.0)))};
}

/// Tells the checker of bytes, by times since the transfer's begin.
void SimulatedPlay::measure(double from, double to, uint64_t bytes) {
    m_checker.AddRxTimeInfo(static_cast<unsigned int>(machineTime(m_view.now() + from)),
                            static_cast<unsigned int>(machineTime(m_view.now() + to)),
                            static_cast<unsigned int>(seen(bytes)));
    poll(m_view.now() + to);
}

/// Lets the checker measure where that has become due by a time since the begin of play. Where
/// nothing came in between, one poll is as good as many. It is told when the poll was due: with a
/// later time it would refuse the next one, which is due in less than its interval after that.
void SimulatedPlay::poll(double now) {
    const double interval = (m_checker.GetMonitorInterval() + 1) * kMillisecond;
    if (now - m_polled < interval)
        return;
    m_polled += interval * std::floor((now - m_polled) / interval);
    m_checker.OnPolling(machineTime(m_polled));
}

/// What the machine's clock would show at a time since the begin of play, in milliseconds.
long long SimulatedPlay::machineTime(double now) const {
    return m_begun + std::llround(now / kMillisecond);
}

/// What a rule is told of so many bytes.
uint64_t SimulatedPlay::seen(uint64_t bytes) const {
    return m_options.noise > 0 ? static_cast<uint64_t>(static_cast<double>(bytes) * m_error)
                               : bytes;
}

} // namespace

SimulatedRun simulate(const Movie& movie, const NetworkTrace& trace, StreamRule& rule,
                      const SimulationOptions& options) {
    NetworkTrace line = trace;
    if (options.latency) {
        for (TracePeriod& period : line.periods)
            period.latency = *options.latency;
    }
    SimulatedRun run = SimulatedPlay(movie, line, rule, options).run();
    run.set = trace.set;
    run.trace = trace.name;
    return run;
}

} // namespace hastool

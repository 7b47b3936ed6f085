#include "Study.h"

#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

/// Of a line with more periods, several are put together: a page would draw no more.
constexpr size_t kMostRates = 1000;

double secondsOf(std::chrono::microseconds time) {
    return static_cast<double>(time.count()) / 1e6;
}

/// The line as it is drawn: milliseconds and kbit/s are exact enough.
std::vector<StudyRun::Rate> lineOf(const NetworkTrace& trace) {
    const size_t together = (trace.periods.size() + kMostRates - 1) / kMostRates;
    std::vector<StudyRun::Rate> line;
    for (size_t i = 0; i < trace.periods.size(); i += together) {
        double seconds = 0;
        double bits = 0;
        for (size_t j = i; j < std::min(i + together, trace.periods.size()); ++j) {
            const double length = secondsOf(trace.periods[j].duration);
            seconds += length;
            bits += length * trace.periods[j].bitsPerSecond;
        }
        line.push_back({std::round(seconds * 1000) / 1000, std::round(bits / seconds / 1000)});
    }
    return line;
}

/// Simulates run by run on threads, and hands the runs out in order.
class Workers {
public:
    Workers(const Movie& movie, const std::vector<NetworkTrace>& traces,
            const StudyOptions& options)
        : m_movie(movie)
        , m_traces(traces)
        , m_options(options)
        , m_text(optionsText(options))
        , m_runs(traces.size() * options.rules.size()) {
        const size_t jobs = std::clamp<size_t>(options.jobs, 1, std::max<size_t>(m_runs.size(), 1));
        for (size_t i = 0; i < jobs; ++i)
            m_threads.emplace_back([this] { work(); });
    }
    ~Workers() {
        m_stop = true;
        for (std::thread& it : m_threads)
            it.join();
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    size_t count() const { return m_runs.size(); }

    /// Waits for a run. @throws what its rule has thrown
    StudyRun await(size_t index) {
        std::unique_lock<std::mutex> lock(m_mutex);
        constexpr std::chrono::milliseconds kLook{50};
        while (!m_runs[index] && !m_failure) {
            if (isInterrupted())
                throw ToolError("simulate", "interrupted");
            m_done.wait_for(lock, kLook);
        }
        if (m_failure)
            std::rethrow_exception(m_failure);
        StudyRun run = std::move(*m_runs[index]);
        m_runs[index].reset();
        return run;
    }

private:
    void work() {
        while (!m_stop) {
            const size_t index = m_next++;
            if (index >= m_runs.size())
                return;
            try {
                StudyRun run = simulateOne(index);
                const std::lock_guard<std::mutex> lock(m_mutex);
                m_runs[index] = std::move(run);
            } catch (...) {
                const std::lock_guard<std::mutex> lock(m_mutex);
                m_failure = std::current_exception();
                m_stop = true;
            }
            m_done.notify_one();
        }
    }

    StudyRun simulateOne(size_t index) const {
        const NetworkTrace& trace = m_traces[index / m_options.rules.size()];
        const size_t place = index % m_options.rules.size();
        const auto rule = makeRule(m_options.rules[place], m_options.values);
        StudyRun result;
        result.movie = m_movie.name;
        result.bitrates = m_movie.bitrates;
        result.options = m_text;
        result.run = simulate(m_movie, trace, *rule, m_options.simulation);
        result.run.set = trace.set;
        result.run.trace = trace.name;
        result.run.rule = m_options.rules[place];
        result.qoe = qoeOf(result.run, m_movie.bitrates);
        if (place == 0)
            result.line = lineOf(trace);
        return result;
    }

    const Movie& m_movie;
    const std::vector<NetworkTrace>& m_traces;
    const StudyOptions& m_options;
    const std::string m_text;
    std::mutex m_mutex;
    std::condition_variable m_done;
    std::vector<std::optional<StudyRun>> m_runs; ///< those that are done and not handed out
    std::exception_ptr m_failure;
    std::atomic<size_t> m_next{0};
    std::atomic<bool> m_stop{false};
    std::vector<std::thread> m_threads; ///< last: they use the others
};

} // namespace

void runStudy(const Movie& movie, const std::vector<NetworkTrace>& traces,
              const StudyOptions& options, const TakeRun& take) {
    for (const std::string& name : options.rules)
        makeRule(name, options.values);
    Workers workers(movie, traces, options);
    for (size_t i = 0; i < workers.count(); ++i) {
        if (!take(workers.await(i)))
            return;
    }
}

std::string optionsText(const StudyOptions& options) {
    const SimulationOptions& it = options.simulation;
    nlohmann::ordered_json text = {
        {"buffer_s", secondsOf(it.bufferGoal)},
        {"abandon", it.abandon},
        {"hold", it.hold == SimulationOptions::Hold::Fit ? "fit" : "goal"},
        {"margin_kbps", it.marginKbps},
        {"up_timer_s", it.upTimer},
        {"noise", it.noise},
        {"seed", it.seed}};
    if (it.latency)
        text["latency_ms"] = secondsOf(*it.latency) * 1000;
    for (const auto& [name, value] : options.values)
        text["rules"][name] = value;
    return text.dump();
}

} // namespace hastool

// The download engine against a bare loop over libcurl's multi interface, both in this process,
// against the same nginx, in turns; and how quickly it answers its owner.
//
// Counters: rate_ratio is the engine's throughput over the bare loop's, cpu_ratio its processor
// time over the bare loop's (that of all the client's threads); p50_ms and p99_ms are percentiles
// of single operations.
#include <Hasnet/Curl.h>
#include <support/EngineOwner.h>
#include <support/FaultOrigin.h>
#include <support/Nginx.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using hascommon::Curl;
using hascommon::UnitObject;

double seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

double clockSeconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double percentile(std::vector<double> values, double which) {
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(which * static_cast<double>(values.size() - 1))];
}

struct Cost {
    double wall = 0;
    double cpu = 0;
};

/// The files of the benchmark, served by one nginx for the life of the process.
const test::Nginx& server() {
    static const test::Nginx* const nginx = [] {
        auto* made = new test::Nginx;
        made->write("big", std::string(64U << 20U, 'x'));
        made->write("small", std::string(20000, 'x'));
        return made;
    }();
    return *nginx;
}

/// An owner that only counts the bytes.
class CountingOwner : public hascommon::ICurlCB {
public:
    void OnDownloadBegin(UnitObject*) override {}
    int OnDataReceived(UnitObject*, int, unsigned char*, unsigned int size) override {
        bytes += size;
        return 0;
    }
    void OnRedirected(UnitObject*, std::string) override {}

    std::atomic<unsigned long long> bytes{0};
};

/// Who runs the passes.
enum class Driver {
    Owner, ///< the owner's thread with RunOnce(), as it drives the bare loop
    Thread ///< the engine's own, while the owner waits for completions
};

/// `total` downloads of a URL, `parallel` at a time, through an engine.
class EngineRun {
public:
    explicit EngineRun(Driver driver)
        : m_driver(driver) {
        m_engine.Init(&m_owner, nullptr);
        if (m_driver == Driver::Thread)
            m_engine.StartLoop();
        run(server().url("/small"), 1, 1);
    }
    ~EngineRun() { m_engine.Quit(); }

    Cost run(const std::string& url, int total, int parallel) {
        const auto start = Clock::now();
        const double cpu = clockSeconds(CLOCK_PROCESS_CPUTIME_ID);
        int begun = 0;
        for (; begun < std::min(total, parallel); ++begun)
            begin(url);
        for (int done = 0; done < total;) {
            UnitObject* unit = completed();
            if (unit == nullptr)
                continue;
            m_engine.EndDownload(unit);
            ++done;
            if (begun < total) {
                begin(url);
                ++begun;
            }
        }
        return {seconds(Clock::now() - start), clockSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpu};
    }

private:
    UnitObject* completed() {
        int code = 0;
        long date = 0;
        if (m_driver == Driver::Thread)
            return m_engine.WaitCompleted(code, date, -1);
        m_engine.RunOnce();
        return m_engine.GetCompleted(code, date);
    }

    void begin(const std::string& url) {
        UnitObject* unit = nullptr;
        m_engine.BeginDownload2(0, url, "", false, unit, false, nullptr);
    }

    const Driver m_driver;
    CountingOwner m_owner;
    Curl m_engine{hascommon::CURL_THREAD_PACED, 0, test::unusedAppId()};
};

size_t discard(char*, size_t size, size_t count, void*) {
    return size * count;
}

/// The same downloads with libcurl alone.
class BareRun {
public:
    BareRun() { run(server().url("/small"), 1, 1); }
    ~BareRun() { curl_multi_cleanup(m_multi); }

    Cost run(const std::string& url, int total, int parallel) {
        const auto start = Clock::now();
        const double cpu = clockSeconds(CLOCK_PROCESS_CPUTIME_ID);
        int begun = 0;
        for (; begun < std::min(total, parallel); ++begun)
            begin(url);
        for (int done = 0; done < total;) {
            int running = 0;
            curl_multi_perform(m_multi, &running);
            int left = 0;
            while (CURLMsg* msg = curl_multi_info_read(m_multi, &left)) {
                CURL* easy = msg->easy_handle;
                curl_multi_remove_handle(m_multi, easy);
                curl_easy_cleanup(easy);
                ++done;
                if (begun < total) {
                    begin(url);
                    ++begun;
                }
            }
            if (running > 0)
                curl_multi_poll(m_multi, nullptr, 0, 300, nullptr);
        }
        return {seconds(Clock::now() - start), clockSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpu};
    }

private:
    void begin(const std::string& url) {
        CURL* easy = curl_easy_init();
        curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, discard);
        curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
        curl_easy_setopt(easy, CURLOPT_FILETIME, 1L);
        curl_multi_add_handle(m_multi, easy);
    }

    CURLM* m_multi = curl_multi_init();
};

/// Runs both in turns, so that other load on the machine falls on both.
void compare(benchmark::State& state, Driver driver, const std::string& file, int total,
             int parallel) {
    EngineRun engine(driver);
    BareRun bare;
    std::vector<double> rates;
    std::vector<double> cpus;
    Cost engineSum;
    Cost bareSum;
    for (auto _ : state) {
        const Cost b = bare.run(server().url(file), total, parallel);
        const Cost e = engine.run(server().url(file), total, parallel);
        rates.push_back(b.wall / e.wall);
        cpus.push_back(e.cpu / b.cpu);
        engineSum.wall += e.wall;
        bareSum.wall += b.wall;
        state.SetIterationTime(e.wall);
    }
    const double count = static_cast<double>(total) * static_cast<double>(state.iterations());
    state.counters["rate_ratio"] = percentile(rates, 0.5);
    state.counters["cpu_ratio"] = percentile(cpus, 0.5);
    state.counters["engine_per_s"] = count / engineSum.wall;
    state.counters["bare_per_s"] = count / bareSum.wall;
}

void BM_LargeBodies(benchmark::State& state) {
    const int parallel = static_cast<int>(state.range(0));
    compare(state, Driver::Owner, "/big", std::max(parallel, 4), parallel);
}
BENCHMARK(BM_LargeBodies)
    ->Arg(1)
    ->Arg(6)
    ->Arg(20)
    ->UseManualTime()
    ->Iterations(9)
    ->Unit(benchmark::kMillisecond);

void BM_SmallBodies(benchmark::State& state) {
    compare(state, Driver::Owner, "/small", 500, static_cast<int>(state.range(0)));
}
BENCHMARK(BM_SmallBodies)
    ->Arg(1)
    ->Arg(6)
    ->Arg(20)
    ->UseManualTime()
    ->Iterations(9)
    ->Unit(benchmark::kMillisecond);

void BM_SmallBodiesThroughTheThread(benchmark::State& state) {
    compare(state, Driver::Thread, "/small", 500, static_cast<int>(state.range(0)));
}
BENCHMARK(BM_SmallBodiesThroughTheThread)
    ->Arg(1)
    ->Arg(6)
    ->Arg(20)
    ->UseManualTime()
    ->Iterations(9)
    ->Unit(benchmark::kMillisecond);

/// An engine with busy or stalled transfers, beside which an owner's calls are timed.
struct Scene {
    Scene() {
        engine.Init(&owner, nullptr);
        engine.StartLoop();
        origin.on("/stall", test::Reply().stalledAt(test::Stage::BeforeStatus));
        origin.on("/endless", test::Reply().body(test::pattern(1ULL << 50U)));
        origin.on("/first", test::Reply().body("x"));
    }
    ~Scene() { engine.Quit(); }

    UnitObject* begin(const std::string& path) {
        UnitObject* unit = nullptr;
        engine.BeginDownload2(0, origin.url(path), "", false, unit, false, nullptr);
        return unit;
    }

    test::FaultOrigin origin;
    CountingOwner owner;
    Curl engine{hascommon::CURL_THREAD_PACED, 1000, test::unusedAppId()};
};

void report(benchmark::State& state, const std::vector<double>& times) {
    state.counters["p50_ms"] = percentile(times, 0.5) * 1000;
    state.counters["p99_ms"] = percentile(times, 0.99) * 1000;
    state.counters["max_ms"] = percentile(times, 1) * 1000;
}

void BM_FirstByteBesideStalledTransfers(benchmark::State& state) {
    Scene scene;
    for (int i = 0; i < 15; ++i)
        scene.begin("/stall");
    scene.origin.waitForRequests("/stall", 15);
    std::vector<double> times;
    for (auto _ : state) {
        const unsigned long long before = scene.owner.bytes;
        const auto start = Clock::now();
        UnitObject* unit = scene.begin("/first");
        while (scene.owner.bytes == before)
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        times.push_back(seconds(Clock::now() - start));
        scene.engine.EndDownload(unit);
    }
    report(state, times);
}
BENCHMARK(BM_FirstByteBesideStalledTransfers)->Iterations(1000)->Unit(benchmark::kMillisecond);

template<typename Operation>
void besideBusyTransfers(benchmark::State& state, Operation operation) {
    Scene scene;
    std::vector<UnitObject*> units;
    for (int i = 0; i < 20; ++i)
        units.push_back(scene.begin("/endless"));
    scene.origin.waitForRequests("/endless", 20);
    std::vector<double> times;
    for (auto _ : state) {
        UnitObject* unit = units[times.size() % units.size()];
        const auto start = Clock::now();
        operation(scene.engine, unit);
        times.push_back(seconds(Clock::now() - start));
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    report(state, times);
}

void BM_PauseAndResumeBesideBusyTransfers(benchmark::State& state) {
    besideBusyTransfers(state, [](Curl& engine, UnitObject* unit) {
        engine.Pause(unit);
        engine.Resume(unit);
    });
}
BENCHMARK(BM_PauseAndResumeBesideBusyTransfers)->Iterations(1000)->Unit(benchmark::kMillisecond);

void BM_IsDownloadingBesideBusyTransfers(benchmark::State& state) {
    besideBusyTransfers(state, [](Curl& engine, UnitObject* unit) { engine.IsDownloading(unit); });
}
BENCHMARK(BM_IsDownloadingBesideBusyTransfers)->Iterations(1000)->Unit(benchmark::kMillisecond);

void BM_GetCompletedBesideBusyTransfers(benchmark::State& state) {
    besideBusyTransfers(state, [](Curl& engine, UnitObject*) {
        int code = 0;
        long date = 0;
        engine.GetCompleted(code, date);
    });
}
BENCHMARK(BM_GetCompletedBesideBusyTransfers)->Iterations(1000)->Unit(benchmark::kMillisecond);

void BM_CancelBesideBusyTransfers(benchmark::State& state) {
    Scene scene;
    for (int i = 0; i < 19; ++i)
        scene.begin("/endless");
    scene.origin.waitForRequests("/endless", 19);
    std::vector<double> times;
    for (auto _ : state) {
        UnitObject* unit = scene.begin("/endless");
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const auto start = Clock::now();
        scene.engine.Cancel(unit);
        times.push_back(seconds(Clock::now() - start));
        scene.engine.EndDownload(unit);
    }
    report(state, times);
}
BENCHMARK(BM_CancelBesideBusyTransfers)->Iterations(300)->Unit(benchmark::kMillisecond);

} // namespace

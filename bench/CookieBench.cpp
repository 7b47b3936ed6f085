// The cookie jar: what a request pays for its Cookie header, and what a start pays for the file.
#include <Hasnet/CHttpCookie.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <string>

#include <unistd.h>

namespace {

using hascommon::CHttpCookie;

/// Ten cookies for each of as many hosts as it takes.
void fill(CHttpCookie& jar, long cookies) {
    for (long i = 0; i < cookies; ++i) {
        const std::string host = "host" + std::to_string(i / 10) + ".example.com";
        jar.addCookieToPool("name" + std::to_string(i) + "=value; path=/; max-age=100000", host,
                            "/");
    }
}

void lookUp(benchmark::State& state) {
    CHttpCookie jar;
    fill(jar, state.range(0));
    size_t bytes = 0;
    for (auto _ : state)
        bytes += jar.getCookieFromPool("http://host0.example.com/media/segment-1.ts").size();
    state.counters["bytes"] = static_cast<double>(bytes) / static_cast<double>(state.iterations());
    jar.clearAll();
}
BENCHMARK(lookUp)->Arg(10)->Arg(1000)->Arg(10000)->Arg(50000);

void add(benchmark::State& state) {
    CHttpCookie jar;
    fill(jar, state.range(0));
    for (auto _ : state)
        jar.addCookieToPool("name1=other; path=/", "host0.example.com", "/");
    jar.clearAll();
}
BENCHMARK(add)->Arg(10)->Arg(1000)->Arg(10000)->Arg(50000);

void load(benchmark::State& state) {
    const std::string path = "/tmp/hasbench." + std::to_string(getpid());
    CHttpCookie jar;
    fill(jar, state.range(0));
    jar.flushOutCookieJar(path, false);
    for (auto _ : state) {
        CHttpCookie fresh;
        fresh.readInCookieJar(path);
        fresh.clearAll();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    jar.clearAll();
    remove(path.c_str());
}
BENCHMARK(load)->Arg(10)->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMicrosecond);

} // namespace

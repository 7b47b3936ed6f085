// The box rewriter beside memcpy, and the walk of a fragment beside a bare one.
#include <Hascommon/Linux/Dlog.h>
#include <Hasutil/CCENCMediaContent.h>
#include <support/BoxBuilder.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace {

using namespace test::boxes;

constexpr size_t kSegment = 4 << 20;
constexpr unsigned int kSamples = 1000;

/// The log is off, as in a player that does not want it.
[[maybe_unused]] const bool kIsQuiet = setenv("HAS_LOG", "off", 1) == 0;

void countBytes(benchmark::State& state, size_t size) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

Bytes moof(unsigned int samples) {
    Bytes sizes;
    Bytes entries;
    for (unsigned int i = 0; i < samples; ++i) {
        sizes = std::move(sizes) + u32(4000 + i);
        entries = std::move(entries) + u64(i) + u16(2) + subsample(100, 1900) + subsample(40, 1960);
    }
    return box("moof", fullBox("mfhd", 0, 0, u32(1)) +
                           box("traf", tfhd(1) + trun(0x201, samples, u32(8) + sizes) +
                                           senc(2, samples, entries)));
}

/// A segment of one fragment and much media data through process(), in chunks.
void processSegment(benchmark::State& state) {
    const auto chunk = static_cast<size_t>(state.range(0));
    Bytes segment = moof(100) + box("mdat", zeros(kSegment));
    Bytes out(segment.size() + 1024);
    CCENCMediaContent content;
    content.init(eDRM_TYPE_PLAYREADY, true);
    for (auto _ : state) {
        content.startSegment();
        size_t written = 0;
        for (size_t at = 0; at < segment.size(); at += chunk) {
            const auto size = static_cast<unsigned int>(std::min(chunk, segment.size() - at));
            unsigned int now = 0;
            if (content.process(0, 0, segment.data() + at, size, out.data() + written, now) < 0)
                throw std::logic_error("a segment was refused");
            written += now;
        }
        if (written != segment.size())
            throw std::logic_error("bytes are missing");
        benchmark::ClobberMemory();
    }
    countBytes(state, segment.size());
}
BENCHMARK(processSegment)->Arg(16 << 10)->Arg(1460)->Unit(benchmark::kMicrosecond);

/// The same bytes, copied in the same chunks.
void copyChunks(benchmark::State& state) {
    const auto chunk = static_cast<size_t>(state.range(0));
    const Bytes segment = moof(100) + box("mdat", zeros(kSegment));
    Bytes out(segment.size());
    for (auto _ : state) {
        for (size_t at = 0; at < segment.size(); at += chunk) {
            memcpy(out.data() + at, segment.data() + at, std::min(chunk, segment.size() - at));
            benchmark::ClobberMemory();
        }
    }
    countBytes(state, segment.size());
}
BENCHMARK(copyChunks)->Arg(16 << 10)->Arg(1460)->Unit(benchmark::kMicrosecond);

/// The same bytes, copied at once.
void copyAtOnce(benchmark::State& state) {
    const Bytes segment = moof(100) + box("mdat", zeros(kSegment));
    Bytes out(segment.size());
    for (auto _ : state) {
        memcpy(out.data(), segment.data(), segment.size());
        benchmark::ClobberMemory();
    }
    countBytes(state, segment.size());
}
BENCHMARK(copyAtOnce)->Unit(benchmark::kMicrosecond);

/// The full walk of a fragment of 1,000 samples with two subsamples each. The box type that it
/// changes is put back each time; that costs nothing in comparison.
void walkFragment(benchmark::State& state) {
    Bytes bytes = moof(kSamples);
    const size_t sencAt = find(bytes, text("senc"));
    CCENCMediaContent content;
    TRACK_FORMAT track;
    track.trackId = 1;
    track.perSampleIvSize = 8;
    content.addTrackData(track);
    for (auto _ : state) {
        memcpy(bytes.data() + sencAt, "senc", 4);
        if (content.moofBoxParsing(bytes.data()) != static_cast<int>(bytes.size()))
            throw std::logic_error("a fragment was refused");
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
}
BENCHMARK(walkFragment)->Unit(benchmark::kMicrosecond);

unsigned int bareU32(const unsigned char* at) {
    return static_cast<unsigned int>(at[0]) << 24 | static_cast<unsigned int>(at[1]) << 16 |
           static_cast<unsigned int>(at[2]) << 8 | at[3];
}

/// What reading the same fields costs when nothing is checked, kept or logged.
void readBare(benchmark::State& state) {
    const Bytes bytes = moof(kSamples);
    const unsigned char* const sizes = bytes.data() + find(bytes, text("trun")) + 16;
    const unsigned char* const entries = bytes.data() + find(bytes, text("senc")) + 12;
    for (auto _ : state) {
        unsigned long long sum = 0;
        const unsigned char* at = entries;
        for (size_t i = 0; i < kSamples; ++i) {
            sum += bareU32(sizes + 4 * i) + bareU32(at) + bareU32(at + 4);
            const unsigned int count = static_cast<unsigned int>(at[8]) << 8 | at[9];
            at += 10;
            for (unsigned int k = 0; k < count; ++k, at += 6)
                sum += (static_cast<unsigned int>(at[0]) << 8 | at[1]) + bareU32(at + 2);
        }
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
}
BENCHMARK(readBare)->Unit(benchmark::kMicrosecond);

/// What the log lines of such a walk cost alone, with the log off.
void logLines(benchmark::State& state) {
    for (auto _ : state) {
        for (unsigned int i = 0; i < kSamples; ++i)
            __dlog_print(0, 4, "DASH_HLS", "%s: %s(%d) > #TRUN#, uSampleSize: %d", "file",
                         "function", 1, static_cast<int>(i));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kSamples);
}
BENCHMARK(logLines)->Unit(benchmark::kMicrosecond);

} // namespace

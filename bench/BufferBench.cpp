// The packet ring and the byte queue, beside memcpy.
#include <Hascommon/LockGuard.h>
#include <Hascommon/RecursiveMutex.h>
#include <Hasutil/CTSPacketBuffer.h>
#include <Hasutil/StringBuffer.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <stdexcept>
#include <vector>

namespace {

using hascommon::CTSPacketBuffer;
using hascommon::StringBuffer;

constexpr unsigned int kPacket = 188;

void countBytes(benchmark::State& state, size_t size) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

/// Pushes a run of packets and pops it again.
void ringRuns(benchmark::State& state) {
    const auto size = static_cast<unsigned int>(state.range(0)) * kPacket;
    CTSPacketBuffer ring(size);
    std::vector<unsigned char> in(size, 1);
    std::vector<unsigned char> out(size);
    for (auto _ : state) {
        if (!ring.PushBack(in.data(), size) || !ring.PopFront(size, out.data()))
            throw std::logic_error("the ring refused a run");
        benchmark::ClobberMemory();
    }
    countBytes(state, size_t{2} * size);
}
BENCHMARK(ringRuns)->Arg(100)->Arg(1000)->Arg(10000);

void memcpyRuns(benchmark::State& state) {
    const size_t size = static_cast<size_t>(state.range(0)) * kPacket;
    std::vector<unsigned char> ring(size);
    const std::vector<unsigned char> in(size, 1);
    std::vector<unsigned char> out(size);
    for (auto _ : state) {
        memcpy(ring.data(), in.data(), size);
        benchmark::ClobberMemory();
        memcpy(out.data(), ring.data(), size);
        benchmark::ClobberMemory();
    }
    countBytes(state, 2 * size);
}
BENCHMARK(memcpyRuns)->Arg(100)->Arg(1000)->Arg(10000);

/// Pushes single packets until the ring is full, and clears it.
void ringPackets(benchmark::State& state) {
    constexpr unsigned int kPackets = 1000;
    CTSPacketBuffer ring(kPackets * kPacket);
    std::vector<unsigned char> packet(kPacket, 1);
    for (auto _ : state) {
        for (unsigned int i = 0; i < kPackets; ++i)
            benchmark::DoNotOptimize(ring.PushBackPacket(packet.data()));
        ring.Clear();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kPackets);
}
BENCHMARK(ringPackets);

/// The least that a single packet can cost: an uncontended lock and a copy.
void lockAndCopyPackets(benchmark::State& state) {
    constexpr size_t kPackets = 1000;
    hascommon::RecursiveMutex mutex;
    std::vector<unsigned char> ring(kPackets * kPacket);
    const std::vector<unsigned char> packet(kPacket, 1);
    for (auto _ : state) {
        for (size_t i = 0; i < kPackets; ++i) {
            const hascommon::LockGuard<hascommon::RecursiveMutex> guard(mutex);
            memcpy(ring.data() + i * kPacket, packet.data(), kPacket);
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kPackets);
}
BENCHMARK(lockAndCopyPackets);

/// Empties the queue in steps of a packet. Filling it is not timed, as that is mostly the system's
/// work.
void queueSteps(benchmark::State& state) {
    std::vector<unsigned char> in(static_cast<size_t>(state.range(0)), 1);
    unsigned char out[kPacket];
    for (auto _ : state) {
        state.PauseTiming();
        StringBuffer queue(0);
        queue.PushBack(in.data(), static_cast<unsigned int>(in.size()));
        state.ResumeTiming();
        while (queue.PopFront(kPacket, out))
            benchmark::DoNotOptimize(out[0]);
    }
    countBytes(state, in.size());
}
BENCHMARK(queueSteps)->Arg(1 << 20)->Arg(8 << 20)->Arg(64 << 20)->Unit(benchmark::kMillisecond);

} // namespace

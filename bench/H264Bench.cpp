// The H.264 start-code search and the parameter set parser, beside memchr and, where it is there,
// libavcodec.
#include <Hasutil/H264HeaderParser.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <vector>

#ifdef HAS_BENCH_LIBAVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}
#endif

namespace {

using hascommon::H264HeaderParser;
using hascommon::H264SequenceSetParse;

/// A byte value that the stream does not hold, so that memchr has to look at all of it.
constexpr unsigned char kAbsent = 0xB7;
constexpr size_t kPicture = 40000;

/// IDR pictures of random bytes with emulation prevention, each behind a start code.
std::vector<unsigned char> makeStream(size_t size) {
    std::mt19937 random(1); // NOLINT: the same stream every time
    std::vector<unsigned char> stream;
    stream.reserve(size + 8);
    int zeros = 0;
    while (stream.size() < size) {
        if (stream.size() % kPicture < 2) {
            stream.insert(stream.end(), {0, 0, 0, 1, 0x65, 0x88});
            zeros = 0;
        }
        auto byte = static_cast<unsigned char>(random());
        if (byte == kAbsent || (zeros >= 2 && byte <= 3))
            byte = 0x5A;
        zeros = byte == 0 ? zeros + 1 : 0;
        stream.push_back(byte);
    }
    stream.resize(size, 0xFF);
    return stream;
}

void countBytes(benchmark::State& state, size_t size) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

void scanByParser(benchmark::State& state) {
    std::vector<unsigned char> stream = makeStream(static_cast<size_t>(state.range(0)));
    H264HeaderParser parser;
    for (auto _ : state) {
        parser.Reset();
        const int found = parser.ParseHeader(stream.data(), static_cast<int>(stream.size()));
        if (found != 0)
            throw std::logic_error("the scan ended before the stream");
    }
    countBytes(state, stream.size());
}

void scanByMemchr(benchmark::State& state) {
    const std::vector<unsigned char> stream = makeStream(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(memchr(stream.data(), kAbsent, stream.size()));
    countBytes(state, stream.size());
}

/// A search that stops at every zero, as a simple start-code search would.
void scanByMemchrForZeros(benchmark::State& state) {
    const std::vector<unsigned char> stream = makeStream(static_cast<size_t>(state.range(0)));
    const unsigned char* const end = stream.data() + stream.size();
    for (auto _ : state) {
        const unsigned char* at = stream.data();
        while (at != nullptr && at < end) {
            at = static_cast<const unsigned char*>(memchr(at, 0, static_cast<size_t>(end - at)));
            at = at != nullptr ? at + 1 : nullptr;
        }
        benchmark::DoNotOptimize(at);
    }
    countBytes(state, stream.size());
}

/// 1920 x 1080, High profile, with cropping, as an encoder writes it: behind the NAL header.
std::vector<unsigned char> makeSps() {
    return {0x64, 0x00, 0x28, 0xAC, 0xD9, 0x40, 0x78, 0x02, 0x27, 0xE5, 0xC0, 0x44, 0x00,
            0x00, 0x03, 0x00, 0x04, 0x00, 0x00, 0x03, 0x00, 0xC8, 0x3C, 0x60, 0xC6, 0x58};
}

void parseSps(benchmark::State& state) {
    std::vector<unsigned char> sps = makeSps();
    H264HeaderParser parser;
    H264SequenceSetParse fields;
    for (auto _ : state) {
        const bool parsed = parser.ParseSPS(sps.data(), static_cast<int>(sps.size()), fields);
        int width = 0;
        int height = 0;
        if (!parsed || !parser.CalcResolution(fields, width, height) || width != 1920 ||
            height != 1080)
            throw std::logic_error("the parameter set was not parsed");
    }
}
BENCHMARK(parseSps);

#ifdef HAS_BENCH_LIBAVCODEC

class Libavcodec {
public:
    explicit Libavcodec(int flags) {
        av_log_set_level(AV_LOG_QUIET);
        m_parser = av_parser_init(AV_CODEC_ID_H264);
        m_context = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264));
        if (m_parser == nullptr || m_context == nullptr)
            throw std::runtime_error("libavcodec has no H.264 parser");
        m_parser->flags |= flags;
    }
    ~Libavcodec() {
        av_parser_close(m_parser);
        avcodec_free_context(&m_context);
    }
    Libavcodec(const Libavcodec&) = delete;
    Libavcodec& operator=(const Libavcodec&) = delete;

    int parse(const std::vector<unsigned char>& bytes, size_t at) {
        uint8_t* out = nullptr;
        int outSize = 0;
        const int left = static_cast<int>(bytes.size() - at) - AV_INPUT_BUFFER_PADDING_SIZE;
        return av_parser_parse2(m_parser, m_context, &out, &outSize, bytes.data() + at, left,
                                AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    }
    int width() const { return m_parser->coded_width; }

private:
    AVCodecParserContext* m_parser = nullptr;
    AVCodecContext* m_context = nullptr;
};

void scanByLibavcodec(benchmark::State& state) {
    std::vector<unsigned char> stream = makeStream(static_cast<size_t>(state.range(0)));
    stream.resize(stream.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    const size_t size = stream.size() - AV_INPUT_BUFFER_PADDING_SIZE;
    for (auto _ : state) {
        Libavcodec parser(0);
        for (size_t at = 0; at < size;) {
            const int taken = parser.parse(stream, at);
            if (taken <= 0)
                throw std::logic_error("libavcodec stopped before the end");
            at += static_cast<size_t>(taken);
        }
    }
    countBytes(state, size);
}

void parseSpsByLibavcodec(benchmark::State& state) {
    std::vector<unsigned char> unit = makeSps();
    unit.insert(unit.begin(), {0, 0, 0, 1, 0x67});
    unit.resize(unit.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    Libavcodec parser(PARSER_FLAG_COMPLETE_FRAMES);
    for (auto _ : state)
        benchmark::DoNotOptimize(parser.parse(unit, 0));
}
BENCHMARK(parseSpsByLibavcodec);

#endif

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(32 << 10)->Arg(1 << 20)->Arg(16 << 20);
}
BENCHMARK(scanByParser)->Apply(sizes);
BENCHMARK(scanByMemchr)->Apply(sizes);
BENCHMARK(scanByMemchrForZeros)->Apply(sizes);
#ifdef HAS_BENCH_LIBAVCODEC
BENCHMARK(scanByLibavcodec)->Apply(sizes);
#endif

} // namespace

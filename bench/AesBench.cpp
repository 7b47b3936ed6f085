// The AES-128-CBC decryptor beside bare EVP_DecryptUpdate, over the same chunks of the same bytes.
#include <Hascommon/Linux/CAes.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include <openssl/evp.h>

namespace {

using hascommon::aes::Decrypt;

constexpr size_t kBytes = 1u << 20; // fits the caches, so that memory speed does not count
unsigned char g_key[16] = {1, 2, 3};
unsigned char g_iv[16] = {4, 5, 6};

/// One stream of kBytes, in chunks.
template<typename Feed>
void feedAll(std::vector<unsigned char>& bytes, size_t chunk, const Feed& feed) {
    for (size_t at = 0; at < bytes.size(); at += chunk)
        feed(bytes.data() + at, static_cast<unsigned int>(std::min(chunk, bytes.size() - at)));
}

void require(bool holds) {
    if (!holds)
        throw std::logic_error("a call failed");
}

class Ours {
public:
    void begin() { require(m_decrypt.Init(g_key, g_iv, true) == 1); }
    int feed(unsigned char* in, unsigned int size, unsigned char* out) {
        return m_decrypt.Do(in, size, out);
    }

private:
    Decrypt m_decrypt;
};

class Bare {
public:
    void begin() {
        require(EVP_DecryptInit_ex(m_context.get(), EVP_aes_128_cbc(), nullptr, g_key, g_iv) == 1);
    }
    int feed(const unsigned char* in, unsigned int size, unsigned char* out) {
        int written = 0;
        require(EVP_DecryptUpdate(m_context.get(), out, &written, in, static_cast<int>(size)) == 1);
        return written;
    }

private:
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> m_context{EVP_CIPHER_CTX_new(),
                                                                              EVP_CIPHER_CTX_free};
};

/// Seconds for one stream.
template<typename Cipher>
double timeStream(Cipher& cipher, std::vector<unsigned char>& in, size_t chunk,
                  std::vector<unsigned char>& out) {
    const auto start = std::chrono::steady_clock::now();
    cipher.begin();
    size_t produced = 0;
    feedAll(in, chunk, [&](unsigned char* data, unsigned int size) {
        produced += static_cast<size_t>(cipher.feed(data, size, out.data()));
    });
    benchmark::ClobberMemory();
    require(produced >= in.size() - 16);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Streams of both in turn; `ratio` is our throughput over the bare one's, the median of all pairs.
void decryptBesideBare(benchmark::State& state) {
    const auto chunk = static_cast<size_t>(state.range(0));
    std::vector<unsigned char> in(kBytes, 7);
    std::vector<unsigned char> out(chunk + 16);
    Ours ours;
    Bare bare;
    std::vector<double> oursTimes;
    std::vector<double> bareTimes;
    std::vector<double> ratios;
    for (auto _ : state) {
        oursTimes.push_back(timeStream(ours, in, chunk, out));
        bareTimes.push_back(timeStream(bare, in, chunk, out));
        ratios.push_back(bareTimes.back() / oursTimes.back());
    }
    state.counters["GB/s"] = kBytes / median(oursTimes) / 1e9;
    state.counters["bare GB/s"] = kBytes / median(bareTimes) / 1e9;
    state.counters["ratio"] = median(ratios);
}
BENCHMARK(decryptBesideBare)
    ->Arg(188)
    ->Arg(1316)
    ->Arg(1460)
    ->Arg(4096)
    ->Arg(16 << 10)
    ->Arg(64 << 10)
    ->MinTime(2);

} // namespace

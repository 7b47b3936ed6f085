#include <Hasutil/detail/StartCodeScan.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#define HAS_SCAN_AVX2 1
#include <immintrin.h>
#endif

// Bytes are looked at in pairs from the starting point on. Three bytes of 0 and 1 in a row always
// fill one of these pairs, which an ordinary byte stream does once in 32 KiB; so one test per pair,
// over whole registers at a time, is all that is needed to pass over everything else.

namespace hascommon::detail {

namespace {

constexpr uint64_t kNeitherZeroNorOne = 0xFEFEFEFEFEFEFEFEULL;
constexpr uint64_t kPairOnes = 0x0001000100010001ULL;
constexpr uint64_t kPairTops = 0x8000800080008000ULL;

bool isLow(unsigned char byte) {
    return byte <= 1;
}

/// Non-zero when one of the four pairs of a word holds only 0 and 1.
uint64_t lowPairs(const unsigned char* at) {
    uint64_t word = 0;
    memcpy(&word, at, sizeof(word));
    word &= kNeitherZeroNorOne;
    return (word - kPairOnes) & ~word & kPairTops;
}

/// A finder returns the first low pair of whole blocks, or the start of the rest that is too short
/// for a block.
using Finder = const unsigned char* (*)(const unsigned char*, const unsigned char*);

/// The first low pair one by one, or the end.
const unsigned char* findPairByPair(const unsigned char* at, const unsigned char* end) {
    for (; end - at >= 2; at += 2) {
        if (isLow(at[0]) && isLow(at[1]))
            return at;
    }
    return end;
}

const unsigned char* findByWords(const unsigned char* at, const unsigned char* end) {
    constexpr ptrdiff_t kBlock = 32;
    for (; end - at >= kBlock; at += kBlock) {
        if ((lowPairs(at) | lowPairs(at + 8) | lowPairs(at + 16) | lowPairs(at + 24)) != 0)
            return findPairByPair(at, at + kBlock);
    }
    return at;
}

#ifdef HAS_SCAN_AVX2

#define HAS_AVX2 __attribute__((target("avx2")))

constexpr ptrdiff_t kVector = 32;

HAS_AVX2 __m256i highBits(const unsigned char* at) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    return _mm256_and_si256(bytes, _mm256_set1_epi8(static_cast<char>(0xFE)));
}

/// A bit for each byte of a low pair.
HAS_AVX2 unsigned int lowMask(__m256i high) {
    const __m256i zeros = _mm256_cmpeq_epi16(high, _mm256_setzero_si256());
    return static_cast<unsigned int>(_mm256_movemask_epi8(zeros));
}

/// The first low pair of a block that holds one.
HAS_AVX2 const unsigned char* locate(const unsigned char* at) {
    unsigned int mask = lowMask(highBits(at));
    for (; mask == 0; mask = lowMask(highBits(at)))
        at += kVector;
    return at + __builtin_ctz(mask);
}

HAS_AVX2 const unsigned char* findByAvx2(const unsigned char* at, const unsigned char* end) {
    constexpr ptrdiff_t kBlock = 4 * kVector;
    for (; end - at >= kBlock; at += kBlock) {
        const __m256i first = _mm256_min_epu16(highBits(at), highBits(at + kVector));
        const __m256i second =
            _mm256_min_epu16(highBits(at + 2 * kVector), highBits(at + 3 * kVector));
        if (lowMask(_mm256_min_epu16(first, second)) != 0)
            return locate(at);
    }
    return findByWords(at, end);
}

Finder chooseFinder() {
    return __builtin_cpu_supports("avx2") ? findByAvx2 : findByWords;
}

#else

Finder chooseFinder() {
    return findByWords;
}

#endif

const unsigned char* findLowPair(const unsigned char* at, const unsigned char* end) {
    static const Finder find = chooseFinder();
    at = find(at, end);
    return findPairByPair(at, end);
}

} // namespace

int skipToStartCode(const unsigned char* bytes, int from, int size) {
    const unsigned char* const start = bytes + from;
    const unsigned char* const end = bytes + size;
    if (isLow(*start))
        return from;
    const unsigned char* at = findLowPair(start, end);
    if (at == end) // a run that goes on in the next piece may begin in the last two bytes
        return std::max(from, size - 2);
    if (at > start && isLow(at[-1]))
        --at;
    return static_cast<int>(at - bytes);
}

} // namespace hascommon::detail

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

/// A finder returns the start of the first block that holds a low pair, or of the rest that is too
/// short for a block.
using Finder = const unsigned char* (*)(const unsigned char*, const unsigned char*);

const unsigned char* findBlockByWords(const unsigned char* at, const unsigned char* end) {
    constexpr ptrdiff_t kBlock = 32;
    for (; end - at >= kBlock; at += kBlock) {
        if ((lowPairs(at) | lowPairs(at + 8) | lowPairs(at + 16) | lowPairs(at + 24)) != 0)
            break;
    }
    return at;
}

#ifdef HAS_SCAN_AVX2

__attribute__((target("avx2"))) __m256i highBits(const unsigned char* at) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    return _mm256_and_si256(bytes, _mm256_set1_epi8(static_cast<char>(0xFE)));
}

__attribute__((target("avx2"))) const unsigned char* findBlockByAvx2(const unsigned char* at,
                                                                     const unsigned char* end) {
    constexpr ptrdiff_t kBlock = 128;
    for (; end - at >= kBlock; at += kBlock) {
        const __m256i first = _mm256_min_epu16(highBits(at), highBits(at + 32));
        const __m256i second = _mm256_min_epu16(highBits(at + 64), highBits(at + 96));
        const __m256i lowest = _mm256_min_epu16(first, second);
        const __m256i zeros = _mm256_cmpeq_epi16(lowest, _mm256_setzero_si256());
        if (_mm256_movemask_epi8(zeros) != 0)
            break;
    }
    return at;
}

Finder chooseFinder() {
    return __builtin_cpu_supports("avx2") ? findBlockByAvx2 : findBlockByWords;
}

#else

Finder chooseFinder() {
    return findBlockByWords;
}

#endif

const unsigned char* findLowPair(const unsigned char* at, const unsigned char* end) {
    static const Finder findBlock = chooseFinder();
    while (end - at >= 2) {
        at = findBlock(at, end);
        // The pair is in this block or, where only a rest is left, perhaps not there at all.
        const unsigned char* const stop = at + std::min<ptrdiff_t>(end - at, 128);
        for (; stop - at >= 2; at += 2) {
            if (isLow(at[0]) && isLow(at[1]))
                return at;
        }
    }
    return end;
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

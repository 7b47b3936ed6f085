#include <Hascommon/BitstreamReader.h>

#include <Hascommon/detail/BitMask.h>

#include <cstdint>
#include <cstring>

namespace hascommon {

namespace {

constexpr int kWordBytes = 8;
constexpr int kWordBits = 64;
constexpr int kValueBits = 32;

uint64_t loadBigEndian(const unsigned char* bytes) {
    uint64_t word = 0;
    memcpy(&word, bytes, sizeof(word));
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    return word;
}

} // namespace

void BitstreamReader::Reset(void* bytes, int size) {
    m_base = static_cast<unsigned char*>(bytes);
    m_current = m_base;
    m_size = size;
    m_bitsLeft = m_base != nullptr ? 8 : 0;
    m_firstByte = bytesLeft() > 0 ? *m_base : 0;
}

long long BitstreamReader::bytesLeft() const {
    return m_base != nullptr ? m_size - (m_current - m_base) : 0;
}

bool BitstreamReader::holds(int n) const {
    const long long left = bytesLeft();
    if (left <= 0 || n < 0)
        return false;
    return n < m_bitsLeft || left > ((n - static_cast<long long>(m_bitsLeft) + 7) >> 3);
}

unsigned int BitstreamReader::readWide(int n) {
    const int behind = 8 - m_bitsLeft;
    const uint64_t word = loadBigEndian(m_current) << behind;
    m_current += (behind + n) >> 3;
    m_bitsLeft = 8 - ((behind + n) & 7);
    return static_cast<unsigned int>(word >> (kWordBits - n));
}

unsigned int BitstreamReader::readBytewise(int n) {
    unsigned int value = 0;
    while (n >= m_bitsLeft) {
        n -= m_bitsLeft;
        if (n < kValueBits)
            value |= (*m_current & detail::bitMask(m_bitsLeft)) << n;
        ++m_current;
        m_bitsLeft = 8;
        if (n == 0)
            return value;
    }
    value |= (*m_current & detail::bitMask(m_bitsLeft)) >> (m_bitsLeft - n);
    m_bitsLeft -= n;
    return value;
}

bool BitstreamReader::read(int n, unsigned int& value) {
    if (!holds(n))
        return false;
    const bool wide = n > 0 && n <= kValueBits && bytesLeft() >= kWordBytes;
    value = wide ? readWide(n) : readBytewise(n);
    return true;
}

void BitstreamReader::GetBits(int n, unsigned int& value) {
    read(n, value);
}

void BitstreamReader::GetBits(int n, int& value) {
    unsigned int bits = 0;
    if (read(n, bits))
        value = static_cast<int>(bits);
}

void BitstreamReader::GetBits(int n, unsigned long long& value) {
    unsigned int bits = 0;
    if (read(n, bits))
        value = static_cast<unsigned long long>(static_cast<int>(bits));
}

void BitstreamReader::SkipBits(int n) {
    if (n <= 0 || !holds(n))
        return;
    if (n < m_bitsLeft) {
        m_bitsLeft -= n;
        return;
    }
    const long long beyond = n - static_cast<long long>(m_bitsLeft);
    m_current += (beyond + 8) >> 3;
    m_bitsLeft = 8 - static_cast<int>(beyond & 7);
}

void BitstreamReader::SkipBytes(int n) {
    if (n <= 0 || bytesLeft() <= n)
        return;
    m_current += n;
    m_bitsLeft = 8;
}

} // namespace hascommon

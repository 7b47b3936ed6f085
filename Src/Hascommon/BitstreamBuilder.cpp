#include <Hascommon/BitstreamBuilder.h>

#include <Hascommon/detail/BitMask.h>

namespace hascommon {

namespace {

constexpr int kValueBits = 32;
constexpr unsigned int kByte = 0xFF;

} // namespace

BitstreamBuilder::BitstreamBuilder() {
    Reset(nullptr, 0);
}

void BitstreamBuilder::Reset(void* bytes, int size) {
    m_base = static_cast<unsigned char*>(bytes);
    m_size = size;
    m_current = m_base;
    m_accumulator = 0;
    m_bitsFree = 8;
}

bool BitstreamBuilder::atEnd() const {
    return m_base == nullptr || m_current - m_base >= m_size;
}

void BitstreamBuilder::AddBits(unsigned int value, int n) {
    if (n < 0)
        return;
    while (!atEnd()) {
        if (m_bitsFree > n) {
            writeInside(value, n);
            return;
        }
        n -= m_bitsFree;
        completeByte(value, n);
        if (n == 0)
            return;
    }
}

void BitstreamBuilder::writeInside(unsigned int value, int n) {
    m_bitsFree -= n;
    const unsigned int kept = m_accumulator & ~(detail::bitMask(n) << m_bitsFree);
    m_accumulator = static_cast<unsigned short>(kept | ((value << m_bitsFree) & kByte));
    *m_current = static_cast<unsigned char>(m_accumulator);
}

void BitstreamBuilder::completeByte(unsigned int value, int bitsBehind) {
    const unsigned int kept = m_accumulator & ~detail::bitMask(m_bitsFree);
    const unsigned int bits = bitsBehind < kValueBits ? (value >> bitsBehind) & kByte : 0;
    *m_current = static_cast<unsigned char>(kept | bits);
    ++m_current;
    m_bitsFree = 8;
    m_accumulator = atEnd() ? 0 : *m_current;
}

} // namespace hascommon

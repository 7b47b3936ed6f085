#include "NalFinder.h"

#include <cstring>

namespace hastool {
namespace {

constexpr int kSequenceSet = 7;
// A parameter set with all scaling lists and the longest VUI is far shorter.
constexpr size_t kMaxUnit = 4096;

} // namespace

void NalFinder::push(const unsigned char* data, size_t size) {
    const unsigned char* const end = data + size;
    while (data != end) {
        // Outside a parameter set only start codes matter, and these begin with a zero.
        if (!m_isInSet && !m_isHeader && m_zeros == 0) {
            const void* const zero = std::memchr(data, 0, static_cast<size_t>(end - data));
            if (zero == nullptr)
                return;
            data = static_cast<const unsigned char*>(zero);
        }
        take(*data++);
    }
}

void NalFinder::finish() {
    endUnit();
    m_zeros = 0;
    m_isHeader = false;
}

void NalFinder::take(unsigned char byte) {
    if (m_isHeader) {
        m_isHeader = false;
        m_isInSet = (byte & 0x1F) == kSequenceSet;
    }
    if (byte == 1 && m_zeros >= 2) {
        endUnit();
        beginUnit();
        return;
    }
    m_zeros = byte == 0 ? m_zeros + (m_zeros < 2 ? 1 : 0) : 0;
    if (m_isInSet && m_unit.size() < kMaxUnit)
        m_unit.push_back(byte);
}

void NalFinder::beginUnit() {
    m_isHeader = true;
    m_zeros = 0;
}

void NalFinder::endUnit() {
    while (!m_unit.empty() && m_unit.back() == 0)
        m_unit.pop_back();
    if (m_isInSet && !m_unit.empty())
        m_sink(m_unit);
    m_unit.clear();
    m_isInSet = false;
}

} // namespace hastool

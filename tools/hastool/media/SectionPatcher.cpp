#include "SectionPatcher.h"

#include "PsiPatch.h"

namespace hastool {
namespace {

constexpr unsigned char kStuffing = 0xFF;
constexpr size_t kLengthEnd = 3; // table id and length

} // namespace

void SectionPatcher::push(TsUnit& unit, uint64_t number) {
    const size_t size = unit.payloadSize();
    unsigned char* const data = unit.packet.data() + (kTsPacketSize - size);
    if (size == 0)
        return;
    if (!unit.isUnitStart()) {
        if (isWaiting())
            append(data, size);
        if (takeSection())
            clear(); // the next section begins only where a pointer field says so
        return;
    }
    const size_t begin = 1 + size_t{data[0]};
    if (begin > size) {
        clear();
        return;
    }
    if (isWaiting()) {
        append(data + 1, begin - 1);
        takeSection();
    }
    clear();
    m_first = number;
    append(data + begin, size - begin);
    while (takeSection()) {
    }
}

void SectionPatcher::append(unsigned char* data, size_t size) {
    m_bytes.insert(m_bytes.end(), data, data + size);
    for (size_t i = 0; i < size; ++i)
        m_places.push_back(data + i);
}

bool SectionPatcher::takeSection() {
    if (m_bytes.empty() || m_bytes[0] == kStuffing) {
        clear();
        return false;
    }
    if (m_bytes.size() < kLengthEnd)
        return false;
    const size_t size = kLengthEnd + (static_cast<size_t>(m_bytes[1] & 0x0F) << 8 | m_bytes[2]);
    if (m_bytes.size() < size)
        return false;
    patchSection(m_bytes.data(), size, m_map);
    for (size_t i = 0; i < size; ++i)
        *m_places[i] = m_bytes[i];
    const auto end = static_cast<std::ptrdiff_t>(size);
    m_bytes.erase(m_bytes.begin(), m_bytes.begin() + end);
    m_places.erase(m_places.begin(), m_places.begin() + end);
    return true;
}

void SectionPatcher::clear() {
    m_bytes.clear();
    m_places.clear();
}

} // namespace hastool

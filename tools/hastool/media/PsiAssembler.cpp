#include "PsiAssembler.h"

#include <hastool/base/SectionChecksum.h>

namespace hastool {
namespace {

constexpr unsigned char kStuffing = 0xFF;
constexpr size_t kLengthEnd = 3;   // table id and length
constexpr size_t kMinSection = 12; // a header of eight bytes and the checksum
constexpr size_t kMaxSection = 4096;

size_t sectionSize(const Bytes& bytes) {
    return kLengthEnd + (static_cast<size_t>(bytes[1] & 0x0F) << 8 | bytes[2]);
}

/// The tables read here all have the long header and a checksum.
bool isSound(const Bytes& section) {
    return (section[1] & 0x80) != 0 && section.size() >= kMinSection &&
           section.size() <= kMaxSection && sectionChecksum(section.data(), section.size()) == 0;
}

} // namespace

void PsiAssembler::push(const TsUnit& unit, bool follows) {
    const unsigned char* const data = unit.payload();
    const size_t size = unit.payloadSize();
    if (!follows || size == 0)
        m_bytes.clear();
    if (size == 0)
        return;
    if (!unit.isUnitStart()) {
        if (!m_bytes.empty())
            append(data, size);
        while (takeSection())
            m_bytes.clear(); // the next section begins only where a pointer field says so
        return;
    }
    const size_t pointer = data[0];
    if (1 + pointer > size) {
        m_bytes.clear();
        return;
    }
    if (!m_bytes.empty()) {
        append(data + 1, pointer);
        takeSection();
    }
    m_bytes.clear();
    append(data + 1 + pointer, size - 1 - pointer);
    while (takeSection()) {
    }
}

void PsiAssembler::append(const unsigned char* data, size_t size) {
    m_bytes.insert(m_bytes.end(), data, data + size);
}

bool PsiAssembler::takeSection() {
    if (m_bytes.empty())
        return false;
    if (m_bytes[0] == kStuffing) {
        m_bytes.clear();
        return false;
    }
    if (m_bytes.size() < kLengthEnd || m_bytes.size() < sectionSize(m_bytes))
        return false;
    const auto end = m_bytes.begin() + static_cast<std::ptrdiff_t>(sectionSize(m_bytes));
    const Bytes section(m_bytes.begin(), end);
    m_bytes.erase(m_bytes.begin(), end);
    if (isSound(section))
        m_sink(section);
    else
        ++m_bad;
    return true;
}

} // namespace hastool

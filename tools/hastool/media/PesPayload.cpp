#include "PesPayload.h"

namespace hastool {
namespace {

constexpr size_t kFixedHeader = 9; // its last byte is the length of what follows
constexpr unsigned char kVideo = 0xE0;

bool isVideo(const std::vector<unsigned char>& header) {
    return header[0] == 0 && header[1] == 0 && header[2] == 1 && (header[3] & 0xF0) == kVideo;
}

} // namespace

void PesPayload::push(const TsUnit& unit) {
    const unsigned char* const data = unit.payload();
    const size_t size = unit.payloadSize();
    if (unit.scrambling() != 0 || size == 0)
        return;
    if (unit.isUnitStart()) {
        m_state = State::Header;
        m_header.clear();
    }
    const size_t used = m_state == State::Header ? takeHeader(data, size) : 0;
    if (m_state == State::Payload)
        m_sink(data + used, size - used);
}

size_t PesPayload::takeHeader(const unsigned char* data, size_t size) {
    size_t used = 0;
    while (used < size && m_header.size() < kFixedHeader)
        m_header.push_back(data[used++]);
    if (m_header.size() < kFixedHeader)
        return used;
    if (!isVideo(m_header)) {
        m_state = State::Outside;
        return used;
    }
    const size_t whole = kFixedHeader + m_header[kFixedHeader - 1];
    while (used < size && m_header.size() < whole)
        m_header.push_back(data[used++]);
    if (m_header.size() == whole)
        m_state = State::Payload;
    return used;
}

} // namespace hastool

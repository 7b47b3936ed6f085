#include "AdtsFrames.h"

#include <algorithm>
#include <cstring>

namespace hastool {
namespace {

constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                          22050, 16000, 12000, 11025, 8000,  7350};
constexpr unsigned kSamplesPerBlock = 1024;

int rateOf(unsigned index) {
    return index < std::size(kRates) ? kRates[index] : 0;
}

} // namespace

void AdtsFrames::push(const unsigned char* data, size_t size) {
    while (size > 0) {
        const size_t skipped = std::min(size, m_skip);
        m_skip -= skipped;
        data += skipped;
        size -= skipped;
        if (size == 0)
            return;
        const size_t taken = std::min(size, kHeader - m_headerSize);
        std::memcpy(m_header + m_headerSize, data, taken);
        m_headerSize += taken;
        data += taken;
        size -= taken;
        while (m_headerSize == kHeader && !takeHeader()) {
            std::memmove(m_header, m_header + 1, --m_headerSize);
            ++m_lost;
        }
    }
}

/// Takes a whole header. @return whether it is one
bool AdtsFrames::takeHeader() {
    const size_t frame = (m_header[3] & 3U) << 11 | static_cast<size_t>(m_header[4]) << 3 |
                         static_cast<size_t>(m_header[5]) >> 5;
    const int rate = rateOf(m_header[2] >> 2 & 0x0FU);
    if (m_header[0] != 0xFF || (m_header[1] & 0xF6) != 0xF0 || frame < kHeader || rate == 0)
        return false;
    if (m_frames++ == 0) {
        m_rate = rate;
        m_objectType = (m_header[2] >> 6) + 1;
        const int configuration = (m_header[2] & 1) << 2 | m_header[3] >> 6;
        m_channels = configuration == 7 ? 8 : configuration;
    }
    m_samples += kSamplesPerBlock * ((m_header[6] & 3U) + 1);
    m_skip = frame - kHeader;
    m_headerSize = 0;
    return true;
}

std::string AdtsFrames::codec() const {
    return m_frames > 0 ? "mp4a.40." + std::to_string(m_objectType) : std::string();
}

double AdtsFrames::seconds() const {
    return m_rate > 0 ? static_cast<double>(m_samples) / m_rate : 0;
}

} // namespace hastool

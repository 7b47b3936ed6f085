// Frames of AAC with their own headers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace hastool {

/// Walks over ADTS frames (ISO/IEC 13818-7, 6.2) that come piece by piece, from header to header.
class AdtsFrames {
public:
    void push(const unsigned char* data, size_t size);

    uint64_t frames() const { return m_frames; }
    /// Samples of each channel.
    uint64_t samples() const { return m_samples; }
    /// Bytes of no frame.
    uint64_t lost() const { return m_lost; }
    /// @name By the first frame; 0 without one
    /// @{
    int sampleRate() const { return m_rate; }
    int channels() const { return m_channels; }
    int objectType() const { return m_objectType; }
    /// @}
    /// "mp4a.40.2"; empty without a frame.
    std::string codec() const;
    double seconds() const;

private:
    static constexpr size_t kHeader = 7;

    bool takeHeader();

    unsigned char m_header[kHeader] = {};
    size_t m_headerSize = 0;
    size_t m_skip = 0; ///< bytes up to the next header
    uint64_t m_frames = 0;
    uint64_t m_samples = 0;
    uint64_t m_lost = 0;
    int m_rate = 0;
    int m_channels = 0;
    int m_objectType = 0;
};

} // namespace hastool

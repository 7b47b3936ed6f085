// A plain model of the H.264 header scan, byte by byte, to compare the fast one with.
#pragma once

#include <cstddef>

namespace test {

class PlainHeaderScan {
public:
    /// @return 0 nothing, 1 parameter set, 2 slice, as the parser's ParseHeader()
    int scan(const unsigned char* bytes, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            const unsigned char byte = bytes[i];
            if (byte == 0) {
                ++m_zeros;
                continue;
            }
            if (m_zeros >= 2 && m_flag) {
                if ((byte & 0x1FU) == 1)
                    return 2;
                if ((byte & 0x1FU) == 7) {
                    m_offset = static_cast<int>(i);
                    return 1;
                }
            }
            if (byte == 1 && !m_flag) {
                m_flag = true;
            } else {
                m_zeros = 0;
                m_flag = false;
            }
        }
        return 0;
    }
    int offset() const { return m_offset; }

private:
    long long m_zeros = 0;
    bool m_flag = false;
    int m_offset = 0;
};

} // namespace test

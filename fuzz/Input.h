// Takes a harness's input apart.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

/// Ends the run when a property does not hold.
inline void require(bool holds) {
    if (!holds)
        abort();
}

class Input {
public:
    Input(const uint8_t* data, size_t size)
        : m_at(data)
        , m_end(data + size) {}

    bool empty() const { return m_at == m_end; }
    size_t left() const { return static_cast<size_t>(m_end - m_at); }

    /// The next byte; 0 at the end.
    unsigned int byte() { return empty() ? 0 : *m_at++; }
    unsigned int word() {
        const unsigned int high = byte();
        return high << 8 | byte();
    }
    /// The next bytes, at most `size`.
    std::vector<unsigned char> bytes(size_t size) {
        const size_t taken = std::min(size, left());
        const uint8_t* const start = m_at;
        m_at += taken;
        return {start, m_at};
    }
    std::vector<unsigned char> rest() { return bytes(left()); }

private:
    const uint8_t* m_at;
    const uint8_t* m_end;
};

} // namespace fuzz

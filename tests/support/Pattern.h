// Bodies of any size that both sides of a transfer can make without holding them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace test {

/// A deterministic run of bytes, given by its size and seed.
///
/// The bytes repeat after a prime length near 1 MiB, so a piece that lands at the wrong place, or
/// twice, never looks right; they are copied from a block that is made once, at memory speed.
class Pattern {
public:
    explicit Pattern(uint64_t size, unsigned seed = 0)
        : m_size(size)
        , m_seed(seed) {}

    uint64_t size() const { return m_size; }

    /// The bytes from `offset` on, at most `most` of them. One call gives up to about 1 MiB; it
    /// gives nothing only at the end.
    std::string_view slice(uint64_t offset, size_t most) const;

    /// `count` bytes from `first` on, cut at the end.
    std::string part(uint64_t first, uint64_t count) const;
    std::string all() const { return part(0, m_size); }

private:
    uint64_t m_size;
    unsigned m_seed;
};

inline Pattern pattern(uint64_t size, unsigned seed = 0) {
    return Pattern(size, seed);
}

/// Compares a body with what arrives, piece by piece.
class BodyChecker {
public:
    /// @param start  where in the body the first piece belongs
    explicit BodyChecker(Pattern body, uint64_t start = 0)
        : m_body(body)
        , m_position(start) {}

    void add(const void* data, size_t size);

    /// Where the next piece belongs.
    uint64_t position() const { return m_position; }
    /// Whether everything so far was right.
    bool intact() const { return m_intact; }
    /// Whether everything was right and the end was reached.
    bool complete() const { return m_intact && m_position == m_body.size(); }

private:
    Pattern m_body;
    uint64_t m_position;
    bool m_intact = true;
};

} // namespace test

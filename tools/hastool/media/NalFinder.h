// Finds the parameter sets of an H.264 stream.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace hastool {

/// Cuts an Annex B byte stream into units and hands out those that may be sequence parameter sets
/// (ITU-T H.264, clause 7.3.1 and annex B).
class NalFinder {
public:
    /// @param unit  with its header, without the start code before it and the zeros behind it
    using Sink = std::function<void(const std::vector<unsigned char>& unit)>;

    explicit NalFinder(Sink sink)
        : m_sink(std::move(sink)) {}

    void push(const unsigned char* data, size_t size);
    /// Says that there are no more bytes, which ends the last unit.
    void finish();

private:
    void take(unsigned char byte);
    void beginUnit();
    void endUnit();

    Sink m_sink;
    std::vector<unsigned char> m_unit;
    int m_zeros = 0;
    bool m_isHeader = false; ///< the next byte is a unit's first
    bool m_isInSet = false;
};

} // namespace hastool

// The times in the header of a PES packet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace hastool {

/// What the header of a PES packet of media says (ISO/IEC 13818-1, clause 2.4.3.6).
struct PesTimes {
    std::optional<uint64_t> presented; ///< in units of 1/90,000 s, 33 bits
    std::optional<uint64_t> decoded;   ///< the same; as `presented` where there is none
    size_t payloadAt = 0;              ///< where the header ends; may be behind the bytes
};

/// @return nothing for what is no PES packet with such a header
std::optional<PesTimes> readPesTimes(const unsigned char* data, size_t size);

/// Makes times of 33 bits go on beyond them, each being near to the one before.
class LongClock {
public:
    int64_t extend(uint64_t time);

private:
    std::optional<int64_t> m_last;
};

} // namespace hastool

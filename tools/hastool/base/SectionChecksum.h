// The checksum of sections (ISO/IEC 13818-1, annex A).
#pragma once

#include <cstddef>
#include <cstdint>

namespace hastool {

/// The checksum of MPEG sections; over a section together with its own checksum it is 0.
uint32_t sectionChecksum(const unsigned char* data, size_t size);

} // namespace hastool

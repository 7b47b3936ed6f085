// Keys and initialisation vectors of AES-128.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace hastool {

/// A key or an initialisation vector.
using AesBytes = std::array<unsigned char, 16>;

/// Reads exactly 32 hexadecimal digits, with or without "0x" before them; nothing for other text.
std::optional<AesBytes> parseAesBytes(const std::string& text);

/// Reads the IV attribute of a playlist (RFC 8216, 4.3.2.4): "0x" and a number of up to 128 bits,
/// big-endian and filled up with zeros in front. Nothing for other text.
std::optional<AesBytes> parseIvAttribute(const std::string& text);

/// The initialisation vector of a segment whose playlist gives no vector (RFC 8216, 5.2).
AesBytes ivOfSequence(uint64_t sequence);

} // namespace hastool

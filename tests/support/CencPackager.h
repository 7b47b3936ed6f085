// Encrypts fragmented files, for tests that decrypt them again with another program.
#pragma once

#include <string>
#include <vector>

namespace test {

/// Turns a clear fragmented file into one with Common Encryption ('cenc', ISO/IEC 23001-7): all
/// samples of all tracks are encrypted whole, with an IV of 8 bytes each. Every `traf` gets `senc`,
/// `saiz` and `saio`.
/// @param key  16 bytes
/// @param kid  16 bytes
std::vector<unsigned char> packCenc(const std::vector<unsigned char>& file,
                                    const std::vector<unsigned char>& key,
                                    const std::vector<unsigned char>& kid);

} // namespace test

// Numbers and bytes in hexadecimal.
#pragma once

#include "PsiAssembler.h"

#include <string>

namespace hastool {

/// "0x0100". @param digits  the least number of them
std::string hexNumber(unsigned int value, int digits);
/// "0x0100".
inline std::string pidText(int pid) {
    return hexNumber(static_cast<unsigned int>(pid), 4);
}
/// "6742c0".
std::string hexText(const Bytes& bytes);

} // namespace hastool

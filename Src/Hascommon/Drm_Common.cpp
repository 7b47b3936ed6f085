#include <Hascommon/Drm_Common.h>

#include <Hascommon/SafeString.h>

#include <algorithm>
#include <cstddef>

namespace {

/// What a character counts as, whether it is a digit or not.
int digitValue(char character) {
    int value = static_cast<unsigned char>(character);
    if (value >= 'A' && value <= 'Z')
        value += 'a' - 'A';
    return value < 'a' ? value - '0' : value - 'a' + 10;
}

size_t digitsBegin(const std::string& text) {
    const bool hasPrefix = text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    return hasPrefix ? 2 : 0;
}

} // namespace

void byteToHexString(char* bytes, char* out, unsigned int n) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    // From the end, so that the text may take the place of the bytes.
    for (size_t i = n; i-- > 0;) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        out[2 * i + 1] = kDigits[byte & 0x0F];
        out[2 * i] = kDigits[byte >> 4];
    }
}

unsigned int hexStringToByte(const std::string& text, void* out, unsigned int outLen) {
    auto* const bytes = static_cast<unsigned char*>(out);
    std::fill_n(bytes, outLen, static_cast<unsigned char>(0));
    const size_t pairs = (text.size() - digitsBegin(text)) / 2;
    const auto count = static_cast<unsigned int>(std::min<size_t>(pairs, outLen));
    for (unsigned int i = 0; i < count; ++i) {
        const size_t at = text.size() - 2 * (static_cast<size_t>(i) + 1);
        const int value = digitValue(text[at]) * 16 + digitValue(text[at + 1]);
        bytes[outLen - 1 - i] = static_cast<unsigned char>(value);
    }
    return count;
}

bool IsLittleEndian() {
    return true;
}

unsigned int swapByteOrder(unsigned int x) {
    return __builtin_bswap32(x);
}

void sequenceToiv(unsigned int seq, unsigned char* iv, unsigned int ivLen) {
    std::fill_n(iv, ivLen, static_cast<unsigned char>(0));
    const unsigned int bigEndian = swapByteOrder(seq);
    const unsigned int count = std::min<unsigned int>(ivLen, sizeof bigEndian);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&bigEndian);
    has_memcpy_s(iv + (ivLen - count), count, bytes + (sizeof bigEndian - count), count);
}

unsigned int stringToiv(const std::string& text, unsigned char* iv, unsigned int ivLen) {
    return hexStringToByte(text, iv, ivLen);
}

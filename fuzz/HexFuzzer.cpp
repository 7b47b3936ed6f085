// Keys and vectors as text. The input is the size of the buffer, a sequence number, and the text.
#include "Input.h"

#include <Hascommon/Drm_Common.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <string>

namespace {

using fuzz::require;
using Bytes = std::vector<unsigned char>;

/// What a reader that goes character by character reads.
Bytes plainRead(std::string text, size_t size, size_t& count) {
    if (text.size() >= 2 && text[0] == '0' && std::tolower(text[1]) == 'x')
        text.erase(0, 2);
    const auto value = [](char character) {
        const int lower = std::tolower(static_cast<unsigned char>(character));
        return lower < 'a' ? lower - '0' : lower - 'a' + 10;
    };
    Bytes bytes;
    for (size_t at = text.size(); at >= 2 && bytes.size() < size; at -= 2)
        bytes.push_back(static_cast<unsigned char>(value(text[at - 2]) * 16 + value(text[at - 1])));
    count = bytes.size();
    bytes.resize(size);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

void checkText(const std::string& text, size_t size) {
    size_t count = 0;
    const Bytes expected = plainRead(text, size, count);
    const auto buffer = std::make_unique<unsigned char[]>(size);
    memset(buffer.get(), 0xEE, size);
    require(hexStringToByte(text, buffer.get(), static_cast<unsigned int>(size)) == count);
    require(std::equal(expected.begin(), expected.end(), buffer.get()));
    memset(buffer.get(), 0xEE, size);
    require(stringToiv(text, buffer.get(), static_cast<unsigned int>(size)) == count);
    require(std::equal(expected.begin(), expected.end(), buffer.get()));
}

void checkRoundTrip(const std::string& text) {
    const auto size = static_cast<unsigned int>(text.size());
    const auto bytes = std::make_unique<char[]>(size);
    const auto digits = std::make_unique<char[]>(size_t{2} * size);
    std::copy(text.begin(), text.end(), bytes.get());
    byteToHexString(bytes.get(), digits.get(), size);
    const std::string hex(digits.get(), size_t{2} * size);
    require(hex.find_first_not_of("0123456789ABCDEF") == std::string::npos);
    const auto back = std::make_unique<unsigned char[]>(size);
    require(hexStringToByte(hex, back.get(), size) == size);
    require(memcmp(back.get(), text.data(), size) == 0);
}

void checkSequence(unsigned int sequence, size_t size) {
    const auto iv = std::make_unique<unsigned char[]>(size);
    memset(iv.get(), 0xEE, size);
    sequenceToiv(sequence, iv.get(), static_cast<unsigned int>(size));
    for (size_t i = 0; i < size; ++i) {
        const unsigned int expected = i < 4 ? sequence >> (8 * i) & 0xFF : 0;
        require(iv[size - 1 - i] == expected);
    }
    require(swapByteOrder(swapByteOrder(sequence)) == sequence);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const size_t room = input.byte();
    const unsigned int high = input.word();
    const unsigned int sequence = high << 16 | input.word();
    const Bytes rest = input.rest();
    const std::string text(rest.begin(), rest.end());
    checkText(text, room);
    checkRoundTrip(text);
    checkSequence(sequence, room);
    return 0;
}

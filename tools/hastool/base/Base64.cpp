#include "Base64.h"

#include <limits>

#include <openssl/evp.h>

namespace hastool {
namespace {

/// OpenSSL's block functions count in int; longer text is not converted.
constexpr size_t kMaxSize = std::numeric_limits<int>::max() / 2;

} // namespace

std::string toBase64(const std::string& bytes) {
    if (bytes.size() > kMaxSize)
        return {};
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0'); // The function ends it with a zero.
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                    reinterpret_cast<const unsigned char*>(bytes.data()),
                    static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

std::optional<std::string> fromBase64(const std::string& text) {
    const size_t end = text.find_last_not_of('=') + 1;
    const size_t padding = text.size() - end;
    if (text.size() % 4 != 0 || text.size() > kMaxSize || padding > 2 || text.find('=') < end)
        return std::nullopt;
    std::string bytes(text.size() / 4 * 3, '\0');
    const int count = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                      reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<int>(text.size()));
    // OpenSSL counts padding as bytes, and drops blanks at both ends: then the count is smaller.
    if (count < 0 || static_cast<size_t>(count) != bytes.size())
        return std::nullopt;
    bytes.resize(bytes.size() - padding);
    return bytes;
}

} // namespace hastool

#include "PercentCoding.h"

#include <memory>

#include <curl/curl.h>

namespace hastool {
namespace {

using CurlText = std::unique_ptr<char, decltype(&curl_free)>;

} // namespace

std::string percentDecoded(std::string_view text) {
    if (text.empty())
        return {}; // libcurl takes a length of 0 for "up to the zero"
    int size = 0;
    const CurlText decoded(
        curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), &size), curl_free);
    return decoded ? std::string(decoded.get(), static_cast<size_t>(size)) : std::string();
}

std::string percentEncoded(std::string_view text, std::string_view plain) {
    std::string result;
    for (const char letter : text) {
        if (plain.find(letter) != std::string_view::npos)
            result += letter;
        else
            result += CurlText(curl_easy_escape(nullptr, &letter, 1), curl_free).get();
    }
    return result;
}

} // namespace hastool

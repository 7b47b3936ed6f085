#include <Hascommon/detail/CurlUrl.h>

#include <Hascommon/detail/Ascii.h>

#include <algorithm>
#include <cerrno>

#include <idn2.h>

namespace hascommon::detail {
namespace {

struct CurlFree {
    void operator()(char* text) const { curl_free(text); }
};

struct IdnFree {
    void operator()(char* text) const { idn2_free(text); }
};

bool isAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Compatibility mapping can turn one character into a delimiter: a full-width solidus into "/".
bool hasDelimiter(const std::string& host) {
    return host.find_first_of("/\\?#@:[]<>^|%\"` ") != std::string::npos ||
           std::any_of(host.begin(), host.end(), [](char c) { return c < ' ' || c == '\x7F'; });
}

std::string idnToAscii(const std::string& host, int flags) {
    char* converted = nullptr;
    if (idn2_to_ascii_8z(host.c_str(), &converted, flags) != IDN2_OK)
        return {};
    const std::unique_ptr<char, IdnFree> owned(converted);
    const std::string ascii(converted);
    return hasDelimiter(ascii) ? std::string() : ascii;
}

} // namespace

bool CurlUrl::set(CURLUPart part, const std::string& text, unsigned int flags) {
    // libcurl takes C strings: behind a zero byte it would see nothing.
    if (m_handle == nullptr || text.find('\0') != std::string::npos)
        return false;
    // Where a long has 32 bits libcurl takes an old ERANGE for its own, and 4294967295 for a name.
    errno = 0;
    return curl_url_set(m_handle.get(), part, text.c_str(), flags) == CURLUE_OK;
}

bool CurlUrl::clear(CURLUPart part) {
    return m_handle != nullptr && curl_url_set(m_handle.get(), part, nullptr, 0) == CURLUE_OK;
}

std::string CurlUrl::get(CURLUPart part, unsigned int flags) const {
    char* text = nullptr;
    if (m_handle == nullptr || curl_url_get(m_handle.get(), part, &text, flags) != CURLUE_OK)
        return {};
    const std::unique_ptr<char, CurlFree> owned(text);
    return text == nullptr ? std::string() : std::string(text);
}

std::string asciiHost(const std::string& host) {
    std::string result = host;
    if (!isAscii(host)) {
        result = idnToAscii(host, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL);
        if (result.empty())
            result = idnToAscii(host, IDN2_NFC_INPUT | IDN2_TRANSITIONAL);
    }
    std::transform(result.begin(), result.end(), result.begin(), toAsciiLower);
    return result;
}

} // namespace hascommon::detail

#include <Hascommon/GURL.h>

#include <Hascommon/detail/CurlUrl.h>
#include <Hascommon/detail/PlainUrl.h>

namespace hascommon {
namespace {

using detail::CurlUrl;

constexpr unsigned int kPrint = CURLU_NO_DEFAULT_PORT;
/// Mapping a host can give it a meaning of its own (digits of another script make an address), so
/// the text is parsed again until it stays as it is. One that does not within a few rounds is taken
/// for no URL.
constexpr int kMostRounds = 4;

/// Percent-encodes what a URL cannot hold and libcurl would refuse or leave: spaces and bytes
/// beyond ASCII. In a host libcurl takes the encoding off again.
std::string encoded(const std::string& text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte != ' ' && byte < 0x80)
            result += c;
        else
            result.append({'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]});
    }
    return result;
}

/// Parses `text` and puts the host into its canonical form.
bool parse(const std::string& text, CurlUrl& url) {
    if (!url.set(CURLUPART_URL, text))
        return false;
    const std::string host = url.get(CURLUPART_HOST);
    // Two characters that libcurl lets pass and no host name has.
    if (host.find_first_of("%|") != std::string::npos)
        return false;
    const std::string ascii = detail::asciiHost(host);
    return !ascii.empty() && (ascii == host || url.set(CURLUPART_HOST, ascii));
}

/// The canonical form of `text`, and in `url` its parts; empty where `text` is no URL.
std::string canonical(std::string text, CurlUrl& url) {
    for (int round = 0; round < kMostRounds; ++round) {
        if (!parse(text, url))
            return {};
        std::string printed = url.get(CURLUPART_URL, kPrint);
        if (printed == text)
            return text;
        text = std::move(printed);
    }
    return {};
}

} // namespace

GURL::GURL(const std::string& url) {
    if (const auto plain = detail::readPlainUrl(url)) {
        m_valid = true;
        m_spec = url;
        m_scheme = plain->scheme;
        m_host = plain->host;
        m_port = plain->port;
        m_path = plain->path;
        m_query = plain->query;
        return;
    }
    CurlUrl parts;
    m_spec = canonical(encoded(url), parts);
    m_valid = !m_spec.empty();
    if (!m_valid)
        return;
    m_scheme = parts.get(CURLUPART_SCHEME);
    m_host = parts.get(CURLUPART_HOST);
    m_port = parts.get(CURLUPART_PORT, CURLU_NO_DEFAULT_PORT);
    m_path = parts.get(CURLUPART_PATH);
    m_query = parts.get(CURLUPART_QUERY);
}

bool GURL::SchemeIs(const char* lowerScheme) const {
    return m_valid && lowerScheme != nullptr && m_scheme == lowerScheme;
}

GURL GURL::Resolve(const std::string& relative) const {
    CurlUrl url;
    if (!m_valid || !url.set(CURLUPART_URL, m_spec) || !url.clear(CURLUPART_FRAGMENT))
        return {};
    // libcurl would take a fragment alone for a file name.
    if (!relative.empty() && relative.front() == '#')
        return GURL(url.get(CURLUPART_URL, kPrint) + relative);
    if (!relative.empty() && !url.set(CURLUPART_URL, encoded(relative)))
        return {};
    return GURL(url.get(CURLUPART_URL, kPrint));
}

} // namespace hascommon

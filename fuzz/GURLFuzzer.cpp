// A URL and, behind a line feed, a reference that is resolved against it.
#include <Hascommon/GURL.h>
#include <Hascommon/detail/PlainUrl.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <curl/curl.h>

namespace {

void require(bool condition, const char* what, const GURL& url) {
    if (condition)
        return;
    fprintf(stderr, "property broken: %s: %s\n", what, url.spec().c_str());
    abort();
}

void checkValid(const GURL& url) {
    const GURL again(url.spec());
    require(again.is_valid() && again.spec() == url.spec(), "canonical form is its own", url);
    require(again.host() == url.host() && again.port() == url.port() &&
                again.path() == url.path() && again.query() == url.query(),
            "canonical form has the same parts", url);
    require(!url.host().empty(), "a host", url);
    require(url.host().find_first_of("@/\\?#%|<> \t\r\n") == std::string::npos,
            "no delimiter in the host", url);
    const bool bracketed = url.host().front() == '[' && url.host().back() == ']';
    require(bracketed || url.host().find_first_of(":[]") == std::string::npos,
            "colons in brackets only", url);
    require(url.path().front() == '/', "the path begins with a slash", url);
    require(url.path().find_first_of("?#") == std::string::npos, "the path is the path", url);
    require(url.SchemeIs(url.scheme().c_str()), "the scheme is its own", url);
    for (const char c : url.spec())
        require(c > ' ' && c < 0x7F, "printable characters only", url);
}

std::string partOf(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, CURLU_NO_DEFAULT_PORT) != CURLUE_OK)
        return {};
    const std::string copy(text);
    curl_free(text);
    return copy;
}

/// What is taken apart without libcurl is what libcurl makes of it.
void checkPlain(const std::string& text) {
    const auto plain = hascommon::detail::readPlainUrl(text);
    if (!plain)
        return;
    CURLU* const peer = curl_url();
    const bool same = curl_url_set(peer, CURLUPART_URL, text.c_str(), 0) == CURLUE_OK &&
                      partOf(peer, CURLUPART_URL) == text &&
                      partOf(peer, CURLUPART_SCHEME) == plain->scheme &&
                      partOf(peer, CURLUPART_HOST) == plain->host &&
                      partOf(peer, CURLUPART_PORT) == plain->port &&
                      partOf(peer, CURLUPART_PATH) == plain->path &&
                      partOf(peer, CURLUPART_QUERY) == plain->query;
    curl_url_cleanup(peer);
    require(same, "a plain URL is what libcurl makes of it", GURL(text));
}

void check(const GURL& url) {
    if (url.is_valid()) {
        checkValid(url);
        return;
    }
    const std::string all = url.spec() + url.scheme() + url.host() + url.port() + url.path();
    require((all + url.query()).empty(), "nothing is half parsed", url);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t lineFeed = input.find('\n');
    checkPlain(input.substr(0, lineFeed));
    const GURL url(input.substr(0, lineFeed));
    check(url);
    if (lineFeed == std::string::npos)
        return 0;
    check(url.Resolve(input.substr(lineFeed + 1)));
    require(!url.is_valid() || url.Resolve(url.spec()).spec() == url.spec(),
            "a URL resolves itself", url);
    return 0;
}

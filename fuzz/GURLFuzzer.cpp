// A URL and, behind a line feed, a reference that is resolved against it.
#include <Hascommon/GURL.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

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
    const GURL url(input.substr(0, lineFeed));
    check(url);
    if (lineFeed == std::string::npos)
        return 0;
    check(url.Resolve(input.substr(lineFeed + 1)));
    require(!url.is_valid() || url.Resolve(url.spec()).spec() == url.spec(),
            "a URL resolves itself", url);
    return 0;
}

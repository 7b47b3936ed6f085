// Set-Cookie headers, one a line, into a jar with strict rules, over plain http and https in turn.
#include <CookieProperties.h>
#include <Input.h>

#include <string>

namespace {

constexpr const char* kHosts[] = {"www.h.co.uk", "h.co.uk", "co.uk", "1.2.3.4", "[::1]"};

/// Whether a cookie in the text of a Cookie header has a name that begins with `prefix`.
bool sendsNameWith(const std::string& header, const char* prefix) {
    return header.compare(0, std::string(prefix).size(), prefix) == 0 ||
           header.find(std::string(";") + prefix) != std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    hascommon::CHttpCookie strict;
    strict.SetStrictCookies(true);
    size_t turn = 0;
    for (const std::string& line :
         fuzz::split(std::string(reinterpret_cast<const char*>(data), size), '\n')) {
        const bool secureOrigin = turn % 2 == 0;
        strict.addCookieToPool(line.c_str(), kHosts[turn++ % 5], "/a/b", secureOrigin);
    }
    for (const char* host : kHosts) {
        const std::string plain = strict.getCookieFromPool("http://" + std::string(host) + "/a/b");
        // A value may hold no semicolon, so what follows one is a name.
        fuzz::require(!sendsNameWith(plain, "__Secure-") && !sendsNameWith(plain, "__Host-"));
    }
    fuzz::require(strict.getCookieFromPool("https://other.co.uk/a/b").empty());
    fuzz::require(strict.getCookieFromPool("https://2.3.4/a/b").empty());
    strict.clearAll();
    return 0;
}

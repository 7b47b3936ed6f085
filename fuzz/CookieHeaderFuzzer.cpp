// Set-Cookie headers, one a line, as sent by three hosts in turn.
#include <CookieProperties.h>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    struct Sender {
        const char* host;
        const char* path;
    };
    static const Sender kSenders[] = {{"www.h.com", "/a/b"}, {"h.com", "/a?b/c"}, {"[::1]", ""}};
    hascommon::CHttpCookie jar;
    fuzz::ModelList model;
    size_t turn = 0;
    for (const std::string& line :
         fuzz::split(std::string(reinterpret_cast<const char*>(data), size), '\n')) {
        const Sender& sender = kSenders[turn++ % 3];
        const std::string exact(line.c_str());
        jar.addCookieToPool(exact, sender.host, sender.path);
        jar.addCookieEntryToList(model.head, true, exact.c_str(), sender.host, sender.path);
    }
    for (const hascommon::Cookie* at = model.head; at != nullptr; at = at->next) {
        fuzz::require(at->name != nullptr && *at->name != '\0', "a cookie has a name");
        fuzz::require(at->value != nullptr, "a cookie has a value");
        fuzz::require(at->domain != nullptr, "a cookie has its sender's domain");
        fuzz::require(!at->livecookie, "no cookie is live");
    }
    fuzz::checkAgainstModel(jar, model);
    fuzz::checkRoundTrip(jar, true);
    fuzz::checkRoundTrip(jar, false);
    jar.clearAll();
    return 0;
}

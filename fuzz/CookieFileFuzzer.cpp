// A whole cookie file.
#include <CookieProperties.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

bool isHeaderLine(const std::string& line) {
    return hascommon::CHttpCookie::rawNEqual(line.c_str(), "Set-Cookie:", 11);
}

/// Fills the model from the lines as a plain reader sees them.
void fillModel(hascommon::CHttpCookie& jar, fuzz::ModelList& model, const std::string& content) {
    for (const std::string& whole : fuzz::split(content, '\n')) {
        const std::string line(whole.substr(0, 4999).c_str());
        const bool header = isHeaderLine(line);
        jar.addCookieEntryToList(model.head, header, line.c_str() + (header ? 11 : 0), nullptr,
                                 nullptr);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const fuzz::Folder folder;
    const std::string content(reinterpret_cast<const char*>(data), size);
    const std::string path = folder.file("input.txt");
    std::ofstream(path, std::ios::binary) << content;
    hascommon::CHttpCookie jar;
    jar.readInCookieJar(path);
    fuzz::ModelList model;
    fillModel(jar, model, content);
    fuzz::checkAgainstModel(jar, model);
    fuzz::checkRoundTrip(jar, true);
    fuzz::checkRoundTrip(jar, false);
    jar.clearAll();
    return 0;
}

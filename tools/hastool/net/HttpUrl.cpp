#include "HttpUrl.h"

#include <hastool/base/PercentCoding.h>
#include <hastool/base/ToolError.h>

#include <Hascommon/GURL.h>

#include <algorithm>
#include <string_view>

namespace hastool {

std::string resolveHttpUrl(const std::string& base, const std::string& reference,
                           const std::string& where) {
    const hascommon::GURL url = hascommon::GURL(base).Resolve(reference);
    if (!url.SchemeIs("http") && !url.SchemeIs("https"))
        throw ToolError(where, "not an HTTP URL: " + inQuotes(reference));
    return url.spec();
}

std::optional<std::string> queryParameter(const std::string& url, const std::string& name) {
    std::string_view rest = url;
    rest = rest.substr(0, rest.find('#'));
    rest.remove_prefix(std::min(rest.find('?'), rest.size()));
    while (!rest.empty()) {
        rest.remove_prefix(1); // '?' or '&'
        const std::string_view pair = rest.substr(0, rest.find('&'));
        rest.remove_prefix(pair.size());
        const size_t equals = pair.find('=');
        if (equals != std::string_view::npos && percentDecoded(pair.substr(0, equals)) == name)
            return percentDecoded(pair.substr(equals + 1));
    }
    return std::nullopt;
}

} // namespace hastool

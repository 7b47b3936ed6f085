#include "HttpUrl.h"

#include "ToolError.h"

#include <Hascommon/GURL.h>

namespace hastool {

std::string resolveHttpUrl(const std::string& base, const std::string& reference,
                           const std::string& where) {
    const hascommon::GURL url = hascommon::GURL(base).Resolve(reference);
    if (!url.SchemeIs("http") && !url.SchemeIs("https"))
        throw ToolError(where, "not an HTTP URL: " + inQuotes(reference));
    return url.spec();
}

} // namespace hastool

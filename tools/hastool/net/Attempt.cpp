#include "Attempt.h"

#include "ResponseHead.h"

#include <array>
#include <utility>

namespace hastool {

void keepAttempt(std::vector<Attempt>& attempts, Attempt attempt) {
    if (attempts.size() == kMostAttempts)
        attempts.erase(attempts.begin());
    attempts.push_back(std::move(attempt));
}

std::string cacheFields(const std::string& headerLines) {
    constexpr std::array<const char*, 8> kFields{"Cache-Control", "Age",          "Expires",
                                                 "X-Cache",       "X-Cache-Hits", "X-Served-By",
                                                 "Cache-Status",  "Via"};
    const ResponseHead head(headerLines);
    std::string text;
    for (const char* const name : kFields) {
        const std::string value = head.field(name);
        if (!value.empty())
            text += (text.empty() ? "" : "; ") + (name + (": " + value));
    }
    return text;
}

} // namespace hastool

#include "ResultText.h"

namespace hastool {
namespace {

struct Meaning {
    int code;
    const char* text;
};

constexpr Meaning kMeanings[] = {
    {0, "done"},
    {-1, "not a URL that can be requested"},
    {-12, "cancelled"},
    {-13, "an empty URL"},
    {-16, "proxy not resolved"},
    {-17, "host not resolved"},
    {-18, "no connection"},
    {-19, "sending failed"},
    {-20, "no answer that could be used"},
    {-23, "HTTP error"},
    {-25, "TLS error"},
    {-26, "body cut short"},
    {-53, "timed out"},
    {-54, "retried too often"},
};

constexpr long kFirstErrorStatus = 400;

std::string meaningOf(int code) {
    for (const Meaning& meaning : kMeanings) {
        if (meaning.code == code)
            return meaning.text;
    }
    return "transfer failed";
}

} // namespace

std::string resultText(int code, long httpStatus) {
    std::string text = meaningOf(code);
    if (httpStatus >= kFirstErrorStatus)
        text = "HTTP " + std::to_string(httpStatus);
    return code == 0 ? text : text + " (code " + std::to_string(code) + ")";
}

} // namespace hastool

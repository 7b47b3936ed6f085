// The public list of URLs that browsers agree on, as far as it is about absolute http(s) URLs.
//
// libcurl does not parse URLs as browsers do, and the library wants its answers: a request goes
// where libcurl sends it. Every row either has the browsers' answer or differs for one of the
// reasons below, and each reason has its exact count, so that a change of behaviour on either side
// is seen here.
#ifdef HAS_SAMPLES_DIR

#include <Hascommon/GURL.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

using Json = nlohmann::json;

struct Row {
    std::string input;
    bool failure = false;
    std::string href;
    std::string host;
    std::string pathname;
};

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::vector<Row> absoluteRows() {
    std::ifstream file(HAS_SAMPLES_DIR "/url/urltestdata.json");
    std::vector<Row> rows;
    for (const Json& entry : Json::parse(file)) {
        const auto base = entry.is_object() ? entry.find("base") : entry.end();
        if (!entry.is_object() || (base != entry.end() && !base->is_null()))
            continue;
        Row row;
        row.input = entry.at("input").get<std::string>();
        if (!startsWith(row.input, "http:") && !startsWith(row.input, "https:"))
            continue;
        row.failure = entry.value("failure", false);
        row.href = entry.value("href", std::string());
        row.host = entry.value("hostname", std::string());
        row.pathname = entry.value("pathname", std::string());
        rows.push_back(row);
    }
    return rows;
}

std::string authorityOf(const std::string& input) {
    const size_t begin = input.find("//");
    if (begin == std::string::npos)
        return {};
    return input.substr(begin + 2, input.find_first_of("/?#", begin + 2) - begin - 2);
}

bool contains(const std::string& text, const char* characters) {
    return text.find_first_of(characters) != std::string::npos;
}

bool hasControl(const std::string& text) {
    for (const char c : text) {
        if ((c >= '\0' && c < ' ') || c == '\x7F')
            return true;
    }
    return false;
}

/// Why the library refuses what browsers accept.
std::string whyRefused(const Row& row) {
    if (hasControl(row.input))
        return "a browser drops or encodes control characters, libcurl refuses them";
    if (row.input.find("://") == std::string::npos)
        return "a browser supplies missing slashes, libcurl wants them";
    if (row.input.find('\\') != std::string::npos)
        return "a browser takes a backslash for a slash, libcurl does not";
    if (contains(authorityOf(row.input), "!\"$&'()*,;=`{}"))
        return "libcurl takes no punctuation in host names";
    return "unexplained refusal: " + row.input;
}

/// Why the library accepts what browsers refuse.
std::string whyAccepted(const Row& row, const GURL& url) {
    if (row.input.find("///") != std::string::npos || contains(row.input.substr(0, 7), "\\"))
        return "libcurl takes three slashes for two";
    if (url.host().find_last_of("0123456789") != std::string::npos)
        return "libcurl takes a bad number for a name, which does not resolve";
    return "unexplained acceptance: " + row.input;
}

/// Why both accept it and print it differently.
std::string whyDifferent(const Row& row, const GURL& url) {
    if (startsWith(url.host(), "0x."))
        return "libcurl takes a bad number for a name, which does not resolve";
    if (row.host != url.host())
        return "unexplained host: " + row.input + " " + url.host();
    if (row.input.find("%2e") != std::string::npos || row.input.find("%2E") != std::string::npos)
        return "libcurl keeps a percent-encoded dot in the path";
    if (contains(row.input, "<>\"`{}'"))
        return "libcurl leaves quotes and brackets unencoded";
    if (contains(row.input, "@"))
        return "user information is kept as it was written";
    if (row.input.find('#') != std::string::npos || row.input.back() == '?')
        return "libcurl drops an empty query or fragment";
    return "unexplained difference: " + row.input + " " + url.spec();
}

std::string reason(const Row& row) {
    const GURL url(row.input);
    if (row.failure)
        return url.is_valid() ? whyAccepted(row, url) : "agrees";
    if (!url.is_valid())
        return whyRefused(row);
    return url.spec() == row.href ? "agrees" : whyDifferent(row, url);
}

TEST(GURLVectors, AgreesWithBrowsersButForCountedReasons) {
    std::map<std::string, int> counts;
    for (const Row& row : absoluteRows())
        ++counts[reason(row)];
    const std::map<std::string, int> expected = {
        {"agrees", 204},
        {"a browser drops or encodes control characters, libcurl refuses them", 11},
        {"a browser supplies missing slashes, libcurl wants them", 7},
        {"a browser takes a backslash for a slash, libcurl does not", 2},
        {"libcurl drops an empty query or fragment", 3},
        {"libcurl keeps a percent-encoded dot in the path", 4},
        {"libcurl leaves quotes and brackets unencoded", 9},
        {"libcurl takes a bad number for a name, which does not resolve", 29},
        {"libcurl takes no punctuation in host names", 1},
        {"user information is kept as it was written", 8},
    };
    EXPECT_EQ(counts, expected);
}

} // namespace

#endif

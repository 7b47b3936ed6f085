#include <hastool/check/Delivered.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Quantities.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/base/WebPage.h>

#include <map>
#include <set>

namespace hastool {
namespace {

class HttpFailed final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-failed", Severity::Error, "RFC 9110, 15.5",
        "A resource that the presentation names cannot be had",
        "Players repeat the request, then leave the part out or stop. It has to be there for as "
        "long as a manifest or playlist names it."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        for (const Delivered& it : deliveredIn(evidence)) {
            if (!it.answer->ok)
                findings.add(kCard, it.place(), std::string(it.name()) + ": " + it.answer->failure);
        }
    }
};

class HttpPage final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-page", Severity::Error, "RFC 9110, 15.3",
        "A web page came in the place of a resource, as if all were well",
        "Players take the page for media and stop with a confusing message, and caches keep it. "
        "Errors, log-ins and pages for what has moved need a status of their own."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        for (const Delivered& it : deliveredIn(evidence)) {
            if (it.answer->ok && isPage(it))
                findings.add(kCard, it.place(),
                             std::string(it.name()) + " is a web page of " +
                                 sizeText(static_cast<double>(it.answer->bytes)) +
                                 ", with status " + std::to_string(it.answer->status));
        }
    }

private:
    /// Media of a folder has no server that is to blame.
    static bool isPage(const Delivered& it) {
        if (it.document != nullptr)
            return looksLikeWebPage(it.document->text);
        if (it.answer->isLocal)
            return false;
        if (it.init != nullptr)
            return looksLikeWebPage(it.init->bytes);
        return it.segment != nullptr && it.segment->facts.kind == SegmentFacts::Kind::Html;
    }
};

/// "http://host:8080" of a URL.
std::string originOf(const std::string& url) {
    const size_t authority = url.find("://");
    return authority == std::string::npos ? url : url.substr(0, url.find('/', authority + 3));
}

class HttpCors final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-cors", Severity::Warning, "Fetch Standard, 3.2",
        "Responses do not allow pages of other hosts to read them",
        "Players in web pages get nothing unless their page comes from the same host. Send "
        "Access-Control-Allow-Origin with all responses."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        struct Count {
            size_t all = 0;
            size_t without = 0;
        };
        std::map<std::string, Count> counts;
        for (const Delivered& it : deliveredIn(evidence)) {
            if (!it.isJudged())
                continue;
            Count& count = counts[originOf(it.url())];
            ++count.all;
            if (!it.answer->head.has("Access-Control-Allow-Origin"))
                ++count.without;
        }
        for (const auto& [origin, count] : counts) {
            if (count.without > 0)
                findings.add(kCard, {{}, {}, origin},
                             "no Access-Control-Allow-Origin in " + std::to_string(count.without) +
                                 " of " + std::to_string(count.all) + " responses");
        }
    }
};

class HttpCompression final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-compression", Severity::Note, "RFC 9110, 8.4",
        "A large manifest or playlist comes without compression",
        "Players begin later, and load it again and again where it is live; text shrinks to a "
        "fraction. Let the server send it with gzip to those that accept it."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        constexpr size_t kLarge = 50000; // bytes: some packets more than a connection begins with
        std::set<std::string> told;
        for (const Delivered& it : deliveredIn(evidence)) {
            if (!it.isJudged() || !it.isText() || it.document->text.size() < kLarge ||
                it.answer->head.has("Content-Encoding") || !told.insert(it.url()).second)
                continue;
            findings.add(kCard, it.place(),
                         sizeText(static_cast<double>(it.document->text.size())) +
                             " without Content-Encoding");
        }
    }
};

/// A count of the segments of a rendition that have something in common.
struct SomeSegments {
    size_t all = 0;
    size_t some = 0;
    const Delivered* first = nullptr;
};

class HttpRedirects final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-redirects", Severity::Note, "RFC 9110, 15.4",
        "Redirects that cost time again and again",
        "Each costs a round trip before the first byte, and often a connection. Name in manifests "
        "and playlists where things are."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        const auto all = deliveredIn(evidence);
        std::map<const CheckedRendition*, SomeSegments> segments;
        for (const Delivered& it : all) {
            if (!it.isJudged())
                continue;
            if (it.kind == Delivered::Kind::Segment)
                count(it, segments[it.rendition]);
            else if (it.answer->redirects > 1)
                findings.add(kCard, it.place(),
                             std::string(it.name()) + " came through " +
                                 std::to_string(it.answer->redirects) + " redirects");
        }
        for (const auto& [rendition, counted] : segments) {
            const bool isEach = counted.some == counted.all && counted.all > 1;
            if (counted.some > 0 && (isEach || counted.first->answer->redirects > 1))
                findings.add(kCard, counted.first->place(),
                             std::to_string(counted.some) + " of " + std::to_string(counted.all) +
                                 " segments came through redirects");
        }
    }

private:
    static void count(const Delivered& it, SomeSegments& counted) {
        ++counted.all;
        if (it.answer->redirects == 0)
            return;
        ++counted.some;
        if (counted.first == nullptr || counted.first->answer->redirects < it.answer->redirects)
            counted.first = &it;
    }
};

class HttpRangeIgnored final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-range-ignored", Severity::Error, "RFC 8216, 4.3.2.2; ISO/IEC 23009-1, 5.3.9",
        "A server sends the whole of what only a part was asked of",
        "Players that do not notice play the begin again and again, the others load all of it for "
        "each segment. Let the server answer ranges (status 206)."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        for (const Delivered& it : deliveredIn(evidence)) {
            constexpr long kWhole = 200;
            if (it.isJudged() && it.answer->resource.range && it.answer->status == kWhole)
                findings.add(kCard, it.place(),
                             "bytes " + rangeText(*it.answer->resource.range) +
                                 " were asked for, the answer has status 200");
        }
    }
};

class HttpMixed final : public Rule {
public:
    static constexpr RuleCard kCard{
        "http-mixed", Severity::Warning, "Mixed Content, 5",
        "A manifest of https names resources of http",
        "Web browsers refuse to load them, and others can read and change them on their way. Name "
        "them with https, or relative to the manifest."};
    const RuleCard& card() const override { return kCard; }
    void check(const Evidence& evidence, Findings& findings) const override {
        if (evidence.documents.empty() && evidence.url.rfind("https:", 0) != 0)
            return;
        const std::string& first =
            evidence.documents.empty() ? evidence.url : evidence.documents.front().answer.finalUrl;
        if (first.rfind("https:", 0) != 0)
            return;
        std::map<const CheckedRendition*, std::pair<size_t, Delivered>> plain;
        for (const Delivered& it : deliveredIn(evidence)) {
            if (it.answer->resource.url.rfind("http:", 0) == 0)
                ++plain.try_emplace(it.rendition, 0, it).first->second.first;
        }
        for (const auto& [rendition, counted] : plain)
            findings.add(kCard, counted.second.place(),
                         std::to_string(counted.first) + " resources over http, the first is " +
                             counted.second.name());
    }
};

} // namespace

void addDeliveryRules(Rules& rules) {
    rules.push_back(std::make_unique<HttpFailed>());
    rules.push_back(std::make_unique<HttpPage>());
    rules.push_back(std::make_unique<HttpCors>());
    rules.push_back(std::make_unique<HttpCompression>());
    rules.push_back(std::make_unique<HttpRedirects>());
    rules.push_back(std::make_unique<HttpRangeIgnored>());
    rules.push_back(std::make_unique<HttpMixed>());
}

} // namespace hastool

#include <hastool/check/Delivered.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/ToolError.h>
#include <hastool/base/WebPage.h>
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <map>
#include <set>

namespace hastool {
namespace {

using Types = std::set<std::string>;
using Kind = SegmentFacts::Kind;

const Types kPlaylist{"application/vnd.apple.mpegurl", "audio/mpegurl", "application/x-mpegurl",
                      "audio/x-mpegurl", "application/mpegurl"};
const Types kDash{"application/dash+xml", "video/vnd.mpeg.dash.mpd"};
const Types kSmooth{"text/xml", "application/xml", "application/vnd.ms-sstr+xml"};
const Types kTransport{"video/mp2t", "audio/mp2t", "video/mpeg"};
const Types kMp4{"video/mp4",         "audio/mp4",         "application/mp4",
                 "video/iso.segment", "audio/iso.segment", "application/iso.segment",
                 "video/x-m4v",       "audio/x-m4a",       "video/m4s",
                 "text/mp4",          "image/mp4"};
const Types kAudio{"audio/aac", "audio/aacp", "audio/x-aac", "audio/mpeg", "audio/mp3",
                   "audio/ac3", "audio/eac3", "audio/x-ac3", "audio/mp4",  "audio/vnd.dlna.adts"};
const Types kText{"text/vtt", "application/ttml+xml", "application/xml", "text/xml", "text/plain"};

/// "video/mp4" of "video/MP4; charset=x".
std::string typeOf(const Answer& answer) {
    const std::string field = answer.head.field("Content-Type");
    return lowered(trimmed(field.substr(0, field.find(';'))));
}

/// The types that a resource may have; null for one that is not known, or that is no media at all.
const Types* typesFor(const Delivered& it, CheckedFormat format) {
    if (it.isText()) {
        if (looksLikeWebPage(it.document->text))
            return nullptr;
        if (it.kind == Delivered::Kind::Playlist)
            return &kPlaylist;
        return format == CheckedFormat::Dash ? &kDash : &kSmooth;
    }
    if (it.init != nullptr)
        return it.init->facts.trouble.empty() && !it.init->bytes.empty() &&
                       it.init->decryptTrouble.empty() && !looksLikeWebPage(it.init->bytes)
                   ? &kMp4
                   : nullptr;
    if (it.segment == nullptr)
        return nullptr;
    switch (it.segment->facts.kind) {
    case Kind::TransportStream:
        return &kTransport;
    case Kind::Fragments:
        return &kMp4;
    case Kind::PackedAudio:
        return &kAudio;
    case Kind::Text:
        return &kText;
    default:
        return nullptr;
    }
}

bool isGeneral(const std::string& type) {
    return type.empty() || type == "application/octet-stream" || type == "binary/octet-stream";
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Whether a playlist is known by its name (RFC 8216, 4).
bool isPlaylistName(const std::string& url) {
    const std::string path = lowered(url.substr(0, url.find_first_of("?#")));
    return endsWith(path, ".m3u8") || endsWith(path, ".m3u");
}

/// Whether a type fits a segment's name: then the server is right, and its media is another.
bool isOfItsName(const Delivered& it, const std::string& type) {
    const std::string& url = it.url();
    const std::string path = lowered(url.substr(0, url.find_first_of("?#")));
    return it.segment != nullptr && ((endsWith(path, ".ts") && kTransport.count(type) != 0) ||
                                     (endsWith(path, ".aac") && kAudio.count(type) != 0) ||
                                     (endsWith(path, ".m4s") && kMp4.count(type) != 0));
}

/// A type that does not fit, of which a rendition may have many.
struct Misfit {
    const Delivered* first = nullptr;
    size_t count = 0;
};

/// Resources whose type is another than the right ones, by rendition and type.
class TypeRule : public Rule {
public:
    explicit TypeRule(const RuleCard& card)
        : m_card(card) {}

    const RuleCard& card() const override { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const override {
        const auto all = deliveredIn(evidence);
        std::map<std::pair<std::string, std::string>, Misfit> misfits;
        for (const Delivered& it : all) {
            const Types* const types = it.isJudged() ? typesFor(it, evidence.format) : nullptr;
            const std::string type = typeOf(*it.answer);
            if (types == nullptr || types->count(type) != 0 || isOfItsName(it, type) ||
                !isMeant(it, type))
                continue;
            Misfit& misfit =
                misfits[{it.rendition != nullptr ? it.rendition->name : "", type + it.name()}];
            ++misfit.count;
            if (misfit.first == nullptr)
                misfit.first = &it;
        }
        for (const auto& [key, misfit] : misfits)
            tell(misfit, evidence.format, findings);
    }

protected:
    virtual bool isMeant(const Delivered& it, const std::string& type) const = 0;

private:
    void tell(const Misfit& misfit, CheckedFormat format, Findings& findings) const {
        const std::string type = typeOf(*misfit.first->answer);
        const Types& types = *typesFor(*misfit.first, format);
        static const std::map<const Types*, const char*> kUsual{
            {&kPlaylist, "application/vnd.apple.mpegurl"},
            {&kDash, "application/dash+xml"},
            {&kSmooth, "application/vnd.ms-sstr+xml"},
            {&kTransport, "video/mp2t"},
            {&kMp4, "video/mp4 or audio/mp4"},
            {&kAudio, "audio/aac"},
            {&kText, "text/vtt"}};
        std::string text = std::string(misfit.first->name()) + " comes " +
                           (type.empty() ? "without a type" : "as " + inQuotes(type)) +
                           ", not as " + kUsual.at(&types);
        if (misfit.count > 1)
            text += " (" + std::to_string(misfit.count) + " times)";
        findings.add(m_card, misfit.first->place(), text);
    }

    const RuleCard& m_card;
};

/// Whether nothing tells that it is a playlist.
bool isUnknownPlaylist(const Delivered& it) {
    return it.kind == Delivered::Kind::Playlist && !isPlaylistName(it.url());
}

class HttpPlaylistType final : public TypeRule {
public:
    static constexpr RuleCard kCard{
        "http-playlist-type", Severity::Error, "RFC 8216, 4",
        "Neither its name nor its content type tells that it is a playlist",
        "Players do not know what to do with it. Send application/vnd.apple.mpegurl, or end its "
        "name with .m3u8."};
    HttpPlaylistType()
        : TypeRule(kCard) {}

protected:
    bool isMeant(const Delivered& it, const std::string&) const override {
        return isUnknownPlaylist(it);
    }
};

class HttpContentType final : public TypeRule {
public:
    static constexpr RuleCard kCard{
        "http-content-type", Severity::Warning, "RFC 9110, 8.3",
        "The content type is that of something else",
        "Players that go by it refuse the resource, and caches and proxies treat it wrongly. "
        "Configure the server's types by the names' endings."};
    HttpContentType()
        : TypeRule(kCard) {}

protected:
    bool isMeant(const Delivered& it, const std::string& type) const override {
        return !isGeneral(type) && !isUnknownPlaylist(it);
    }
};

class HttpContentTypeMissing final : public TypeRule {
public:
    static constexpr RuleCard kCard{
        "http-content-type-missing", Severity::Note, "RFC 9110, 8.3",
        "There is no content type that tells anything",
        "Most players go by what is inside. Some devices, caches and logs do better with the right "
        "type: configure it by the names' endings."};
    HttpContentTypeMissing()
        : TypeRule(kCard) {}

protected:
    bool isMeant(const Delivered& it, const std::string& type) const override {
        return isGeneral(type) && !isUnknownPlaylist(it);
    }
};

} // namespace

void addContentTypeRules(Rules& rules) {
    rules.push_back(std::make_unique<HttpPlaylistType>());
    rules.push_back(std::make_unique<HttpContentType>());
    rules.push_back(std::make_unique<HttpContentTypeMissing>());
}

} // namespace hastool

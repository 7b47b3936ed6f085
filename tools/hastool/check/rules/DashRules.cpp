#include <hastool/check/DashRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/ToolError.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <map>
#include <set>

namespace hastool {
namespace {

/// Whether two elements and all inside them are the same.
bool isSame(const ManifestElement& left, const ManifestElement& right) {
    const auto isSameAttribute = [](const auto& a, const auto& b) {
        return a.name == b.name && a.value == b.value;
    };
    const auto isSameChild = [](const auto& a, const auto& b) { return isSame(*a, *b); };
    return left.name == right.name && left.text == right.text &&
           std::equal(left.attributes.begin(), left.attributes.end(), right.attributes.begin(),
                      right.attributes.end(), isSameAttribute) &&
           std::equal(left.children.begin(), left.children.end(), right.children.begin(),
                      right.children.end(), isSameChild);
}

class DashDuplicateId final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-duplicate-id", Severity::Error, "ISO/IEC 23009-1, 5.3.5.2",
        "Two Representations of a Period have the same id",
        "Players take one for the other, and play the wrong segments behind a switch. Give each "
        "its own id."};
    DashDuplicateId()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        std::map<std::pair<size_t, std::string>, const ManifestElement*> known;
        for (const DashRepresentationView& it : look.view.representations()) {
            if (it.id().empty())
                continue;
            const auto [first, isNew] = known.try_emplace({it.period, it.id()}, it.element);
            if (!isNew && !isSame(*first->second, *it.element))
                look.add(*it.element, "the id " + inQuotes(it.id()) +
                                          " is that of the one in line " +
                                          std::to_string(first->second->line));
        }
    }
};

class DashMimeType final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-mime-type", Severity::Error, "ISO/IEC 23009-1, 5.3.7.2",
        "A Representation without a MIME type",
        "Players cannot tell what it holds, and leave it out. Add mimeType to it or to its "
        "AdaptationSet."};
    DashMimeType()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const DashRepresentationView& it : look.view.representations()) {
            if (it.inherited("mimeType").empty())
                look.add(it, *it.element, "neither it nor its AdaptationSet has a mimeType");
        }
    }
};

class DashCodecs final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-codecs-missing", Severity::Error, "DASH-IF IOP 4.3, 3.2",
        "A Representation of video or audio without codecs",
        "Web players cannot set up their decoders, others have to guess. Add codecs (RFC 6381) to "
        "it or to its AdaptationSet."};
    DashCodecs()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const std::set<std::string> types{"video/mp4", "audio/mp4", "video/webm", "audio/webm"};
        for (const DashRepresentationView& it : look.view.representations()) {
            const bool isMedia = types.count(lowered(it.inherited("mimeType"))) != 0;
            const bool isDivided = it.element->child("SubRepresentation") != nullptr;
            if (isMedia && !isDivided && it.inherited("codecs").empty())
                look.add(it, *it.element,
                         it.inherited("mimeType") + " without codecs, here and in the set");
        }
    }
};

class DashResolution final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-resolution-missing", Severity::Warning, "DASH-IF IOP 4.3, 3.2",
        "A Representation of video without width and height",
        "Players cannot leave out what is too large for the screen or the device. Add width and "
        "height to it or to its AdaptationSet."};
    DashResolution()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const DashRepresentationView& it : look.view.representations()) {
            if (it.isVideo() && (it.inherited("width").empty() || it.inherited("height").empty()))
                look.add(it, *it.element, "no width and height, here and in the set");
        }
    }
};

class DashBandwidth final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-bandwidth-zero", Severity::Error, "ISO/IEC 23009-1, 5.3.5.2",
        "A Representation with a bandwidth of 0",
        "Players choose it as the one that always fits, whatever it needs. Write the bits per "
        "second that are needed to play it without a pause."};
    DashBandwidth()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const DashRepresentationView& it : look.view.representations()) {
            const bool isMedia = it.isVideo() || it.isAudio(); // subtitles need next to nothing
            if (isMedia && dashNumber(*it.element, "bandwidth") == 0U)
                look.add(it, *it.element, "bandwidth=\"0\"");
        }
    }
};

/// "avc" of "avc1.4D401F,mp4a.40.2", and "aac"; sorted.
std::set<std::string> families(const std::string& codecs) {
    static const std::map<std::string, std::string> kNames{
        {"avc1", "avc"},          {"avc3", "avc"},          {"hvc1", "hevc"}, {"hev1", "hevc"},
        {"dvh1", "dolby vision"}, {"dvhe", "dolby vision"}, {"vvc1", "vvc"},  {"vvi1", "vvc"}};
    std::set<std::string> found;
    size_t at = 0;
    while (at < codecs.size()) {
        const size_t end = std::min(codecs.find(',', at), codecs.size());
        const std::string codec = trimmed(codecs.substr(at, end - at));
        const std::string name = codec.substr(0, codec.find('.'));
        // The object types of MPEG-4 audio (40) can be switched between; others are other codecs.
        const bool isOther = name == "mp4a" && codec.rfind("mp4a.40", 0) != 0;
        const auto known = kNames.find(name);
        if (!codec.empty())
            found.insert(isOther ? codec : known != kNames.end() ? known->second : name);
        at = end + 1;
    }
    return found;
}

std::string listed(const std::set<std::string>& names) {
    std::string text;
    for (const std::string& it : names)
        text += (text.empty() ? "" : ", ") + inQuotes(it);
    return text;
}

class DashSetCodecs final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-set-codecs", Severity::Warning, "ISO/IEC 23009-1, 5.3.3.1",
        "An AdaptationSet with Representations of different codecs",
        "Players switch freely within a set, and many of them cannot change the codec there: they "
        "stop or show nothing. Give each codec a set of its own."};
    DashSetCodecs()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const set : look.view.sets()) {
            std::set<std::string> written;
            std::set<std::set<std::string>> all;
            for (const DashRepresentationView& it : look.view.of(*set)) {
                const std::string codecs = it.inherited("codecs");
                const bool isLayer = it.element->has("dependencyId"); // adds to another one
                if (!isLayer && !codecs.empty() && all.insert(families(codecs)).second)
                    written.insert(codecs);
            }
            if (all.size() > 1)
                look.add(*set, listed(written) + " side by side");
        }
    }
};

class DashSetMimeTypes final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-set-mime-types", Severity::Warning, "ISO/IEC 23009-1, 5.3.3.1",
        "An AdaptationSet with Representations of different MIME types",
        "Players switch freely within a set, and cannot change the container there. Give each "
        "container a set of its own."};
    DashSetMimeTypes()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const set : look.view.sets()) {
            std::set<std::string> types;
            for (const DashRepresentationView& it : look.view.of(*set)) {
                const std::string type = lowered(it.inherited("mimeType"));
                if (!type.empty())
                    types.insert(type);
            }
            if (types.size() > 1)
                look.add(*set, listed(types) + " side by side");
        }
    }
};

/// Whether a profile is claimed at some level around a set.
bool hasProfile(const ManifestElement& set, const std::string& name) {
    for (const ManifestElement* it = &set; it != nullptr; it = it->parent) {
        if (it->value("profiles").find(name) != std::string::npos)
            return true;
    }
    return false;
}

bool isSaid(const ManifestElement& set, const char* name) {
    const std::string value = set.value(name);
    return !value.empty() && value != "false" && value != "0";
}

class DashAlignmentMissing final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-alignment-missing", Severity::Warning, "ISO/IEC 23009-1, 8.4",
        "An AdaptationSet does not say that its segments are aligned",
        "Careful players then load two segments for the same time at every switch, or do not "
        "switch. Add segmentAlignment=\"true\" (subsegmentAlignment for the on-demand profile) "
        "where it is so."};
    DashAlignmentMissing()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const set : look.view.sets()) {
            const auto all = look.view.of(*set);
            if (all.size() < 2 || !(all.front().isVideo() || all.front().isAudio()))
                continue;
            const bool isMeant =
                hasProfile(*set, "isoff-live:") || hasProfile(*set, "isoff-on-demand:");
            const bool isAligned = set->has("segmentAlignment") ||
                                   set->has("subsegmentAlignment") ||
                                   isSaid(*set, "bitstreamSwitching");
            if (isMeant && !isAligned)
                look.add(*set, "no segmentAlignment and no subsegmentAlignment, for " +
                                   std::to_string(all.size()) + " Representations");
        }
    }
};

class DashSapMissing final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-sap-missing", Severity::Note, "ISO/IEC 23009-1, 5.3.7.2",
        "An AdaptationSet of video does not say where its segments can be begun with",
        "Careful players do not switch at segments that may begin without a key frame. Add "
        "startWithSAP (subsegmentStartsWithSAP for the on-demand profile)."};
    DashSapMissing()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const set : look.view.sets()) {
            const auto all = look.view.of(*set);
            const bool isSaidInside =
                std::all_of(all.begin(), all.end(), [](const DashRepresentationView& it) {
                    return it.element->has("startWithSAP");
                });
            const bool isMeant =
                hasProfile(*set, "isoff-live:") || hasProfile(*set, "isoff-on-demand:");
            if (all.size() > 1 && all.front().isVideo() && isMeant && !isSaidInside &&
                !set->has("startWithSAP") && !set->has("subsegmentStartsWithSAP"))
                look.add(*set, "no startWithSAP and no subsegmentStartsWithSAP");
        }
    }
};

/// What relative URLs of the manifest count from, also where it was read from a folder.
std::string baseOf(const CheckedDocument& document) {
    const std::string& url = document.answer.finalUrl;
    return url.rfind("http", 0) == 0 ? url : "http://folder/";
}

class DashBaseUrl final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-base-url", Severity::Error, "ISO/IEC 23009-1, 5.6",
        "A BaseURL that cannot be fetched from",
        "Players get none of the segments below it. It has to be a reference (RFC 3986) that comes "
        "to a URL of http or https."};
    DashBaseUrl()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        std::set<const ManifestElement*> told;
        for (const DashRepresentationView& it : look.view.representations()) {
            std::string url = baseOf(look.view.document());
            for (const ManifestElement* const base : it.bases()) {
                try {
                    url = resolveHttpUrl(url, base->text, "");
                } catch (const ToolError&) {
                    if (told.insert(base).second)
                        look.add(*base, inQuotes(base->text) + " is no URL of http or https");
                    break;
                }
            }
        }
    }
};

class DashBaseUrlSlash final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-base-url-slash", Severity::Warning, "RFC 3986, 5.2.3",
        "A BaseURL of a folder that does not end with a slash",
        "The last part of the path falls away when the segments' names are put behind it, so that "
        "they are looked for in another folder. End it with \"/\"."};
    DashBaseUrlSlash()
        : DashRule(kCard) {}

private:
    static bool isFolder(const std::string& text) {
        const size_t authority = text.find("://");
        const size_t from = authority == std::string::npos ? 0 : authority + 3;
        const size_t slash = text.find_last_of('/');
        const bool hasPath =
            authority == std::string::npos || (slash != std::string::npos && slash >= from);
        const std::string name = slash == std::string::npos ? text : text.substr(slash + 1);
        return hasPath && !name.empty() && name.find_first_of(".?") == std::string::npos &&
               text.find('?') == std::string::npos;
    }
    void look(const Look& look) const override {
        std::set<const ManifestElement*> told;
        for (const DashRepresentationView& it : look.view.representations()) {
            const DashSegmenting segments = it.segmenting();
            const bool isRelative = segments.kind == DashSegmenting::Kind::Template &&
                                    segments.media &&
                                    segments.media->find("://") == std::string::npos &&
                                    segments.media->rfind('/', 0) != 0;
            const auto bases = it.bases();
            if (isRelative && !bases.empty() && isFolder(bases.back()->text) &&
                told.insert(bases.back()).second)
                look.add(*bases.back(),
                         inQuotes(bases.back()->text) + " before " + inQuotes(*segments.media));
        }
    }
};

} // namespace

void addDashRules(Rules& rules) {
    rules.push_back(std::make_unique<DashDuplicateId>());
    rules.push_back(std::make_unique<DashMimeType>());
    rules.push_back(std::make_unique<DashCodecs>());
    rules.push_back(std::make_unique<DashResolution>());
    rules.push_back(std::make_unique<DashBandwidth>());
    rules.push_back(std::make_unique<DashSetCodecs>());
    rules.push_back(std::make_unique<DashSetMimeTypes>());
    rules.push_back(std::make_unique<DashAlignmentMissing>());
    rules.push_back(std::make_unique<DashSapMissing>());
    rules.push_back(std::make_unique<DashBaseUrl>());
    rules.push_back(std::make_unique<DashBaseUrlSlash>());
}

} // namespace hastool

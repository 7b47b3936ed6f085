#include <hastool/check/DashRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <map>
#include <set>

namespace hastool {
namespace {

/// What stands between the dollars of a template.
struct Identifiers {
    std::set<std::string> names; ///< without their formats
    std::string fault;           ///< what is wrong; empty when nothing is

    bool has(const char* name) const { return names.count(name) != 0; }
};

bool isFormat(const std::string& text) {
    return text.size() > 3 && text.compare(0, 2, "%0") == 0 && text.back() == 'd' &&
           parseUnsigned(text.substr(2, text.size() - 3)).has_value();
}

Identifiers identifiersOf(const std::string& text) {
    const std::set<std::string> known{"RepresentationID", "Number", "Bandwidth", "Time",
                                      "SubNumber"};
    Identifiers result;
    for (size_t at = text.find('$'); at != std::string::npos; at = text.find('$', at)) {
        const size_t end = text.find('$', at + 1);
        if (end == std::string::npos) {
            result.fault = "a single \"$\"";
            break;
        }
        const std::string inside = text.substr(at + 1, end - at - 1);
        const size_t percent = std::min(inside.find('%'), inside.size());
        const std::string name = inside.substr(0, percent);
        const std::string format = inside.substr(percent);
        const bool isGood = inside.empty() ||
                            (known.count(name) != 0 &&
                             (format.empty() || (isFormat(format) && name != "RepresentationID")));
        if (!isGood)
            result.fault = inQuotes("$" + inside + "$");
        if (!inside.empty())
            result.names.insert(name);
        at = end + 1;
    }
    return result;
}

/// A rule about templates, each of which is told once however many use it.
class TemplateRule : public DashRule {
public:
    using DashRule::DashRule;

protected:
    /// Empty when all is well.
    virtual std::string faultOf(const Look& look, const DashRepresentationView& representation,
                                const DashSegmenting& segments) const = 0;

private:
    void look(const Look& look) const override {
        std::set<const ManifestElement*> told;
        for (const DashRepresentationView& it : look.view.representations()) {
            const DashSegmenting segments = it.segmenting();
            if (segments.kind != DashSegmenting::Kind::Template)
                continue;
            const std::string fault = faultOf(look, it, segments);
            if (!fault.empty() && told.insert(segments.element).second)
                look.add(it, *segments.element, fault);
        }
    }
};

/// Whether there is, or may be, more than one segment.
bool hasMany(const DashSegmenting& segments, const DashPeriodView& period) {
    if (segments.timeline == nullptr)
        return segments.duration &&
               (!period.duration || segments.seconds(*segments.duration) < *period.duration);
    const auto stretches = segments.stretches();
    return stretches &&
           (stretches->size() > 1 || (stretches->size() == 1 && stretches->front().count != 1));
}

class DashTemplateMedia final : public TemplateRule {
public:
    static constexpr RuleCard kCard{
        "dash-template-media", Severity::Error, "ISO/IEC 23009-1, 5.3.9.4",
        "A SegmentTemplate whose segments have no names of their own",
        "Players load the same segment again and again, or none. The media attribute has to hold "
        "$Number$ or $Time$."};
    DashTemplateMedia()
        : TemplateRule(kCard) {}

private:
    std::string faultOf(const Look& look, const DashRepresentationView& representation,
                        const DashSegmenting& segments) const override {
        if (!segments.media)
            return "no media attribute at any level";
        const Identifiers identifiers = identifiersOf(*segments.media);
        const bool isOne = identifiers.has("Number") || identifiers.has("Time") ||
                           !hasMany(segments, look.view.periods()[representation.period]);
        if (isOne || !identifiers.fault.empty())
            return {};
        return "media is " + inQuotes(*segments.media) + ", without $Number$ and $Time$";
    }
};

class DashTemplateIdentifier final : public TemplateRule {
public:
    static constexpr RuleCard kCard{
        "dash-template-identifier", Severity::Error, "ISO/IEC 23009-1, 5.3.9.4.4",
        "A SegmentTemplate that cannot be filled in",
        "Players leave the Representation out, or ask for what is not there. Identifiers are "
        "$RepresentationID$, $Number$, $Bandwidth$ and $Time$, the last three also with a width "
        "like $Number%05d$; a dollar itself is $$."};
    DashTemplateIdentifier()
        : TemplateRule(kCard) {}

private:
    std::string faultOf(const Look&, const DashRepresentationView&,
                        const DashSegmenting& segments) const override {
        for (const auto& text : {segments.media, segments.initialization}) {
            const std::string fault = text ? identifiersOf(*text).fault : "";
            if (!fault.empty())
                return fault + " in " + inQuotes(*text);
        }
        return {};
    }
};

class DashTemplateBoth final : public TemplateRule {
public:
    static constexpr RuleCard kCard{
        "dash-template-both", Severity::Error, "ISO/IEC 23009-1, 5.3.9.4.4",
        "A SegmentTemplate with both $Number$ and $Time$",
        "Many players fill in only one of the two, and ask for what is not there. Name segments by "
        "one of them."};
    DashTemplateBoth()
        : TemplateRule(kCard) {}

private:
    std::string faultOf(const Look&, const DashRepresentationView&,
                        const DashSegmenting& segments) const override {
        const Identifiers identifiers = identifiersOf(segments.media.value_or(""));
        const bool isBoth = identifiers.has("Number") && identifiers.has("Time");
        return isBoth ? "media is " + inQuotes(*segments.media) : std::string();
    }
};

class DashTemplateInit final : public TemplateRule {
public:
    static constexpr RuleCard kCard{
        "dash-template-initialization", Severity::Error, "ISO/IEC 23009-1, 5.3.9.4.2",
        "A template of the initialisation with $Number$ or $Time$",
        "There is one initialisation for all segments, so that players have no number to fill in. "
        "Name it by $RepresentationID$ or $Bandwidth$ alone."};
    DashTemplateInit()
        : TemplateRule(kCard) {}

private:
    std::string faultOf(const Look&, const DashRepresentationView&,
                        const DashSegmenting& segments) const override {
        const Identifiers identifiers = identifiersOf(segments.initialization.value_or(""));
        const bool isBad = identifiers.has("Number") || identifiers.has("Time");
        return isBad ? "initialization is " + inQuotes(*segments.initialization) : std::string();
    }
};

class DashTemplateShared final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-template-shared", Severity::Error, "ISO/IEC 23009-1, 5.3.9.4.4",
        "Several Representations of a set have the same segments",
        "Players switch between them and always get the same. The template needs "
        "$RepresentationID$ or $Bandwidth$, or each Representation a BaseURL of its own."};
    DashTemplateShared()
        : DashRule(kCard) {}

private:
    /// What the URLs of its segments are made of; empty where that is told of elsewhere.
    static std::string urlsOf(const DashRepresentationView& representation) {
        const DashSegmenting segments = representation.segmenting();
        if (segments.kind != DashSegmenting::Kind::Template || !segments.media)
            return {};
        const Identifiers identifiers = identifiersOf(*segments.media);
        if (!identifiers.fault.empty() || !(identifiers.has("Number") || identifiers.has("Time")))
            return {};
        std::string text = *segments.media;
        if (identifiers.has("RepresentationID"))
            text += "\n" + representation.id();
        if (identifiers.has("Bandwidth"))
            text += "\n" + representation.element->value("bandwidth");
        for (const ManifestElement* const base : representation.bases())
            text += "\n" + base->text;
        return text;
    }
    void look(const Look& look) const override {
        for (const ManifestElement* const set : look.view.sets()) {
            std::map<std::string, std::string> ids;
            for (const DashRepresentationView& it : look.view.of(*set)) {
                const std::string urls = urlsOf(it);
                const auto [first, isNew] = ids.try_emplace(urls, it.id());
                if (!urls.empty() && !isNew && first->second != it.id())
                    look.add(it, *it.element,
                             "its segments are those of " + inQuotes(first->second) + ", " +
                                 inQuotes(*it.segmenting().media));
            }
        }
    }
};

class DashTemplateLength final : public TemplateRule {
public:
    static constexpr RuleCard kCard{
        "dash-template-length", Severity::Warning, "ISO/IEC 23009-1, 5.3.9.5.3",
        "A SegmentTemplate with numbers, but without the segments' lengths",
        "Players cannot tell how many segments there are, and play one at most. Add a duration or "
        "a SegmentTimeline."};
    DashTemplateLength()
        : TemplateRule(kCard) {}

private:
    std::string faultOf(const Look&, const DashRepresentationView&,
                        const DashSegmenting& segments) const override {
        const Identifiers identifiers = identifiersOf(segments.media.value_or(""));
        const bool isMany = identifiers.has("Number") || identifiers.has("Time");
        const bool isOne = segments.endNumber && *segments.endNumber == segments.startNumber;
        const bool hasLength = segments.timeline != nullptr || segments.element->has("duration") ||
                               segments.duration || isOne;
        return isMany && !hasLength ? "neither a duration nor a SegmentTimeline" : "";
    }
};

} // namespace

void addDashTemplateRules(Rules& rules) {
    rules.push_back(std::make_unique<DashTemplateMedia>());
    rules.push_back(std::make_unique<DashTemplateIdentifier>());
    rules.push_back(std::make_unique<DashTemplateBoth>());
    rules.push_back(std::make_unique<DashTemplateInit>());
    rules.push_back(std::make_unique<DashTemplateShared>());
    rules.push_back(std::make_unique<DashTemplateLength>());
}

} // namespace hastool

#include <hastool/base/ShownUrl.h>
#include <hastool/check/RuleFamilies.h>

#include <algorithm>

namespace hastool {
namespace {

/// Whether a rule has told already why something cannot be read.
bool isExplained(const Findings& findings, const std::string& url) {
    const auto& all = findings.all();
    const std::string shown = withoutSecrets(url); // as placeIn() has it
    return std::any_of(all.begin(), all.end(), [&](const Finding& it) {
        return it.rule->severity == Severity::Error &&
               withoutSecrets(it.place.where).compare(0, shown.size(), shown) == 0;
    });
}

class UnreadableManifest : public Rule {
public:
    const RuleCard& card() const override {
        static constexpr RuleCard kCard = {
            "manifest-unreadable", Severity::Error,
            "RFC 8216, 4; ISO/IEC 23009-1, 5; [MS-SSTR] 2.2.2",
            "A manifest or playlist cannot be read",
            "Players that come to it stop, or leave the rendition out. The line or element that is "
            "named is the first that makes no sense."};
        return kCard;
    }
    void check(const Evidence& evidence, Findings& findings) const override {
        for (const CheckedDocument& it : evidence.documents)
            look(it, "", findings);
        for (const CheckedRendition& rendition : evidence.renditions) {
            for (const CheckedPlaylist& it : rendition.playlists)
                look(it, rendition.name, findings);
        }
    }

private:
    void look(const CheckedDocument& document, const std::string& rendition,
              Findings& findings) const {
        if (!document.trouble.empty() && !isExplained(findings, document.answer.finalUrl))
            findings.add(card(), {rendition, "", document.answer.finalUrl}, document.trouble);
    }
};

class UnlistableRendition : public Rule {
public:
    const RuleCard& card() const override {
        static constexpr RuleCard kCard = {
            "rendition-unreadable", Severity::Error,
            "RFC 8216, 4.3; ISO/IEC 23009-1, 5.3.9; [MS-SSTR] 2.2.2",
            "The segments of a rendition cannot be told from the manifest",
            "Nobody can play this rendition. What the manifest says of its segments contradicts "
            "itself, is incomplete, or leads to no URL."};
        return kCard;
    }
    void check(const Evidence& evidence, Findings& findings) const override {
        for (const CheckedRendition& it : evidence.renditions) {
            if (!it.trouble.empty() && !hasError(findings, it.name))
                findings.add(card(), {it.name, "", it.url}, it.trouble);
        }
    }

private:
    static bool hasError(const Findings& findings, const std::string& rendition) {
        const auto& all = findings.all();
        return std::any_of(all.begin(), all.end(), [&](const Finding& it) {
            return it.rule->severity == Severity::Error && it.place.rendition == rendition;
        });
    }
};

class LeftOutPart : public Rule {
public:
    const RuleCard& card() const override {
        static constexpr RuleCard kCard = {
            "manifest-part-unusable", Severity::Warning, "RFC 8216, 4; ISO/IEC 23009-1, 5.3",
            "A part of a manifest is of no use and was left out",
            "A player that is as lenient as this tool plays the rest; others refuse the whole "
            "manifest."};
        return kCard;
    }
    void check(const Evidence& evidence, Findings& findings) const override {
        for (size_t i = 0; i < evidence.dash.size() && i < 1; ++i) {
            for (const std::string& problem : evidence.dash[i].problems) {
                if (!hasError(findings))
                    findings.add(card(), {"", "", evidence.url}, problem);
            }
        }
        for (const std::string& warning : evidence.master.warnings) {
            if (!hasError(findings))
                findings.add(card(), {"", "", evidence.url}, warning);
        }
        for (const CheckedRendition& rendition : evidence.renditions)
            look(rendition, findings);
    }

private:
    static bool hasError(const Findings& findings) { return findings.count(Severity::Error) > 0; }
    void look(const CheckedRendition& rendition, Findings& findings) const {
        if (rendition.playlists.empty() || hasError(findings))
            return;
        const CheckedPlaylist& first = rendition.playlists.front();
        for (const std::string& warning : first.playlist.warnings)
            findings.add(card(), {rendition.name, "", first.answer.finalUrl}, warning);
    }
};

class NothingToPlay : public Rule {
public:
    const RuleCard& card() const override {
        static constexpr RuleCard kCard = {
            "presentation-empty", Severity::Error,
            "RFC 8216, 4.3.3; ISO/IEC 23009-1, 5.3.1.2; [MS-SSTR] 2.2.2",
            "The presentation has no segments",
            "There is nothing to play. Where the manifest is live, its packager has not begun or "
            "has lost its input."};
        return kCard;
    }
    void check(const Evidence& evidence, Findings& findings) const override {
        const auto hasSegments = [](const CheckedRendition& it) { return !it.segments.empty(); };
        const auto& all = evidence.renditions;
        if (findings.count(Severity::Error) == 0 &&
            std::none_of(all.begin(), all.end(), hasSegments))
            findings.add(card(), {"", "", evidence.url},
                         std::to_string(all.size()) + " renditions, none with a segment");
    }
};

class CheckCutShort : public Rule {
public:
    const RuleCard& card() const override {
        static constexpr RuleCard kCard = {
            "check-incomplete", Severity::Warning, "the time that this check was given",
            "Not everything could be looked at in time",
            "What was not fetched is not judged. Give the check more time (--max-time), or let it "
            "look at a sample (--sample)."};
        return kCard;
    }
    void check(const Evidence& evidence, Findings& findings) const override {
        if (!evidence.cutShort.empty())
            findings.add(card(), {"", "", evidence.url}, evidence.cutShort);
    }
};

} // namespace

void addPresentationRules(Rules& rules) {
    rules.push_back(std::make_unique<UnreadableManifest>());
    rules.push_back(std::make_unique<UnlistableRendition>());
    rules.push_back(std::make_unique<LeftOutPart>());
    rules.push_back(std::make_unique<NothingToPlay>());
    rules.push_back(std::make_unique<CheckCutShort>());
}

} // namespace hastool

// Variants of HLS master playlists, and what master playlists say of the session.
#include <hastool/check/CodecKinds.h>
#include <hastool/check/MasterRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <map>
#include <tuple>

namespace hastool {
namespace {

/// Whether a variant has video, as far as the playlist says; a variant that names no codecs may
/// have it.
bool hasVideo(const MasterEntry& variant) {
    return variant.has("RESOLUTION") || variant.has("FRAME-RATE") ||
           !codecsOf(variant.get("CODECS"), CodecKind::Video).empty();
}

bool anyHas(const std::vector<MasterEntry>& entries, std::string_view name) {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const MasterEntry& it) { return it.has(name); });
}

/// "the variant of 2400000 bit/s".
std::string nameOf(const MasterEntry& variant) {
    const auto bandwidth = parseUnsigned(variant.list.get("BANDWIDTH"));
    return bandwidth ? "the variant of " + std::to_string(*bandwidth) + " bit/s"
                     : "a variant without a bandwidth";
}

class CodecsMissing : public MasterRule {
public:
    static constexpr RuleCard kCard = {
        "hls-codecs-missing", Severity::Warning, "RFC 8216, 4.3.4.2", "A variant has no CODECS",
        "Players have to load a segment to know whether they can play the variant; some leave it "
        "out, others fail after they have begun. CODECS should name all that the variant and its "
        "renditions use."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        for (const MasterEntry& it : master.variants) {
            if (!it.has("CODECS"))
                findings.add(playlist, it.line, nameOf(it));
        }
    }
};

class ResolutionMissing : public MasterRule {
public:
    static constexpr RuleCard kCard = {"hls-resolution-missing", Severity::Warning,
                                       "RFC 8216, 4.3.4.2",
                                       "A variant with video has no RESOLUTION",
                                       "Players cannot choose what fits the screen, and may load "
                                       "more than it shows. RESOLUTION is "
                                       "recommended for every variant with video."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        for (const MasterEntry& it : master.variants) {
            if (hasVideo(it) && !it.has("RESOLUTION"))
                findings.add(playlist, it.line, nameOf(it));
        }
    }
};

class FrameRateMissing : public MasterRule {
public:
    static constexpr RuleCard kCard = {
        "hls-frame-rate-missing", Severity::Note, "RFC 8216, 4.3.4.2",
        "Some variants with video have a FRAME-RATE, others none",
        "Players that go by the frame rate may leave these variants out. FRAME-RATE should be "
        "there wherever video has more than 30 frames per second, and best everywhere."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        if (!anyHas(master.variants, "FRAME-RATE"))
            return;
        for (const MasterEntry& it : master.variants) {
            if (hasVideo(it) && !it.has("FRAME-RATE"))
                findings.add(playlist, it.line, nameOf(it));
        }
    }
};

class AverageAbovePeak : public MasterRule {
public:
    static constexpr RuleCard kCard = {"hls-average-bandwidth", Severity::Warning,
                                       "RFC 8216, 4.3.4.2",
                                       "An AVERAGE-BANDWIDTH is above its BANDWIDTH",
                                       "BANDWIDTH is the peak: players that go by it choose a "
                                       "variant that the line does not carry. "
                                       "The two are exchanged, or one of them is wrong."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        for (const auto* const entries : {&master.variants, &master.iFrames}) {
            for (const MasterEntry& it : *entries) {
                const auto average = parseUnsigned(it.list.get("AVERAGE-BANDWIDTH"));
                const auto peak = parseUnsigned(it.list.get("BANDWIDTH"));
                if (average && peak && *average > *peak)
                    findings.add(playlist, it.line,
                                 std::to_string(*average) + " bit/s, the BANDWIDTH is " +
                                     std::to_string(*peak) + " bit/s");
            }
        }
    }
};

class VariantTwice : public MasterRule {
public:
    static constexpr RuleCard kCard = {
        "hls-variant-twice", Severity::Warning, "RFC 8216, 4.3.4.2 and 6.2.4",
        "A variant is listed twice",
        "Players offer it twice, and change between the two for nothing. Variants of the same "
        "playlist differ in their groups; a second copy on another server has another URI."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        using Same = std::tuple<std::string, std::string, std::string, std::string, std::string>;
        std::map<Same, const HlsLine*> known;
        for (const MasterEntry& it : master.variants) {
            if (it.uri == nullptr)
                continue;
            const Same same(std::string(it.uri->text), it.get("AUDIO"), it.get("VIDEO"),
                            it.get("SUBTITLES"), it.get("PATHWAY-ID") + it.get("CLOSED-CAPTIONS"));
            const auto [first, isNew] = known.emplace(same, it.line);
            if (!isNew)
                findings.add(playlist, it.line,
                             nameOf(it) + " has the playlist and groups of the one on line " +
                                 std::to_string(first->second->number));
        }
    }
};

class CaptionsNone : public MasterRule {
public:
    static constexpr RuleCard kCard = {
        "hls-captions-none", Severity::Error, "RFC 8216, 4.3.4.2",
        "CLOSED-CAPTIONS=NONE stands at some variants, but not at all",
        "Captions come and go as players change variants. Where one variant says that there are "
        "none, all have to."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        const auto saysNone = [](const MasterEntry& it) {
            const HlsAttributeText* const text = it.list.find("CLOSED-CAPTIONS");
            return text != nullptr && !text->isQuoted && text->value == "NONE";
        };
        if (std::none_of(master.variants.begin(), master.variants.end(), saysNone))
            return;
        for (const MasterEntry& it : master.variants) {
            if (!saysNone(it)) {
                findings.add(playlist, it.line, nameOf(it) + " does not say it");
                return;
            }
        }
    }
};

/// A rule that looks at tags of one name, each against those before it.
class SessionRule : public MasterRule {
protected:
    explicit SessionRule(std::string_view tag)
        : m_tag(tag) {}

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines&,
                PlaylistFindings& findings) const final {
        std::map<std::string, const HlsLine*> known;
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag != m_tag)
                continue;
            const HlsAttributeLine list = readHlsAttributeLine(line.value);
            if (list.isBroken)
                continue;
            const auto [first, isNew] = known.emplace(sameOf(list), &line);
            std::string text = wrongIn(list);
            if (text.empty() && !isNew)
                text = "the same as on line " + std::to_string(first->second->number);
            if (!text.empty())
                findings.add(playlist, &line, text);
        }
    }

    /// What no two tags may have in common.
    virtual std::string sameOf(const HlsAttributeLine& list) const = 0;
    /// What is wrong with one by itself; empty where nothing is.
    virtual std::string wrongIn(const HlsAttributeLine&) const { return ""; }

    std::string_view m_tag;
};

std::string joined(const HlsAttributeLine& list, std::initializer_list<const char*> names) {
    std::string text;
    for (const char* const name : names)
        text += std::string(list.get(name)) + '\n'; // in none of them
    return text;
}

class SessionData : public SessionRule {
public:
    SessionData()
        : SessionRule("EXT-X-SESSION-DATA") {}
    static constexpr RuleCard kCard = {
        "hls-session-data", Severity::Error, "RFC 8216, 4.3.4.4",
        "Session data has no value, two of them, or stands twice",
        "Applications do not find what it should tell them. There is either a VALUE or a URI, and "
        "each DATA-ID once for a LANGUAGE."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string sameOf(const HlsAttributeLine& list) const override {
        return joined(list, {"DATA-ID", "LANGUAGE"});
    }
    std::string wrongIn(const HlsAttributeLine& list) const override {
        if (list.has("VALUE") == list.has("URI"))
            return inQuotes(list.get("DATA-ID")) +
                   (list.has("URI") ? " has both VALUE and URI" : " has neither VALUE nor URI");
        return "";
    }
};

class SessionKeyTwice : public SessionRule {
public:
    SessionKeyTwice()
        : SessionRule("EXT-X-SESSION-KEY") {}
    static constexpr RuleCard kCard = {
        "hls-session-key-twice", Severity::Error, "RFC 8216, 4.3.4.5", "A session key stands twice",
        "Players get the same key twice before they begin. Each key is listed once."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string sameOf(const HlsAttributeLine& list) const override {
        return joined(list, {"METHOD", "URI", "IV", "KEYFORMAT", "KEYFORMATVERSIONS"});
    }
};

} // namespace

void addHlsMasterRules(Rules& rules) {
    rules.push_back(std::make_unique<CodecsMissing>());
    rules.push_back(std::make_unique<ResolutionMissing>());
    rules.push_back(std::make_unique<FrameRateMissing>());
    rules.push_back(std::make_unique<AverageAbovePeak>());
    rules.push_back(std::make_unique<VariantTwice>());
    rules.push_back(std::make_unique<CaptionsNone>());
    rules.push_back(std::make_unique<SessionData>());
    rules.push_back(std::make_unique<SessionKeyTwice>());
}

} // namespace hastool

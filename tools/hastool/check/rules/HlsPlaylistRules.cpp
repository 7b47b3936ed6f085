// What media playlists of HLS say: durations, versions, ranges and keys.
#include <hastool/base/Quantities.h>
#include <hastool/check/PlaylistRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace hastool {
namespace {

class TargetDurationMissing : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-target-duration-missing", Severity::Error, "RFC 8216, 4.3.3.1",
        "A media playlist has no #EXT-X-TARGETDURATION",
        "Players do not know how often to reload and how much to buffer; many refuse the playlist. "
        "Its value is the longest segment's duration, rounded to the nearest second."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        if (playlist.lines->has("EXTINF") && !playlist.lines->has("EXT-X-TARGETDURATION"))
            findings.add(playlist, nullptr, "no line says it");
    }
};

class TargetDuration : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-target-duration", Severity::Error, "RFC 8216, 4.3.3.1",
        "A segment is longer than the target duration",
        "Players reload too early and size their buffers too small: playback stalls. Segments "
        "should be cut shorter, or the target duration be the longest duration, rounded to the "
        "nearest second."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const auto target = numberOf(*playlist.lines, "EXT-X-TARGETDURATION");
        if (!target)
            return;
        for (const SegmentLines& segment : segmentsOf(*playlist.lines)) {
            if (segment.inf != nullptr && std::round(segment.seconds) > *target)
                findings.add(playlist, segment.inf,
                             exactSeconds(segment.seconds) + ", the target duration is " +
                                 exactSeconds(*target));
        }
    }
};

/// What needs a version of the protocol.
struct Need {
    uint64_t version = 0;
    const char* what = "";
    const HlsLine* line = nullptr;
};

Need needOfKey(const HlsLine& line) {
    const HlsAttributeLine list = readHlsAttributeLine(line.value);
    if (list.has("KEYFORMAT") || list.has("KEYFORMATVERSIONS"))
        return {5, "KEYFORMAT", &line};
    return list.has("IV") ? Need{2, "IV", &line} : Need();
}

Need needOfMedia(const HlsLine& line) {
    const HlsAttributeLine list = readHlsAttributeLine(line.value);
    const bool isService = list.get("INSTREAM-ID").substr(0, 7) == "SERVICE";
    return isService ? Need{7, "an INSTREAM-ID of a SERVICE", &line} : Need();
}

Need needOfDefine(const HlsLine& line) {
    const bool isQuery = readHlsAttributeLine(line.value).has("QUERYPARAM");
    return isQuery ? Need{11, "QUERYPARAM", &line} : Need{8, "#EXT-X-DEFINE", &line};
}

Need needOf(const HlsLine& line, bool isFramesOnly) {
    if (line.tag == "EXTINF" &&
        line.value.substr(0, line.value.find(',')).find('.') != std::string_view::npos)
        return {3, "an #EXTINF with a fraction", &line};
    if (line.tag == "EXT-X-BYTERANGE")
        return {4, "#EXT-X-BYTERANGE", &line};
    if (line.tag == "EXT-X-I-FRAMES-ONLY")
        return {4, "#EXT-X-I-FRAMES-ONLY", &line};
    if (line.tag == "EXT-X-MAP" && isFramesOnly)
        return {5, "#EXT-X-MAP", &line};
    if (line.tag == "EXT-X-MAP")
        return {6, "#EXT-X-MAP without #EXT-X-I-FRAMES-ONLY", &line};
    if (line.tag == "EXT-X-SKIP")
        return {9, "#EXT-X-SKIP", &line};
    if (line.tag == "EXT-X-KEY")
        return needOfKey(line);
    if (line.tag == "EXT-X-MEDIA")
        return needOfMedia(line);
    return line.tag == "EXT-X-DEFINE" ? needOfDefine(line) : Need();
}

class VersionTooLow : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-version-low", Severity::Error, "RFC 8216, 7; RFC 8216bis, 8",
        "The version is too low for what the playlist uses",
        "Players that go by the version ignore what it does not have, or refuse the playlist. "
        "#EXT-X-VERSION should say the version that the text names; without it the version is 1."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const auto version = versionOf(*playlist.lines);
        const bool isFramesOnly = playlist.lines->has("EXT-X-I-FRAMES-ONLY");
        Need most;
        for (const HlsLine& line : playlist.lines->lines()) {
            const Need need = needOf(line, isFramesOnly);
            if (need.version > most.version)
                most = need;
        }
        if (!version || most.version <= *version)
            return;
        const bool isSaid = playlist.lines->has("EXT-X-VERSION");
        findings.add(playlist, most.line,
                     std::string(most.what) + " needs version " + std::to_string(most.version) +
                         (isSaid ? ", the playlist says " + std::to_string(*version)
                                 : ", the playlist says none, which is 1"));
    }
};

class LateSequence : public MediaRule {
public:
    static constexpr RuleCard kCard = {"hls-late-sequence", Severity::Error,
                                       "RFC 8216, 4.3.3.2 and 4.3.3.3",
                                       "A sequence number stands behind the first segment",
                                       "Players that have numbered segments by then ignore it and "
                                       "lose their place on a reload. It "
                                       "belongs to the head of the playlist."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        bool hasSegment = false;
        for (const HlsLine& line : playlist.lines->lines()) {
            hasSegment = hasSegment || line.tag == "EXTINF" || line.kind == HlsLine::Kind::Uri;
            const bool isSequence =
                line.tag == "EXT-X-MEDIA-SEQUENCE" || line.tag == "EXT-X-DISCONTINUITY-SEQUENCE";
            if (hasSegment && isSequence)
                findings.add(playlist, &line, "#" + std::string(line.tag));
        }
    }
};

class OpenVod : public MediaRule {
public:
    static constexpr RuleCard kCard = {"hls-vod-without-end", Severity::Warning,
                                       "RFC 8216, 4.3.3.4 and 4.3.3.5",
                                       "A playlist of type VOD has no #EXT-X-ENDLIST",
                                       "Players reload it for ever, begin at its end and show no "
                                       "length. #EXT-X-ENDLIST belongs to "
                                       "its end."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLine* const type = playlist.lines->find("EXT-X-PLAYLIST-TYPE");
        if (type != nullptr && type->value == "VOD" && !playlist.lines->has("EXT-X-ENDLIST"))
            findings.add(playlist, type, "its segments cannot change, yet it has no end");
    }
};

class ByteRangeWithoutOffset : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-byte-range", Severity::Error, "RFC 8216, 4.3.2.2",
        "A byte range has no offset, and no range of the same file before it",
        "Players refuse the playlist. The range needs an offset, as in 1000@2000, or has to "
        "follow a range of the same file."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const SegmentLines* before = nullptr;
        const std::vector<SegmentLines> segments = segmentsOf(*playlist.lines);
        for (const SegmentLines& segment : segments) {
            const bool needs = segment.range != nullptr && segment.uri != nullptr &&
                               segment.range->value.find('@') == std::string_view::npos;
            const bool has = before != nullptr && before->range != nullptr &&
                             before->uri != nullptr && segment.uri != nullptr &&
                             before->uri->text == segment.uri->text;
            if (needs && !has)
                findings.add(playlist, segment.range,
                             inQuotes(segment.range->value) + " of " + uriText(segment.uri->text));
            before = &segment;
        }
    }
};

/// A rule that looks at #EXT-X-KEY and #EXT-X-SESSION-KEY.
class KeyRule : public PlaylistRule {
private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const final {
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag != "EXT-X-KEY" && line.tag != "EXT-X-SESSION-KEY")
                continue;
            const HlsAttributeLine list = readHlsAttributeLine(line.value);
            const std::string text = list.isBroken ? "" : judge(line, list);
            if (!text.empty())
                findings.add(playlist, &line, text);
        }
    }

    /// What is wrong with a key; empty where nothing is.
    virtual std::string judge(const HlsLine& line, const HlsAttributeLine& list) const = 0;
};

class KeyNone : public KeyRule {
public:
    static constexpr RuleCard kCard = {
        "hls-key-none", Severity::Error, "RFC 8216, 4.3.2.4 and 4.3.4.5",
        "A key of METHOD=NONE has other attributes, or is a session key",
        "Players differ in whether the segments are encrypted. With METHOD=NONE there are no other "
        "attributes."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const HlsLine& line, const HlsAttributeLine& list) const override {
        if (list.get("METHOD") != "NONE")
            return "";
        if (line.tag == "EXT-X-SESSION-KEY")
            return "a session key of METHOD=NONE";
        for (const char* const name : {"URI", "IV", "KEYFORMAT", "KEYFORMATVERSIONS"}) {
            if (list.has(name))
                return std::string(name) + " stands beside METHOD=NONE";
        }
        return "";
    }
};

class KeyUri : public KeyRule {
public:
    static constexpr RuleCard kCard = {
        "hls-key-uri", Severity::Error, "RFC 8216, 4.3.2.4", "A key has no URI",
        "Players cannot get the key, and the segments do not play. Every METHOD but NONE needs a "
        "URI."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const HlsLine&, const HlsAttributeLine& list) const override {
        const std::string_view method = list.get("METHOD");
        if (method.empty() || method == "NONE" || !list.get("URI").empty())
            return "";
        return "METHOD=" + std::string(method.substr(0, 40)) + " without a URI";
    }
};

class KeyMethod : public KeyRule {
public:
    static constexpr RuleCard kCard = {
        "hls-key-method", Severity::Warning, "RFC 8216, 4.3.2.4; RFC 8216bis, 4.4.4.4",
        "The method of a key is not known",
        "Players do not play segments whose encryption they do not know. The methods are NONE, "
        "AES-128, SAMPLE-AES and SAMPLE-AES-CTR."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const HlsLine&, const HlsAttributeLine& list) const override {
        constexpr std::string_view kKnown[] = {"NONE",           "AES-128", "SAMPLE-AES",
                                               "SAMPLE-AES-CTR", "AES-256", "AES-256-CTR"};
        const std::string_view method = list.get("METHOD");
        const bool isKnown =
            std::find(std::begin(kKnown), std::end(kKnown), method) != std::end(kKnown);
        return isKnown || method.empty() || hasVariable(method) ? "" : inQuotes(method);
    }
};

class KeyVector : public KeyRule {
public:
    static constexpr RuleCard kCard = {"hls-key-iv", Severity::Error, "RFC 8216, 4.3.2.4",
                                       "An initialisation vector has more than 128 bits",
                                       "Players refuse the key, or cut the vector in different "
                                       "ways and decrypt to garbage. It has "
                                       "32 hexadecimal digits behind the 0x."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const HlsLine&, const HlsAttributeLine& list) const override {
        constexpr size_t kMost = 2 + 32;
        const std::string_view iv = list.get("IV");
        if (iv.size() <= kMost || hasVariable(iv))
            return "";
        return std::to_string(iv.size() - 2) + " digits";
    }
};

class MapWithoutVector : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-map-iv", Severity::Error, "RFC 8216, 4.3.2.5",
        "An encrypted initialisation segment has no vector",
        "It has no sequence number to take the vector from, so that players cannot decrypt it. The "
        "#EXT-X-KEY that holds for an #EXT-X-MAP needs an IV."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        bool isWithout = false;
        for (const HlsLine& line : playlist.lines->lines()) {
            if (line.tag == "EXT-X-KEY") {
                const HlsAttributeLine list = readHlsAttributeLine(line.value);
                const std::string_view format = list.get("KEYFORMAT");
                if (format.empty() || format == "identity")
                    isWithout = list.get("METHOD") == "AES-128" && !list.has("IV");
            }
            if (line.tag == "EXT-X-MAP" && isWithout)
                findings.add(playlist, &line, "the key of METHOD=AES-128 before it has no IV");
        }
    }
};

class Gap : public MediaRule {
public:
    static constexpr RuleCard kCard = {
        "hls-gap", Severity::Note, "RFC 8216bis, 4.4.4.7", "A segment is declared as missing",
        "Viewers see nothing new for its duration, where their player does not find it in another "
        "variant. Something before the packager has failed."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        for (const SegmentLines& segment : segmentsOf(*playlist.lines)) {
            for (const HlsLine* const tag : segment.tags) {
                if (tag->tag == "EXT-X-GAP")
                    findings.add(playlist, tag, exactSeconds(segment.seconds) + " are missing");
            }
        }
    }
};

} // namespace

void addHlsPlaylistRules(Rules& rules) {
    rules.push_back(std::make_unique<TargetDurationMissing>());
    rules.push_back(std::make_unique<TargetDuration>());
    rules.push_back(std::make_unique<VersionTooLow>());
    rules.push_back(std::make_unique<LateSequence>());
    rules.push_back(std::make_unique<OpenVod>());
    rules.push_back(std::make_unique<ByteRangeWithoutOffset>());
    rules.push_back(std::make_unique<KeyNone>());
    rules.push_back(std::make_unique<KeyUri>());
    rules.push_back(std::make_unique<KeyMethod>());
    rules.push_back(std::make_unique<KeyVector>());
    rules.push_back(std::make_unique<MapWithoutVector>());
    rules.push_back(std::make_unique<Gap>());
}

} // namespace hastool

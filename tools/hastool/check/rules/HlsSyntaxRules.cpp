// What playlists of HLS are made of: text and lines.
#include <hastool/check/PlaylistRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/ToolError.h>
#include <hastool/base/Utf8.h>
#include <hastool/base/WebPage.h>
#include <hastool/formats/hls/HlsTags.h>

#include <algorithm>

namespace hastool {
namespace {

class Header : public Rule {
public:
    static constexpr RuleCard kCard = {
        "hls-header", Severity::Error, "RFC 8216, 4.3.1.1",
        "A playlist does not begin with #EXTM3U",
        "Players take such an answer for something else and do not play it. Where the answer is an "
        "error page, its status should say so; otherwise #EXTM3U belongs on the first line."};
    const RuleCard& card() const override { return kCard; }

    void check(const Evidence& evidence, Findings& findings) const override {
        PlaylistFindings found(kCard, findings);
        const auto look = [&](const SeenPlaylist& playlist) {
            const auto& lines = playlist.lines->lines();
            if (looksLikeWebPage(playlist.lines->text()))
                return; // whoever answers so says nothing of playlists
            if (lines.empty()) {
                found.add(playlist, nullptr, "it is empty");
                return;
            }
            const HlsLine& first = lines.front();
            if (first.tag != "EXTM3U")
                found.add(playlist, &first, "it begins with " + inQuotes(first.text));
            else if (first.number != 1)
                found.add(playlist, &first, "blank lines stand before it");
        };
        forEachPlaylist(evidence, look, true);
    }
};

class ByteOrderMark : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-byte-order-mark", Severity::Error, "RFC 8216, 4.1",
        "A playlist begins with a byte order mark",
        "Players are told to refuse it. The editor or the program that writes the file should "
        "write UTF-8 without a byte order mark."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        if (playlist.lines->hasByteOrderMark())
            findings.add(playlist, nullptr, "its first three bytes are EF BB BF");
    }
};

class Encoding : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-encoding", Severity::Error, "RFC 8216, 4.1", "A playlist is not UTF-8",
        "Players are told to refuse it, and names appear garbled in the others. The playlist has "
        "to be written in UTF-8."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        for (const HlsLine& line : playlist.lines->lines()) {
            if (const auto at = findBadUtf8(line.text)) {
                findings.add(playlist, &line,
                             "byte " + std::to_string(*at + 1) + " of the line is not UTF-8");
                return; // the others are of the same kind
            }
        }
    }
};

class ControlCharacters : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-control-characters", Severity::Warning, "RFC 8216, 4.1",
        "A playlist contains control characters",
        "Some players refuse the playlist or take the character for a part of a URL. Tabs and "
        "other control characters should be left out; lines end with CR LF or LF."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const std::string_view text = playlist.lines->text();
        constexpr size_t kMost = 3; // of a file that is no text they would be many
        size_t told = 0;
        HlsLine line;
        for (size_t begin = 0; begin < text.size() && told < kMost;) {
            const size_t end = std::min(text.find('\n', begin), text.size());
            ++line.number;
            if (const int letter = controlIn(text.substr(begin, end - begin)); letter >= 0) {
                findings.add(playlist, &line, "a character " + std::to_string(letter));
                ++told;
            }
            begin = end + 1;
        }
    }

    /// The first control character of a line; -1 where it has none. A carriage return ends it, and
    /// a tab behind a duration is a common way to write an empty title.
    static int controlIn(std::string_view line) {
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        const bool mayHaveTabs = line.substr(0, 7) == "#EXTINF";
        for (const char it : line) {
            const auto letter = static_cast<unsigned char>(it);
            if ((letter < 0x20 || letter == 0x7F) && !(mayHaveTabs && letter == '\t'))
                return letter;
        }
        return -1;
    }
};

class Spaces : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-spaces", Severity::Warning, "RFC 8216, 4.1 and 4.2",
        "Spaces stand where none are allowed",
        "Players that follow the standard read another name or value than is meant, and ignore the "
        "attribute. There are no spaces around lines, values, commas and equals signs."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        for (const HlsLine& line : playlist.lines->lines()) {
            const bool isTitle = line.tag == "EXTINF" && line.text.find(',') != std::string::npos;
            if (line.kind == HlsLine::Kind::Comment || line.tag == "EXTM3U")
                continue;
            if (line.hasSpaces && !isTitle)
                findings.add(playlist, &line, "around the line");
            else if (hasSpaceBehindColon(line))
                findings.add(playlist, &line, "behind the colon of #" + std::string(line.tag));
            else if (const auto name = spacedAttribute(line); !name.empty())
                findings.add(playlist, &line, "around the attribute " + inQuotes(name));
        }
    }

    static bool hasSpaceBehindColon(const HlsLine& line) {
        const size_t colon = line.text.find(':');
        return line.hasColon && colon + 1 < line.text.size() && line.text[colon + 1] == ' ';
    }

    static std::string_view spacedAttribute(const HlsLine& line) {
        const HlsTag* const tag = findHlsTag(line.tag);
        if (tag == nullptr || tag->value != HlsTag::Value::Attributes)
            return {};
        const HlsAttributeLine list = readHlsAttributeLine(line.value);
        const auto found = std::find_if(list.attributes.begin(), list.attributes.end(),
                                        [](const HlsAttributeText& it) { return it.hasSpaces; });
        return found == list.attributes.end() ? std::string_view() : found->name;
    }
};

class UriCharacters : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {"hls-uri-characters", Severity::Warning,
                                       "RFC 8216, 4.1; RFC 3986, 2",
                                       "A URI contains characters that have to be encoded",
                                       "Players and caches differ in what they ask the server for, "
                                       "and some of them fail. Spaces, quotation marks, braces and "
                                       "their like are written as %20 and so on."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        constexpr std::string_view kBad = " <>\"{}|\\^`";
        for (const HlsLine& line : playlist.lines->lines()) {
            std::string_view uri = line.text;
            if (line.kind == HlsLine::Kind::Tag) {
                const HlsTag* const tag = findHlsTag(line.tag);
                if (tag == nullptr || tag->value != HlsTag::Value::Attributes)
                    continue;
                uri = readHlsAttributeLine(line.value).get("URI");
            }
            if (line.kind == HlsLine::Kind::Comment || hasVariable(uri))
                continue;
            const size_t at = uri.find_first_of(kBad);
            if (at != std::string_view::npos && uri.substr(0, 5) != "data:")
                findings.add(playlist, &line, inQuotes(uri.substr(at, 1)) + " in " + uriText(uri));
        }
    }
};

class StrayUri : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-stray-uri", Severity::Error, "RFC 8216, 4.3.2.1",
        "A URI has neither #EXTINF nor #EXT-X-STREAM-INF before it",
        "Players refuse the playlist or leave the segment out. Every segment needs an #EXTINF with "
        "its duration, every variant an #EXT-X-STREAM-INF on the line before its URI."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        bool isExpected = false;
        for (const HlsLine& line : playlist.lines->lines()) {
            isExpected = isExpected || line.tag == "EXTINF" || line.tag == "EXT-X-STREAM-INF";
            if (line.kind != HlsLine::Kind::Uri)
                continue;
            if (!isExpected)
                findings.add(playlist, &line, uriText(line.text));
            isExpected = false;
        }
    }
};

class MissingUri : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-missing-uri", Severity::Error, "RFC 8216, 4.3.2.1 and 4.3.4.2",
        "No URI follows an #EXTINF or #EXT-X-STREAM-INF",
        "The segment or variant does not exist for players. Often the playlist was cut off while "
        "it was written or uploaded: it should replace the one before in one step."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLine* open = nullptr;
        for (const HlsLine& line : playlist.lines->lines()) {
            const bool opens = line.tag == "EXTINF" || line.tag == "EXT-X-STREAM-INF";
            const bool isOther = line.tag == "EXT-X-STREAM-INF" && open != nullptr;
            if (open != nullptr && (opens || isOther))
                findings.add(playlist, open, "behind #" + std::string(open->tag));
            if (opens || line.kind == HlsLine::Kind::Uri)
                open = opens ? &line : nullptr;
        }
        if (open != nullptr)
            findings.add(playlist, open, "behind #" + std::string(open->tag) + ", the last of all");
    }
};

class NothingToPlay : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-nothing-to-play", Severity::Error, "RFC 8216, 4.1", "A playlist names nothing to play",
        "There is nothing that a player could show. A master playlist lists variants; a media "
        "playlist that has ended lists segments."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const HlsLines& lines = *playlist.lines;
        if (lines.has("EXT-X-STREAM-INF") || lines.has("EXTINF") || lines.has("EXT-X-PART") ||
            lines.has("EXT-X-SKIP"))
            return;
        const auto isUri = [](const HlsLine& line) { return line.kind == HlsLine::Kind::Uri; };
        if (std::any_of(lines.lines().begin(), lines.lines().end(), isUri))
            return;
        if (playlist.isMaster)
            findings.add(playlist, nullptr, "a master playlist without a variant");
        else if (lines.has("EXT-X-ENDLIST") || !lines.has("EXT-X-TARGETDURATION"))
            findings.add(playlist, nullptr, "neither a variant nor a segment");
    }
};

} // namespace

void addHlsSyntaxRules(Rules& rules) {
    rules.push_back(std::make_unique<Header>());
    rules.push_back(std::make_unique<ByteOrderMark>());
    rules.push_back(std::make_unique<Encoding>());
    rules.push_back(std::make_unique<ControlCharacters>());
    rules.push_back(std::make_unique<Spaces>());
    rules.push_back(std::make_unique<UriCharacters>());
    rules.push_back(std::make_unique<StrayUri>());
    rules.push_back(std::make_unique<MissingUri>());
    rules.push_back(std::make_unique<NothingToPlay>());
}

} // namespace hastool

// Tags of HLS and their attributes, each by itself.
#include <hastool/check/PlaylistRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/hls/HlsTags.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <set>
#include <vector>

namespace hastool {
namespace {

using Value = HlsTag::Value;

std::string nameOf(const HlsLine& line) {
    return "#" + std::string(line.tag.substr(0, 40));
}

/// Tags that are in use beside the standards: of ad insertion, of thumbnails and of low latency.
bool isOfTheField(std::string_view tag) {
    constexpr std::string_view kTags[] = {"EXT-X-CUE",
                                          "EXT-X-CUE-OUT",
                                          "EXT-X-CUE-OUT-CONT",
                                          "EXT-X-CUE-IN",
                                          "EXT-X-CUE-SPAN",
                                          "EXT-X-SCTE35",
                                          "EXT-X-ASSET",
                                          "EXT-X-PREFETCH",
                                          "EXT-X-PREFETCH-DISCONTINUITY",
                                          "EXT-X-SPLICEPOINT-SCTE35",
                                          "EXT-OATCLS-SCTE35",
                                          "EXT-X-IMAGES-ONLY",
                                          "EXT-X-IMAGE-STREAM-INF",
                                          "EXT-X-TILES"};
    return std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

/// How many letters have to be changed, added or left out to make one text of the other, without
/// regard to case.
size_t distance(std::string_view one, std::string_view other) {
    const auto upper = [](char it) {
        return it >= 'a' && it <= 'z' ? static_cast<char>(it - 'a' + 'A') : it;
    };
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < one.size(); ++i) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < other.size(); ++j) {
            const size_t change = diagonal + (upper(one[i]) == upper(other[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({change, row[j + 1] + 1, row[j] + 1});
        }
    }
    return row.back();
}

/// The tag that is meant; empty where it is like none.
std::string_view meantBy(std::string_view tag) {
    constexpr size_t kLongest = 64;
    const size_t mostWrong = tag.size() > 12 ? 2 : 1; // short ones are like each other
    if (tag.size() > kLongest)
        return {};
    for (const HlsTag& known : hlsTags()) {
        if (distance(tag, known.name) <= mostWrong)
            return known.name;
    }
    return {};
}

/// A line with a tag that is not known, and the tag that is meant; empty where it is like none.
struct UnknownLine {
    const HlsLine* line = nullptr;
    std::string_view meant;
};

/// Each tag that is not known, where it stands first.
std::vector<UnknownLine> unknownLines(const HlsLines& lines) {
    constexpr size_t kMost = 1000; // more of them say nothing new
    std::set<std::string_view> known;
    std::vector<UnknownLine> unknown;
    for (const HlsLine& line : lines.lines()) {
        if (line.kind != HlsLine::Kind::Tag || findHlsTag(line.tag) != nullptr ||
            isOfTheField(line.tag) || !known.insert(line.tag).second)
            continue;
        unknown.push_back({&line, meantBy(line.tag)});
        if (unknown.size() == kMost)
            break;
    }
    return unknown;
}

class MistypedTag : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-mistyped-tag", Severity::Warning, "RFC 8216, 4.1",
        "A tag is not known, but nearly one that is",
        "Players pass over tags that they do not know: what it should say does not hold. The names "
        "of tags are case-sensitive."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        for (const UnknownLine& it : unknownLines(*playlist.lines)) {
            if (!it.meant.empty())
                findings.add(playlist, it.line,
                             nameOf(*it.line) + ", perhaps #" + std::string(it.meant));
        }
    }
};

class UnknownTag : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-unknown-tag", Severity::Note, "RFC 8216, 4.1 and 6.3.1", "A tag is not known",
        "Players pass over tags that they do not know. That is right for tags of a certain player "
        "or service."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        for (const UnknownLine& it : unknownLines(*playlist.lines)) {
            if (it.meant.empty())
                findings.add(playlist, it.line, nameOf(*it.line));
        }
    }
};

bool isRange(std::string_view text) {
    const size_t at = text.find('@');
    return parseUnsigned(text.substr(0, at)) &&
           (at == std::string_view::npos || parseUnsigned(text.substr(at + 1)));
}

/// What the value of a tag has to be; empty where it is that.
std::string missedBy(const HlsTag& tag, std::string_view value) {
    switch (tag.value) {
    case Value::Integer:
        return parseUnsigned(value) ? "" : "a decimal integer";
    case Value::Duration:
        return isOfType(value.substr(0, value.find(',')), false, HlsTagAttribute::Type::Decimal)
                   ? ""
                   : "a duration in seconds";
    case Value::Range:
        return isRange(value) ? "" : "a byte range as in 1000@2000";
    case Value::Date:
        return parseIsoDateTime(std::string(value)) ? "" : "a date as in 2024-01-01T00:00:00.000Z";
    case Value::Type:
        return value == "VOD" || value == "EVENT" ? "" : "VOD or EVENT";
    default:
        return "";
    }
}

class TagValue : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {"hls-tag-value", Severity::Error, "RFC 8216, 4.3",
                                       "The value of a tag is not of its type",
                                       "Players refuse the playlist, or go on as if the tag were "
                                       "not there. The text names what the "
                                       "value has to be."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        for (const HlsLine& line : playlist.lines->lines()) {
            const HlsTag* const tag =
                line.kind == HlsLine::Kind::Tag ? findHlsTag(line.tag) : nullptr;
            if (tag == nullptr || hasVariable(line.value))
                continue;
            const std::string missed = missedBy(*tag, line.value);
            if (!missed.empty())
                findings.add(playlist, &line,
                             nameOf(line) + " has " + inQuotes(line.value) + ", not " + missed);
        }
    }
};

/// A rule that looks at attribute lists.
class AttributeRule : public PlaylistRule {
private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const final {
        for (const HlsLine& line : playlist.lines->lines()) {
            const HlsTag* const tag =
                line.kind == HlsLine::Kind::Tag ? findHlsTag(line.tag) : nullptr;
            if (tag == nullptr || tag->value != Value::Attributes)
                continue;
            for (const std::string& text : judge(line, readHlsAttributeLine(line.value)))
                findings.add(playlist, &line, text);
        }
    }

    /// What is wrong with a list.
    virtual std::vector<std::string> judge(const HlsLine& line,
                                           const HlsAttributeLine& list) const = 0;
};

class AttributeList : public AttributeRule {
public:
    static constexpr RuleCard kCard = {
        "hls-attribute-list", Severity::Error, "RFC 8216, 4.2", "An attribute list cannot be read",
        "Players leave out the tag or all attributes behind the fault. Attributes are NAME=value, "
        "with commas between them; a quoted string ends with a quotation mark."};
    const RuleCard& card() const override { return kCard; }

private:
    std::vector<std::string> judge(const HlsLine& line,
                                   const HlsAttributeLine& list) const override {
        if (!list.isBroken)
            return {};
        return {nameOf(line) + " from " + inQuotes(list.rest) + " on"};
    }
};

class AttributeTwice : public AttributeRule {
public:
    static constexpr RuleCard kCard = {
        "hls-attribute-twice", Severity::Error, "RFC 8216, 4.2",
        "An attribute stands twice in one list",
        "Players differ in which of them counts. One of them has to go."};
    const RuleCard& card() const override { return kCard; }

private:
    std::vector<std::string> judge(const HlsLine& line,
                                   const HlsAttributeLine& list) const override {
        std::map<std::string_view, size_t> counts;
        std::vector<std::string> texts;
        for (const HlsAttributeText& it : list.attributes) {
            if (++counts[it.name] == 2)
                texts.push_back(nameOf(line) + ": " + std::string(it.name.substr(0, 40)));
        }
        return texts;
    }
};

class AttributeName : public AttributeRule {
public:
    static constexpr RuleCard kCard = {
        "hls-attribute-name", Severity::Warning, "RFC 8216, 4.2",
        "An attribute has a name that none has",
        "Players do not know it. Names consist of A to Z, 0 to 9 and the hyphen."};
    const RuleCard& card() const override { return kCard; }

private:
    std::vector<std::string> judge(const HlsLine& line,
                                   const HlsAttributeLine& list) const override {
        constexpr std::string_view kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
        std::vector<std::string> texts;
        for (const HlsAttributeText& it : list.attributes) {
            if (it.name.empty())
                texts.push_back(nameOf(line) + ": nothing behind the last comma");
            else if (it.name.find_first_not_of(kAllowed) != std::string_view::npos)
                texts.push_back(nameOf(line) + ": " + inQuotes(it.name));
        }
        return texts;
    }
};

class AttributeType : public AttributeRule {
public:
    static constexpr RuleCard kCard = {
        "hls-attribute-type", Severity::Error, "RFC 8216, 4.2 and 4.3",
        "The value of an attribute is not of its type",
        "Players ignore the attribute or refuse the playlist. The text names what the value has to "
        "be; only quoted strings stand in quotation marks."};
    const RuleCard& card() const override { return kCard; }

private:
    std::vector<std::string> judge(const HlsLine& line,
                                   const HlsAttributeLine& list) const override {
        std::vector<std::string> texts;
        for (const HlsAttributeText& it : list.attributes) {
            const HlsTagAttribute* const known = findHlsTagAttribute(line.tag, it.name);
            if (known == nullptr || hasVariable(it.value) ||
                isOfType(it.value, it.isQuoted, known->type))
                continue;
            const std::string value = inQuotes(it.value);
            texts.push_back(nameOf(line) + ": " + std::string(known->name) + " is " +
                            (it.isQuoted ? value + " in quotation marks" : value) + ", not " +
                            hastool::nameOf(known->type));
        }
        return texts;
    }
};

class AttributeWord : public AttributeRule {
public:
    static constexpr RuleCard kCard = {"hls-attribute-word", Severity::Warning, "RFC 8216, 4.3",
                                       "An attribute has a word that it cannot have",
                                       "Players take the attribute's default instead. The text "
                                       "names the words that there are; they "
                                       "are case-sensitive."};
    const RuleCard& card() const override { return kCard; }

private:
    std::vector<std::string> judge(const HlsLine& line,
                                   const HlsAttributeLine& list) const override {
        std::vector<std::string> texts;
        for (const HlsAttributeText& it : list.attributes) {
            const HlsTagAttribute* const known = findHlsTagAttribute(line.tag, it.name);
            if (known == nullptr || known->words.empty() ||
                !isOfType(it.value, it.isQuoted, known->type))
                continue;
            if (!isOneOf(it.value, known->words))
                texts.push_back(nameOf(line) + ": " + std::string(known->name) + " is " +
                                inQuotes(it.value) + ", not one of " + std::string(known->words));
        }
        return texts;
    }

    static bool isOneOf(std::string_view word, std::string_view words) {
        while (!words.empty()) {
            const size_t end = std::min(words.find(' '), words.size());
            if (words.substr(0, end) == word)
                return true;
            words.remove_prefix(std::min(end + 1, words.size()));
        }
        return false;
    }
};

class AttributeMissing : public AttributeRule {
public:
    static constexpr RuleCard kCard = {
        "hls-attribute-missing", Severity::Error, "RFC 8216, 4.3; RFC 8216bis, 4.4",
        "A required attribute is missing",
        "Players leave out what the tag is for, or refuse the playlist. The attribute has to be "
        "added."};
    const RuleCard& card() const override { return kCard; }

private:
    std::vector<std::string> judge(const HlsLine& line,
                                   const HlsAttributeLine& list) const override {
        std::vector<std::string> texts;
        for (const HlsTagAttribute& it : hlsTagAttributes()) {
            if (it.isRequired && it.tag == line.tag && !list.isBroken && !list.has(it.name))
                texts.push_back(nameOf(line) + " without " + std::string(it.name));
        }
        return texts;
    }
};

class TagTwice : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {"hls-tag-twice", Severity::Error,
                                       "RFC 8216, 4.3.1.2, 4.3.3 and 4.3.5",
                                       "A tag that may stand once stands more than once",
                                       "Players differ in which of them counts. Often two "
                                       "playlists were joined without taking out "
                                       "the head of the second one."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        std::map<std::string_view, const HlsLine*> first;
        for (const HlsLine& line : playlist.lines->lines()) {
            const HlsTag* const tag =
                line.kind == HlsLine::Kind::Tag ? findHlsTag(line.tag) : nullptr;
            if (tag == nullptr || !tag->isOnce)
                continue;
            const auto [known, isNew] = first.emplace(line.tag, &line);
            if (!isNew)
                findings.add(playlist, &line,
                             nameOf(line) + ", first on line " +
                                 std::to_string(known->second->number));
        }
    }
};

class MixedTags : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-mixed-tags", Severity::Error, "RFC 8216, 4.1, 4.3.2, 4.3.3 and 4.3.4",
        "A playlist has tags of media and of master playlists",
        "Players refuse it, or play one half of it. Variants belong into the master playlist, "
        "segments into media playlists."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const auto wrong = playlist.isMaster ? HlsTag::Place::Media : HlsTag::Place::Master;
        for (const HlsLine& line : playlist.lines->lines()) {
            const HlsTag* const tag =
                line.kind == HlsLine::Kind::Tag ? findHlsTag(line.tag) : nullptr;
            if (tag != nullptr && tag->place == wrong && tag->value != Value::Free)
                findings.add(playlist, &line,
                             nameOf(line) + (playlist.isMaster ? " in a master playlist"
                                                               : " in a media playlist"));
        }
    }
};

class Obsolete : public PlaylistRule {
public:
    static constexpr RuleCard kCard = {
        "hls-obsolete", Severity::Note, "RFC 8216, 7", "Something has been taken out of HLS",
        "Players ignore it. EXT-X-ALLOW-CACHE is gone since version 7, PROGRAM-ID since version 6; "
        "both can be left out."};
    const RuleCard& card() const override { return kCard; }

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const override {
        const uint64_t version = versionOf(*playlist.lines).value_or(1);
        for (const HlsLine& line : playlist.lines->lines()) {
            const bool isVariant =
                line.tag == "EXT-X-STREAM-INF" || line.tag == "EXT-X-I-FRAME-STREAM-INF";
            if (version >= 7 && line.tag == "EXT-X-ALLOW-CACHE")
                findings.add(playlist, &line, nameOf(line));
            else if (version >= 6 && isVariant &&
                     readHlsAttributeLine(line.value).has("PROGRAM-ID"))
                findings.add(playlist, &line, nameOf(line) + ": PROGRAM-ID");
        }
    }
};

} // namespace

void addHlsTagRules(Rules& rules) {
    rules.push_back(std::make_unique<MistypedTag>());
    rules.push_back(std::make_unique<UnknownTag>());
    rules.push_back(std::make_unique<TagValue>());
    rules.push_back(std::make_unique<AttributeList>());
    rules.push_back(std::make_unique<AttributeTwice>());
    rules.push_back(std::make_unique<AttributeName>());
    rules.push_back(std::make_unique<AttributeType>());
    rules.push_back(std::make_unique<AttributeWord>());
    rules.push_back(std::make_unique<AttributeMissing>());
    rules.push_back(std::make_unique<TagTwice>());
    rules.push_back(std::make_unique<MixedTags>());
    rules.push_back(std::make_unique<Obsolete>());
}

} // namespace hastool

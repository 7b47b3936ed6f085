#include "HlsTags.h"

#include <hastool/base/Number.h>

#include <iterator>
#include <map>
#include <utility>

namespace hastool {
namespace {

using Place = HlsTag::Place;
using Value = HlsTag::Value;
using Type = HlsTagAttribute::Type;

constexpr std::string_view kYesNo = "YES NO";

constexpr HlsTag kTags[] = {
    {"EXTM3U", Place::Any, Value::None, true},
    {"EXT-X-VERSION", Place::Any, Value::Integer, true},
    {"EXT-X-INDEPENDENT-SEGMENTS", Place::Any, Value::None, true},
    {"EXT-X-START", Place::Any, Value::Attributes, true},
    {"EXT-X-DEFINE", Place::Any, Value::Attributes, false},
    {"EXTINF", Place::Media, Value::Duration, false},
    {"EXT-X-BYTERANGE", Place::Media, Value::Range, false},
    {"EXT-X-DISCONTINUITY", Place::Media, Value::None, false},
    {"EXT-X-KEY", Place::Media, Value::Attributes, false},
    {"EXT-X-MAP", Place::Media, Value::Attributes, false},
    {"EXT-X-PROGRAM-DATE-TIME", Place::Media, Value::Date, false},
    {"EXT-X-GAP", Place::Media, Value::None, false},
    {"EXT-X-BITRATE", Place::Media, Value::Integer, false},
    {"EXT-X-PART", Place::Media, Value::Attributes, false},
    {"EXT-X-DATERANGE", Place::Media, Value::Attributes, false},
    {"EXT-X-SKIP", Place::Media, Value::Attributes, true},
    {"EXT-X-PRELOAD-HINT", Place::Media, Value::Attributes, false},
    {"EXT-X-RENDITION-REPORT", Place::Media, Value::Attributes, false},
    {"EXT-X-TARGETDURATION", Place::Media, Value::Integer, true},
    {"EXT-X-MEDIA-SEQUENCE", Place::Media, Value::Integer, true},
    {"EXT-X-DISCONTINUITY-SEQUENCE", Place::Media, Value::Integer, true},
    {"EXT-X-ENDLIST", Place::Media, Value::None, true},
    {"EXT-X-PLAYLIST-TYPE", Place::Media, Value::Type, true},
    {"EXT-X-I-FRAMES-ONLY", Place::Media, Value::None, true},
    {"EXT-X-PART-INF", Place::Media, Value::Attributes, true},
    {"EXT-X-SERVER-CONTROL", Place::Media, Value::Attributes, true},
    {"EXT-X-ALLOW-CACHE", Place::Media, Value::Free, true},
    {"EXT-X-MEDIA", Place::Master, Value::Attributes, false},
    {"EXT-X-STREAM-INF", Place::Master, Value::Attributes, false},
    {"EXT-X-I-FRAME-STREAM-INF", Place::Master, Value::Attributes, false},
    {"EXT-X-SESSION-DATA", Place::Master, Value::Attributes, false},
    {"EXT-X-SESSION-KEY", Place::Master, Value::Attributes, false},
    {"EXT-X-CONTENT-STEERING", Place::Master, Value::Attributes, true},
};

constexpr HlsTagAttribute kAttributes[] = {
    {"EXT-X-STREAM-INF", "BANDWIDTH", Type::Integer, true, ""},
    {"EXT-X-STREAM-INF", "AVERAGE-BANDWIDTH", Type::Integer, false, ""},
    {"EXT-X-STREAM-INF", "SCORE", Type::Decimal, false, ""},
    {"EXT-X-STREAM-INF", "CODECS", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "SUPPLEMENTAL-CODECS", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "RESOLUTION", Type::Resolution, false, ""},
    {"EXT-X-STREAM-INF", "FRAME-RATE", Type::Decimal, false, ""},
    {"EXT-X-STREAM-INF", "HDCP-LEVEL", Type::Word, false, "TYPE-0 TYPE-1 NONE"},
    {"EXT-X-STREAM-INF", "ALLOWED-CPC", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "VIDEO-RANGE", Type::Word, false, ""},
    {"EXT-X-STREAM-INF", "REQ-VIDEO-LAYOUT", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "STABLE-VARIANT-ID", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "AUDIO", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "VIDEO", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "SUBTITLES", Type::Quoted, false, ""},
    {"EXT-X-STREAM-INF", "CLOSED-CAPTIONS", Type::QuotedOrNone, false, ""},
    {"EXT-X-STREAM-INF", "PATHWAY-ID", Type::Quoted, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "BANDWIDTH", Type::Integer, true, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "URI", Type::Quoted, true, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "AVERAGE-BANDWIDTH", Type::Integer, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "SCORE", Type::Decimal, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "CODECS", Type::Quoted, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "SUPPLEMENTAL-CODECS", Type::Quoted, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "RESOLUTION", Type::Resolution, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "HDCP-LEVEL", Type::Word, false, "TYPE-0 TYPE-1 NONE"},
    {"EXT-X-I-FRAME-STREAM-INF", "VIDEO-RANGE", Type::Word, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "VIDEO", Type::Quoted, false, ""},
    {"EXT-X-I-FRAME-STREAM-INF", "PATHWAY-ID", Type::Quoted, false, ""},
    {"EXT-X-MEDIA", "TYPE", Type::Word, true, "AUDIO VIDEO SUBTITLES CLOSED-CAPTIONS"},
    {"EXT-X-MEDIA", "GROUP-ID", Type::Quoted, true, ""},
    {"EXT-X-MEDIA", "NAME", Type::Quoted, true, ""},
    {"EXT-X-MEDIA", "URI", Type::Quoted, false, ""},
    {"EXT-X-MEDIA", "LANGUAGE", Type::Quoted, false, ""},
    {"EXT-X-MEDIA", "ASSOC-LANGUAGE", Type::Quoted, false, ""},
    {"EXT-X-MEDIA", "STABLE-RENDITION-ID", Type::Quoted, false, ""},
    {"EXT-X-MEDIA", "DEFAULT", Type::Word, false, kYesNo},
    {"EXT-X-MEDIA", "AUTOSELECT", Type::Word, false, kYesNo},
    {"EXT-X-MEDIA", "FORCED", Type::Word, false, kYesNo},
    {"EXT-X-MEDIA", "INSTREAM-ID", Type::Quoted, false, ""},
    {"EXT-X-MEDIA", "BIT-DEPTH", Type::Integer, false, ""},
    {"EXT-X-MEDIA", "SAMPLE-RATE", Type::Integer, false, ""},
    {"EXT-X-MEDIA", "CHARACTERISTICS", Type::Quoted, false, ""},
    {"EXT-X-MEDIA", "CHANNELS", Type::Quoted, false, ""},
    {"EXT-X-KEY", "METHOD", Type::Word, true, ""},
    {"EXT-X-KEY", "URI", Type::Quoted, false, ""},
    {"EXT-X-KEY", "IV", Type::Hex, false, ""},
    {"EXT-X-KEY", "KEYFORMAT", Type::Quoted, false, ""},
    {"EXT-X-KEY", "KEYFORMATVERSIONS", Type::Quoted, false, ""},
    {"EXT-X-SESSION-KEY", "METHOD", Type::Word, true, ""},
    {"EXT-X-SESSION-KEY", "URI", Type::Quoted, false, ""},
    {"EXT-X-SESSION-KEY", "IV", Type::Hex, false, ""},
    {"EXT-X-SESSION-KEY", "KEYFORMAT", Type::Quoted, false, ""},
    {"EXT-X-SESSION-KEY", "KEYFORMATVERSIONS", Type::Quoted, false, ""},
    {"EXT-X-MAP", "URI", Type::Quoted, true, ""},
    {"EXT-X-MAP", "BYTERANGE", Type::Quoted, false, ""},
    {"EXT-X-DATERANGE", "ID", Type::Quoted, true, ""},
    {"EXT-X-DATERANGE", "CLASS", Type::Quoted, false, ""},
    {"EXT-X-DATERANGE", "START-DATE", Type::Quoted, false, ""},
    {"EXT-X-DATERANGE", "CUE", Type::Quoted, false, ""},
    {"EXT-X-DATERANGE", "END-DATE", Type::Quoted, false, ""},
    {"EXT-X-DATERANGE", "DURATION", Type::Decimal, false, ""},
    {"EXT-X-DATERANGE", "PLANNED-DURATION", Type::Decimal, false, ""},
    {"EXT-X-DATERANGE", "SCTE35-CMD", Type::Hex, false, ""},
    {"EXT-X-DATERANGE", "SCTE35-OUT", Type::Hex, false, ""},
    {"EXT-X-DATERANGE", "SCTE35-IN", Type::Hex, false, ""},
    {"EXT-X-DATERANGE", "END-ON-NEXT", Type::Word, false, "YES"},
    {"EXT-X-START", "TIME-OFFSET", Type::SignedDecimal, true, ""},
    {"EXT-X-START", "PRECISE", Type::Word, false, kYesNo},
    {"EXT-X-DEFINE", "NAME", Type::Quoted, false, ""},
    {"EXT-X-DEFINE", "VALUE", Type::Quoted, false, ""},
    {"EXT-X-DEFINE", "IMPORT", Type::Quoted, false, ""},
    {"EXT-X-DEFINE", "QUERYPARAM", Type::Quoted, false, ""},
    {"EXT-X-PART-INF", "PART-TARGET", Type::Decimal, true, ""},
    {"EXT-X-SERVER-CONTROL", "CAN-SKIP-UNTIL", Type::Decimal, false, ""},
    {"EXT-X-SERVER-CONTROL", "CAN-SKIP-DATERANGES", Type::Word, false, kYesNo},
    {"EXT-X-SERVER-CONTROL", "HOLD-BACK", Type::Decimal, false, ""},
    {"EXT-X-SERVER-CONTROL", "PART-HOLD-BACK", Type::Decimal, false, ""},
    {"EXT-X-SERVER-CONTROL", "CAN-BLOCK-RELOAD", Type::Word, false, kYesNo},
    {"EXT-X-PART", "URI", Type::Quoted, true, ""},
    {"EXT-X-PART", "DURATION", Type::Decimal, true, ""},
    {"EXT-X-PART", "INDEPENDENT", Type::Word, false, kYesNo},
    {"EXT-X-PART", "GAP", Type::Word, false, kYesNo},
    {"EXT-X-PRELOAD-HINT", "TYPE", Type::Word, true, "PART MAP"},
    {"EXT-X-PRELOAD-HINT", "URI", Type::Quoted, true, ""},
    {"EXT-X-PRELOAD-HINT", "BYTERANGE-START", Type::Integer, false, ""},
    {"EXT-X-PRELOAD-HINT", "BYTERANGE-LENGTH", Type::Integer, false, ""},
    {"EXT-X-RENDITION-REPORT", "URI", Type::Quoted, true, ""},
    {"EXT-X-RENDITION-REPORT", "LAST-MSN", Type::Integer, false, ""},
    {"EXT-X-RENDITION-REPORT", "LAST-PART", Type::Integer, false, ""},
    {"EXT-X-SKIP", "SKIPPED-SEGMENTS", Type::Integer, true, ""},
    {"EXT-X-SKIP", "RECENTLY-REMOVED-DATERANGES", Type::Quoted, false, ""},
    {"EXT-X-SESSION-DATA", "DATA-ID", Type::Quoted, true, ""},
    {"EXT-X-SESSION-DATA", "VALUE", Type::Quoted, false, ""},
    {"EXT-X-SESSION-DATA", "URI", Type::Quoted, false, ""},
    {"EXT-X-SESSION-DATA", "FORMAT", Type::Word, false, "JSON RAW"},
    {"EXT-X-SESSION-DATA", "LANGUAGE", Type::Quoted, false, ""},
    {"EXT-X-CONTENT-STEERING", "SERVER-URI", Type::Quoted, true, ""},
    {"EXT-X-CONTENT-STEERING", "PATHWAY-ID", Type::Quoted, false, ""},
};

bool isDecimal(std::string_view text) {
    constexpr std::string_view kAllowed = "0123456789.";
    return parseDecimal(text) && text.find_first_not_of(kAllowed) == std::string_view::npos;
}

bool isHex(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
    return text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
           text.find_first_not_of(kDigits, 2) == std::string_view::npos;
}

bool isResolution(std::string_view text) {
    const size_t by = text.find('x');
    return by != std::string_view::npos && parseUnsigned(text.substr(0, by)) &&
           parseUnsigned(text.substr(by + 1));
}

} // namespace

const std::vector<HlsTag>& hlsTags() {
    static const std::vector<HlsTag> tags(std::begin(kTags), std::end(kTags));
    return tags;
}

const HlsTag* findHlsTag(std::string_view name) {
    using ByName = std::map<std::string_view, const HlsTag*>;
    static const ByName tags = [] {
        ByName result;
        for (const HlsTag& tag : kTags)
            result.emplace(tag.name, &tag);
        return result;
    }();
    const auto found = tags.find(name);
    return found == tags.end() ? nullptr : found->second;
}

const std::vector<HlsTagAttribute>& hlsTagAttributes() {
    static const std::vector<HlsTagAttribute> all(std::begin(kAttributes), std::end(kAttributes));
    return all;
}

const HlsTagAttribute* findHlsTagAttribute(std::string_view tag, std::string_view name) {
    using ByNames = std::map<std::pair<std::string_view, std::string_view>, const HlsTagAttribute*>;
    static const ByNames attributes = [] {
        ByNames result;
        for (const HlsTagAttribute& it : kAttributes)
            result.emplace(std::pair(it.tag, it.name), &it);
        return result;
    }();
    const auto found = attributes.find({tag, name});
    return found == attributes.end() ? nullptr : found->second;
}

bool isOfType(std::string_view value, bool isQuoted, Type type) {
    if (type == Type::Quoted)
        return isQuoted;
    if (type == Type::QuotedOrNone)
        return isQuoted || value == "NONE";
    if (isQuoted)
        return false;
    switch (type) {
    case Type::Integer:
        return parseUnsigned(value).has_value();
    case Type::Hex:
        return isHex(value);
    case Type::Decimal:
        return isDecimal(value);
    case Type::SignedDecimal:
        return isDecimal(value.substr(!value.empty() && value.front() == '-' ? 1 : 0));
    case Type::Resolution:
        return isResolution(value);
    default:
        return !value.empty() && value.find(' ') == std::string_view::npos;
    }
}

const char* nameOf(Type type) {
    switch (type) {
    case Type::Integer:
        return "a decimal integer";
    case Type::Hex:
        return "a hexadecimal sequence";
    case Type::Decimal:
        return "a decimal number";
    case Type::SignedDecimal:
        return "a decimal number with or without a sign";
    case Type::Quoted:
        return "a quoted string";
    case Type::Word:
        return "an unquoted word";
    case Type::Resolution:
        return "a resolution as in 1280x720";
    case Type::QuotedOrNone:
        return "a quoted string or NONE";
    }
    return "";
}

} // namespace hastool

// The tags of HLS playlists and their attributes (RFC 8216 and RFC 8216bis, section 4).
#pragma once

#include <string_view>
#include <vector>

namespace hastool {

/// A tag that is known.
struct HlsTag {
    enum class Place { Any, Media, Master };
    enum class Value {
        None,
        Free, ///< all that is allowed
        Integer,
        Duration, ///< a number, a comma and a title
        Range,    ///< LENGTH[@OFFSET]
        Date,
        Type, ///< EVENT or VOD
        Attributes
    };

    std::string_view name; ///< "EXTINF"
    Place place = Place::Any;
    Value value = Value::None;
    bool isOnce = false; ///< it stands in a playlist once at most
};

/// An attribute of a tag that is known.
struct HlsTagAttribute {
    enum class Type {
        Integer,
        Hex,
        Decimal,
        SignedDecimal,
        Quoted,
        Word, ///< an enumerated string
        Resolution,
        QuotedOrNone ///< a quoted string, or the word NONE
    };

    std::string_view tag;
    std::string_view name;
    Type type = Type::Quoted;
    bool isRequired = false;
    std::string_view words; ///< all that a Word may be, with blanks between; empty where it is open
};

/// All tags of the standards, and no other ones.
const std::vector<HlsTag>& hlsTags();
/// Null for a tag that is not known.
const HlsTag* findHlsTag(std::string_view name);

const std::vector<HlsTagAttribute>& hlsTagAttributes();
/// Null for an attribute that is not known.
const HlsTagAttribute* findHlsTagAttribute(std::string_view tag, std::string_view name);

/// Whether a value is of a type.
bool isOfType(std::string_view value, bool isQuoted, HlsTagAttribute::Type type);
/// "a decimal integer".
const char* nameOf(HlsTagAttribute::Type type);

} // namespace hastool

// HLS playlists line by line, as they are written (RFC 8216, sections 4.1 and 4.2).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A line that is not blank. Its texts are of the HlsLines that it is in.
struct HlsLine {
    enum class Kind { Tag, Comment, Uri };

    size_t number = 0; ///< from 1
    Kind kind = Kind::Comment;
    bool hasSpaces = false; ///< around it
    bool hasColon = false;  ///< behind the tag
    std::string_view text;  ///< without blanks around it
    std::string_view tag;   ///< "EXTINF"; empty where it is no tag
    std::string_view value; ///< behind the tag and its colon, without blanks at its ends
};

/// An attribute as it is written.
struct HlsAttributeText {
    std::string_view name;
    std::string_view value; ///< without its quotation marks
    bool isQuoted = false;
    bool hasSpaces = false; ///< around the name or the value
};

/// An attribute list. Unlike HlsAttributes it keeps what is not allowed.
struct HlsAttributeLine {
    /// In order, up to where the list is broken. Behind a comma at its end there is one without a
    /// name.
    std::vector<HlsAttributeText> attributes;
    bool isBroken = false;
    std::string_view rest; ///< what cannot be read, where it is broken

    /// The first one of a name; null when there is none.
    const HlsAttributeText* find(std::string_view name) const;
    bool has(std::string_view name) const { return find(name) != nullptr; }
    /// Its value; empty when there is none.
    std::string_view get(std::string_view name) const;
};

/// Reads "NAME=value,NAME="value",...". The texts are of the text that it is given.
HlsAttributeLine readHlsAttributeLine(std::string_view text);

/// More lines are left out: a playlist of the most segments that can be read has fewer.
constexpr size_t kMaxHlsLines = 2000000;

/// The lines of a playlist.
class HlsLines {
public:
    explicit HlsLines(std::string text);
    HlsLines(const HlsLines&) = delete;
    HlsLines& operator=(const HlsLines&) = delete;

    const std::vector<HlsLine>& lines() const { return m_lines; }
    /// The first line with a tag; null when there is none.
    const HlsLine* find(std::string_view tag) const;
    bool has(std::string_view tag) const { return find(tag) != nullptr; }
    bool hasByteOrderMark() const { return m_hasByteOrderMark; }
    const std::string& text() const { return m_text; }

private:
    std::string m_text;
    std::vector<HlsLine> m_lines;
    bool m_hasByteOrderMark = false;
};

} // namespace hastool

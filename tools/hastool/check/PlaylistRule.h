// Rules that look at playlists of HLS one by one.
#pragma once

#include "Rule.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A playlist as a rule looks at it.
struct SeenPlaylist {
    const CheckedDocument* document = nullptr;
    const HlsLines* lines = nullptr;
    const CheckedRendition* rendition = nullptr; ///< null for a master playlist, and one of none
    bool isMaster = false;

    std::string url() const;
    /// @param line  null for what is about no line
    FindingPlace place(const HlsLine* line) const;
};

/// Shows every playlist that was had, in each of its states. The same text of the same URL is
/// shown once.
/// @param alsoOthers  whether texts without #EXTM3U are shown, which may be anything
void forEachPlaylist(const Evidence& evidence, const std::function<void(const SeenPlaylist&)>& look,
                     bool alsoOthers = false);

/// Takes what a rule finds in playlists. What stays from state to state is told once.
class PlaylistFindings {
public:
    static constexpr size_t kMostRemembered = 10000; ///< all behind them may be told again

    PlaylistFindings(const RuleCard& card, Findings& findings)
        : m_card(card)
        , m_findings(findings) {}

    void add(const SeenPlaylist& playlist, const HlsLine* line, const std::string& text);

private:
    const RuleCard& m_card;
    Findings& m_findings;
    std::set<std::string> m_told;
};

/// A rule that looks at one playlist, without regard to the others.
class PlaylistRule : public Rule {
public:
    enum class Only { All, Master, Media };

    explicit PlaylistRule(Only only = Only::All)
        : m_only(only) {}

    void check(const Evidence& evidence, Findings& findings) const final;

protected:
    virtual void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const = 0;

private:
    Only m_only;
};

/// A rule that looks at media playlists alone.
class MediaRule : public PlaylistRule {
public:
    MediaRule()
        : PlaylistRule(Only::Media) {}
};

/// What tags say of a media segment.
struct SegmentLines {
    const HlsLine* inf = nullptr;     ///< #EXTINF; null where there is none
    const HlsLine* uri = nullptr;     ///< null where there is none
    const HlsLine* range = nullptr;   ///< #EXT-X-BYTERANGE
    double seconds = 0;               ///< 0 where it cannot be read
    std::vector<const HlsLine*> tags; ///< all that stand before its URI, behind the one before
};

/// The media segments of a playlist, in order; also those with an EXTINF or a URI alone.
std::vector<SegmentLines> segmentsOf(const HlsLines& lines);

/// The value of a tag that is a number; nothing where there is no such tag.
std::optional<double> numberOf(const HlsLines& lines, std::string_view tag);
/// An attribute that is a number; nothing where there is none.
std::optional<double> numberOf(const HlsAttributeLine& list, std::string_view name);
/// EXT-X-VERSION; 1 where there is none, nothing where it cannot be read.
std::optional<uint64_t> versionOf(const HlsLines& lines);

/// Whether a text holds a reference to a variable, whose value is not looked at.
bool hasVariable(std::string_view text);
/// A URI in a finding: in quotation marks, without its query, which may be a secret.
std::string uriText(std::string_view uri);

} // namespace hastool

#include "PlaylistRule.h"

#include <hastool/base/Number.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/hls/HlsTags.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

namespace hastool {
namespace {

bool isMasterText(const HlsLines& lines) {
    if (lines.has("EXT-X-STREAM-INF") || lines.has("EXT-X-MEDIA"))
        return true;
    bool isMaster = false;
    for (const HlsLine& line : lines.lines()) {
        const HlsTag* const tag = line.tag.empty() ? nullptr : findHlsTag(line.tag);
        if (tag != nullptr && tag->place == HlsTag::Place::Media)
            return false;
        isMaster = isMaster || (tag != nullptr && tag->place == HlsTag::Place::Master);
    }
    return isMaster;
}

/// Shows playlists, each text of a URL once.
class Shower {
public:
    Shower(const std::function<void(const SeenPlaylist&)>& look, bool alsoOthers)
        : m_look(look)
        , m_alsoOthers(alsoOthers) {}

    void show(const SeenPlaylist& playlist) {
        const CheckedDocument& document = *playlist.document;
        if (!document.lines || !document.answer.ok)
            return;
        if (!m_alsoOthers && !document.lines->has("EXTM3U"))
            return;
        const auto known = m_last.find(playlist.url());
        if (known != m_last.end() && *known->second == document.lines->text())
            return;
        m_last[playlist.url()] = &document.lines->text();
        SeenPlaylist seen = playlist;
        seen.lines = document.lines.get();
        m_look(seen);
    }

private:
    const std::function<void(const SeenPlaylist&)>& m_look;
    bool m_alsoOthers;
    std::map<std::string, const std::string*> m_last; ///< what was shown of a URL
};

bool hasPlaylists(const Evidence& evidence) {
    return std::any_of(evidence.renditions.begin(), evidence.renditions.end(),
                       [](const CheckedRendition& it) { return !it.playlists.empty(); });
}

/// A document that is no master playlist is also that of the only rendition.
void showDocuments(const Evidence& evidence, Shower& shower) {
    if (!evidence.hasMaster && hasPlaylists(evidence))
        return;
    for (const CheckedDocument& document : evidence.documents) {
        SeenPlaylist seen;
        seen.document = &document;
        seen.isMaster = evidence.hasMaster || (document.lines && isMasterText(*document.lines));
        shower.show(seen);
    }
}

void takeTag(const HlsLine& line, SegmentLines& segment, std::vector<SegmentLines>& segments) {
    if (line.tag == "EXTINF") {
        if (segment.inf != nullptr) {
            segments.push_back(segment);
            segment = {};
        }
        segment.inf = &line;
        const std::string_view number = line.value.substr(0, line.value.find(','));
        segment.seconds = parseDecimal(number).value_or(0);
    }
    if (line.tag == "EXT-X-BYTERANGE")
        segment.range = &line;
    segment.tags.push_back(&line);
}

} // namespace

std::string SeenPlaylist::url() const {
    const Answer& answer = document->answer;
    return answer.finalUrl.empty() ? answer.resource.url : answer.finalUrl;
}

FindingPlace SeenPlaylist::place(const HlsLine* line) const {
    FindingPlace place;
    if (rendition != nullptr)
        place.rendition = rendition->name;
    place.where = line == nullptr ? withoutSecrets(url()) : placeIn(url(), line->number);
    return place;
}

void forEachPlaylist(const Evidence& evidence, const std::function<void(const SeenPlaylist&)>& look,
                     bool alsoOthers) {
    if (evidence.format != CheckedFormat::Hls)
        return;
    Shower shower(look, alsoOthers);
    showDocuments(evidence, shower);
    for (const CheckedRendition& rendition : evidence.renditions) {
        for (const CheckedPlaylist& playlist : rendition.playlists) {
            SeenPlaylist seen;
            seen.document = &playlist;
            seen.rendition = &rendition;
            shower.show(seen);
        }
    }
}

void PlaylistFindings::add(const SeenPlaylist& playlist, const HlsLine* line,
                           const std::string& text) {
    std::string what = playlist.url() + '\n' + text + '\n';
    if (line != nullptr)
        what += line->text;
    if (m_told.size() >= kMostRemembered || m_told.insert(std::move(what)).second)
        m_findings.add(m_card, playlist.place(line), text);
}

void PlaylistRule::check(const Evidence& evidence, Findings& findings) const {
    PlaylistFindings found(card(), findings);
    forEachPlaylist(evidence, [&](const SeenPlaylist& playlist) {
        if (m_only == Only::All || (m_only == Only::Master) == playlist.isMaster)
            look(playlist, found);
    });
}

std::vector<SegmentLines> segmentsOf(const HlsLines& lines) {
    std::vector<SegmentLines> segments;
    SegmentLines segment;
    for (const HlsLine& line : lines.lines()) {
        if (line.kind == HlsLine::Kind::Tag)
            takeTag(line, segment, segments);
        if (line.kind != HlsLine::Kind::Uri)
            continue;
        segment.uri = &line;
        segments.push_back(segment);
        segment = {};
    }
    if (segment.inf != nullptr)
        segments.push_back(segment);
    return segments;
}

std::optional<double> numberOf(const HlsLines& lines, std::string_view tag) {
    const HlsLine* const line = lines.find(tag);
    return line == nullptr ? std::nullopt : parseDecimal(line->value);
}

std::optional<double> numberOf(const HlsAttributeLine& list, std::string_view name) {
    return parseDecimal(list.get(name));
}

std::optional<uint64_t> versionOf(const HlsLines& lines) {
    const HlsLine* const line = lines.find("EXT-X-VERSION");
    return line == nullptr ? 1 : parseUnsigned(line->value);
}

bool hasVariable(std::string_view text) {
    return text.find("{$") != std::string_view::npos;
}

std::string uriText(std::string_view uri) {
    const size_t query = std::min(uri.find('?'), uri.size());
    return inQuotes(std::string(uri.substr(0, query)) + (query < uri.size() ? "?..." : ""));
}

} // namespace hastool

#include "HlsPlaylist.h"

#include "HlsAttributes.h"
#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/base/ToolError.h>
#include <hastool/net/AesKey.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace hastool {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix)
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

/// The text without blanks at its ends.
std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Goes through a playlist line by line and keeps what a tag says about the segments behind it.
class Parser {
public:
    Parser(std::string_view text, const std::string& url, const HlsVariables* master)
        : m_rest(text)
        , m_url(url)
        , m_master(master) {}

    HlsPlaylist parse();

private:
    using TagHandler = void (Parser::*)(std::string_view value);

    [[noreturn]] void fail(const std::string& what) const;
    void dropSegment();
    bool nextLine(std::string_view& line);
    void expectHeader();
    void takeTag(std::string_view line);
    void takeUri(std::string_view line);
    void addVariant(std::string_view uri);
    void addSegment(std::string_view uri);
    void placeRange(HlsSegment& segment);
    void checkWhole() const;

    HlsAttributes attributes(std::string_view text);
    uint64_t number(std::string_view text) const;
    ByteRange range(std::string_view text, bool& hasOffset) const;

    void onStreamInf(std::string_view value);
    void onInf(std::string_view value);
    void onByteRange(std::string_view value);
    void onMap(std::string_view value);
    void onKey(std::string_view value);
    void onSessionKey(std::string_view value);
    void keep(const HlsKey& key);
    void onIFrames(std::string_view value);
    HlsVariant variant(const HlsAttributes& list) const;
    HlsKey key(const HlsAttributes& list) const;
    void onTargetDuration(std::string_view value);
    void onMediaSequence(std::string_view value);
    void onDiscontinuity(std::string_view) { m_pending.discontinuity = true; }
    void onGap(std::string_view) { m_pending.gap = true; }
    void onCueOut(std::string_view) { m_pending.cue = HlsCue::Out; }
    void onCueIn(std::string_view) { m_pending.cue = HlsCue::In; }
    void onDateTime(std::string_view value);
    void onDateRange(std::string_view value);
    void onMedia(std::string_view value);
    void onEndList(std::string_view) { m_playlist.ended = true; }
    void onDefine(std::string_view value);
    void onPartInf(std::string_view value) { m_parts.onPartInf(attributes(value)); }
    void onServerControl(std::string_view value) { m_parts.onServerControl(attributes(value)); }
    void onPart(std::string_view value) { m_parts.onPart(attributes(value)); }
    void onHint(std::string_view value) { m_parts.onHint(attributes(value)); }
    void onReport(std::string_view value) { m_parts.onReport(attributes(value)); }
    void takeLowLatency();
    std::string definedValue(const HlsAttributes& list, const std::string& kind) const;
    void onSkip(std::string_view) {
        fail("#EXT-X-SKIP: a part of a playlist, which was not asked for");
    }

    std::string_view m_rest;
    const std::string& m_url;
    const HlsVariables* m_master;
    size_t m_line = 0;
    HlsPlaylist m_playlist;
    HlsSegment m_pending;                                        ///< of the next URI
    std::map<std::string, std::shared_ptr<const HlsKey>> m_keys; ///< that hold, by KEYFORMAT
    HlsPartReader m_parts;
    std::set<std::string> m_keysKept; ///< what tells them apart
    bool m_hasDuration = false;
    size_t m_infLine = 0; ///< of the last #EXTINF
    bool m_rangeHasOffset = false;
    std::optional<HlsVariant> m_variant; ///< of the next URI
    std::string m_lastUri;               ///< whose bytes end at m_lastEnd
    uint64_t m_lastEnd = 0;
};

HlsPlaylist Parser::parse() {
    takePrefix(m_rest, kByteOrderMark);
    expectHeader();
    std::string_view line;
    while (nextLine(line)) {
        if (line.front() == '#')
            takeTag(line);
        else
            takeUri(line);
    }
    if (m_hasDuration)
        dropSegment();
    takeLowLatency();
    checkWhole();
    return std::exchange(m_playlist, {});
}

/// Parts behind the last segment are those of one that is still being made.
void Parser::takeLowLatency() {
    m_pending.parts = m_parts.takeParts(std::nullopt);
    if (!m_pending.parts.empty())
        m_playlist.begun = std::move(m_pending);
    m_playlist.lowLatency = m_parts.result();
    m_playlist.hasBadParts = m_parts.hasContradiction();
}

void Parser::fail(const std::string& what) const {
    throw ToolError(m_line == 0 ? m_url : placeIn(m_url, m_line), what);
}

/// Drops a segment that has no URI: a playlist that was cut short, or is still being written, ends
/// with one.
void Parser::dropSegment() {
    constexpr size_t kMost = 20; // more of them say nothing new
    m_hasDuration = false;
    m_pending.range.reset();
    if (m_playlist.warnings.size() == kMost)
        return;
    m_playlist.warnings.push_back(m_url + ":" + std::to_string(m_infLine) +
                                  ": #EXTINF without a URI; left out");
}

/// The next line that is not blank, without the blanks around it.
bool Parser::nextLine(std::string_view& line) {
    while (!m_rest.empty()) {
        const size_t end = std::min(m_rest.find('\n'), m_rest.size());
        line = m_rest.substr(0, end);
        m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
        ++m_line;
        line = withoutBlanks(line);
        if (!line.empty())
            return true;
    }
    return false;
}

/// Comments before the header are not allowed but found in the field.
void Parser::expectHeader() {
    std::string_view line;
    while (nextLine(line)) {
        if (line == "#EXTM3U" || line.substr(0, 8) == "#EXTM3U ")
            return;
        if (line.front() != '#' || line.substr(0, 4) == "#EXT")
            fail("not a playlist: no #EXTM3U before " + inQuotes(line));
    }
    fail("not a playlist: no #EXTM3U");
}

void Parser::takeTag(std::string_view line) {
    static const std::map<std::string_view, TagHandler> handlers = {
        {"#EXT-X-STREAM-INF", &Parser::onStreamInf},
        {"#EXTINF", &Parser::onInf},
        {"#EXT-X-BYTERANGE", &Parser::onByteRange},
        {"#EXT-X-MAP", &Parser::onMap},
        {"#EXT-X-KEY", &Parser::onKey},
        {"#EXT-X-SESSION-KEY", &Parser::onSessionKey},
        {"#EXT-X-I-FRAME-STREAM-INF", &Parser::onIFrames},
        {"#EXT-X-TARGETDURATION", &Parser::onTargetDuration},
        {"#EXT-X-MEDIA-SEQUENCE", &Parser::onMediaSequence},
        {"#EXT-X-DISCONTINUITY", &Parser::onDiscontinuity},
        {"#EXT-X-GAP", &Parser::onGap},
        {"#EXT-X-CUE-OUT", &Parser::onCueOut},
        {"#EXT-X-CUE-IN", &Parser::onCueIn},
        {"#EXT-X-PROGRAM-DATE-TIME", &Parser::onDateTime},
        {"#EXT-X-DATERANGE", &Parser::onDateRange},
        {"#EXT-X-MEDIA", &Parser::onMedia},
        {"#EXT-X-ENDLIST", &Parser::onEndList},
        {"#EXT-X-DEFINE", &Parser::onDefine},
        {"#EXT-X-SKIP", &Parser::onSkip},
        {"#EXT-X-PART-INF", &Parser::onPartInf},
        {"#EXT-X-SERVER-CONTROL", &Parser::onServerControl},
        {"#EXT-X-PART", &Parser::onPart},
        {"#EXT-X-PRELOAD-HINT", &Parser::onHint},
        {"#EXT-X-RENDITION-REPORT", &Parser::onReport},
    };
    const size_t colon = line.find(':');
    const auto found = handlers.find(line.substr(0, colon));
    if (found != handlers.end())
        (this->*found->second)(
            withoutBlanks(colon == std::string_view::npos ? "" : line.substr(colon + 1)));
}

void Parser::takeUri(std::string_view line) {
    std::string problem;
    const auto uri = m_playlist.variables.substitute(line, problem);
    if (!uri)
        fail(problem);
    if (uri->empty())
        fail("a URI without a character: " + inQuotes(line));
    if (m_variant)
        addVariant(*uri);
    else if (m_hasDuration)
        addSegment(*uri);
    else
        fail("a URI without #EXTINF or #EXT-X-STREAM-INF: " + inQuotes(line));
}

void Parser::addVariant(std::string_view uri) {
    if (m_playlist.variants.size() == kMaxVariants)
        fail("too many variants");
    m_variant->uri = uri;
    m_playlist.variants.push_back(std::move(*m_variant));
    m_variant.reset();
}

void Parser::addSegment(std::string_view uri) {
    if (m_playlist.segments.size() == kMaxSegments)
        fail("too many segments");
    HlsSegment next;
    next.map = m_pending.map;
    next.key = m_pending.key;
    std::swap(next, m_pending);
    next.uri = uri;
    placeRange(next);
    next.parts = m_parts.takeParts(next.seconds);
    m_playlist.segments.push_back(std::move(next));
    m_hasDuration = false;
}

/// A range without an offset goes on where the one before it ended.
void Parser::placeRange(HlsSegment& segment) {
    if (!segment.range) {
        m_lastUri.clear();
        return;
    }
    if (!m_rangeHasOffset) {
        if (m_lastUri != segment.uri)
            fail("a byte range without an offset, and none before it in " + inQuotes(segment.uri));
        segment.range->first = m_lastEnd;
    }
    segment.gap = segment.gap || *segment.range->length == 0; // there is nothing to fetch
    if (*segment.range->length > std::numeric_limits<uint64_t>::max() - segment.range->first)
        fail("a byte range beyond all ends");
    m_lastUri = segment.uri;
    m_lastEnd = segment.range->first + *segment.range->length;
}

void Parser::checkWhole() const {
    const bool hasSegments = !m_playlist.segments.empty();
    if (m_variant)
        fail("the playlist ends where a URI should follow");
    if (m_playlist.isMaster() && hasSegments)
        throw ToolError(m_url, "a playlist of both variants and segments");
    // A live playlist may be empty until its first segment is there; one that has ended may be too.
    if (!m_playlist.isMaster() && !hasSegments && m_playlist.targetSeconds <= 0)
        throw ToolError(m_url, "an empty playlist");
    if (m_playlist.mediaSequence > std::numeric_limits<uint64_t>::max() - kMaxSegments)
        throw ToolError(m_url, "media sequence numbers beyond all ends");
}

HlsAttributes Parser::attributes(std::string_view text) {
    auto result = HlsAttributes::parse(text);
    if (!result)
        fail("not an attribute list: " + inQuotes(text));
    if (const auto problem = result->substitute(m_playlist.variables))
        fail(*problem);
    return std::move(*result);
}

uint64_t Parser::number(std::string_view text) const {
    const auto value = parseUnsigned(text);
    if (!value)
        fail("not a number: " + inQuotes(text));
    return *value;
}

ByteRange Parser::range(std::string_view text, bool& hasOffset) const {
    const size_t at = text.find('@');
    hasOffset = at != std::string_view::npos;
    ByteRange result;
    result.length = number(text.substr(0, at));
    if (hasOffset)
        result.first = number(text.substr(at + 1));
    return result;
}

void Parser::onStreamInf(std::string_view value) {
    m_variant = variant(attributes(value));
}

/// One that cannot be used is ignored: the media plays without it.
void Parser::onIFrames(std::string_view value) {
    auto list = HlsAttributes::parse(value);
    const bool isGood = list && !list->substitute(m_playlist.variables) &&
                        parseUnsigned(list->get("BANDWIDTH")).value_or(0) - 1 <
                            static_cast<uint64_t>(std::numeric_limits<int>::max());
    if (!isGood || list->get("URI").empty() || m_playlist.iFrames.size() == kMaxVariants)
        return;
    m_playlist.iFrames.push_back(variant(*list));
    m_playlist.iFrames.back().uri = list->get("URI");
}

HlsVariant Parser::variant(const HlsAttributes& list) const {
    HlsVariant variant;
    const uint64_t bandwidth = number(list.get("BANDWIDTH"));
    if (bandwidth == 0 || bandwidth > std::numeric_limits<int>::max())
        fail("a variant of " + std::to_string(bandwidth) + " bits per second");
    variant.bandwidth = static_cast<int>(bandwidth);
    variant.codecs = list.get("CODECS");
    variant.resolution = list.get("RESOLUTION");
    variant.audioGroup = list.get("AUDIO");
    variant.videoGroup = list.get("VIDEO");
    variant.subtitleGroup = list.get("SUBTITLES");
    variant.averageBandwidth = parseUnsigned(list.get("AVERAGE-BANDWIDTH")).value_or(0);
    variant.frameRate = parseDecimal(list.get("FRAME-RATE")).value_or(0);
    return variant;
}

/// A date that cannot be read is ignored.
void Parser::onDateTime(std::string_view value) {
    m_pending.dateTime = parseIsoDateTime(std::string(value));
}

/// A range that cannot be read is ignored: the media plays without it.
void Parser::onDateRange(std::string_view value) {
    auto list = HlsAttributes::parse(value);
    if (!list || list->substitute(m_playlist.variables))
        return;
    auto range = readDateRange(*list);
    if (range && m_playlist.dateRanges.size() < kMaxDateRanges)
        m_playlist.dateRanges.push_back(std::move(*range));
}

void Parser::onMedia(std::string_view value) {
    const HlsAttributes list = attributes(value);
    const std::string type = list.get("TYPE");
    if (type == "CLOSED-CAPTIONS")
        m_playlist.hasClosedCaptions = true;
    std::vector<HlsRendition>* const renditions = type == "AUDIO"       ? &m_playlist.audio
                                                  : type == "VIDEO"     ? &m_playlist.video
                                                  : type == "SUBTITLES" ? &m_playlist.subtitles
                                                  : type == "CLOSED-CAPTIONS" ? &m_playlist.captions
                                                                              : nullptr;
    if (renditions == nullptr)
        return;
    if (renditions->size() == kMaxVariants)
        fail("too many renditions");
    renditions->push_back({list.get("GROUP-ID"), list.get("NAME"), list.get("URI"),
                           list.get("DEFAULT") == "YES", list.get("LANGUAGE"),
                           list.get("FORCED") == "YES", list.get("CHANNELS"),
                           list.get("INSTREAM-ID")});
}

void Parser::onInf(std::string_view value) {
    if (m_hasDuration)
        dropSegment();
    const std::string_view text = withoutBlanks(value.substr(0, value.find(',')));
    const auto seconds = parseDecimal(text);
    if (!seconds || *seconds > kMaxSegmentSeconds)
        fail("not a duration: " + inQuotes(text));
    m_pending.seconds = *seconds;
    m_hasDuration = true;
    m_infLine = m_line;
}

void Parser::onByteRange(std::string_view value) {
    m_pending.range = range(value, m_rangeHasOffset);
}

void Parser::onMap(std::string_view value) {
    const HlsAttributes list = attributes(value);
    HlsMap map;
    map.uri = list.get("URI");
    if (map.uri.empty())
        fail("#EXT-X-MAP without a URI");
    bool hasOffset = false;
    if (list.has("BYTERANGE"))
        map.range = range(list.get("BYTERANGE"), hasOffset);
    if (map.range && *map.range->length == 0)
        fail("an empty byte range");
    if (map.range && *map.range->length > std::numeric_limits<uint64_t>::max() - map.range->first)
        fail("a byte range beyond all ends");
    map.key = m_pending.key;
    m_pending.map = std::make_shared<const HlsMap>(std::move(map));
}

void Parser::onKey(std::string_view value) {
    const HlsAttributes list = attributes(value);
    if (list.get("METHOD").empty())
        fail("#EXT-X-KEY without a METHOD");
    if (list.get("METHOD") == "NONE") {
        m_keys.clear();
        m_pending.key.reset();
        return;
    }
    auto next = std::make_shared<const HlsKey>(key(list));
    keep(*next);
    m_keys[next->format] = next;
    const auto plain = m_keys.find(HlsKey().format);
    m_pending.key = plain != m_keys.end() ? plain->second : m_keys.begin()->second;
}

/// Announces a key that media playlists name; one that cannot be read is ignored.
void Parser::onSessionKey(std::string_view value) {
    auto list = HlsAttributes::parse(value);
    if (!list || list->substitute(m_playlist.variables) || list->get("URI").empty())
        return;
    HlsKey next;
    next.method = list->get("METHOD");
    next.uri = list->get("URI");
    next.id = list->get("KEYID");
    if (!list->get("KEYFORMAT").empty())
        next.format = list->get("KEYFORMAT");
    keep(next);
}

/// Keys are told apart by all but their vector, which may change with every segment.
void Parser::keep(const HlsKey& key) {
    const char kBetween[] = "\n"; // in none of them
    std::string what = key.method + kBetween + key.format + kBetween + key.id + kBetween + key.uri;
    if (m_playlist.keys.size() < kMaxKeys && m_keysKept.insert(std::move(what)).second)
        m_playlist.keys.push_back(key);
}

HlsKey Parser::key(const HlsAttributes& list) const {
    HlsKey key;
    key.method = list.get("METHOD");
    key.uri = list.get("URI");
    key.iv = list.get("IV");
    key.id = list.get("KEYID");
    if (!list.get("KEYFORMAT").empty())
        key.format = list.get("KEYFORMAT");
    if (key.method != "AES-128")
        return key;
    if (key.uri.empty())
        fail("#EXT-X-KEY without a URI");
    if (list.has("IV") && !parseIvAttribute(key.iv))
        fail("not an initialisation vector: " + inQuotes(key.iv));
    return key;
}

void Parser::onTargetDuration(std::string_view value) {
    const auto seconds = parseDecimal(value);
    if (!seconds || *seconds > kMaxSegmentSeconds)
        fail("not a duration: " + inQuotes(value));
    m_playlist.targetSeconds = *seconds;
}

void Parser::onMediaSequence(std::string_view value) {
    m_playlist.mediaSequence = number(value);
}

void Parser::onDefine(std::string_view value) {
    const HlsAttributes list = attributes(value);
    const bool isPlain = list.has("NAME");
    if (isPlain + list.has("IMPORT") + list.has("QUERYPARAM") != 1)
        fail("#EXT-X-DEFINE without exactly one of NAME, IMPORT and QUERYPARAM");
    const std::string kind = isPlain ? "NAME" : list.has("IMPORT") ? "IMPORT" : "QUERYPARAM";
    const std::string name = list.get(kind);
    if (!isHlsVariableName(name))
        fail("not the name of a variable: " + inQuotes(name));
    if (!m_playlist.variables.define(name, definedValue(list, kind)))
        fail("a variable that is defined twice: " + inQuotes(name));
}

std::string Parser::definedValue(const HlsAttributes& list, const std::string& kind) const {
    const std::string name = list.get(kind);
    if (kind == "QUERYPARAM") {
        const auto value = queryParameter(m_url, name);
        if (!value)
            fail("no query parameter " + inQuotes(name) + " in the playlist's URL");
        return *value;
    }
    if (kind == "IMPORT") {
        const auto value = m_master != nullptr ? m_master->find(name) : std::nullopt;
        if (!value)
            fail("no variable " + inQuotes(name) + " to import from a master playlist");
        return *value;
    }
    if (!list.has("VALUE"))
        fail("a variable without a VALUE: " + inQuotes(name));
    return list.get("VALUE");
}

} // namespace

HlsPlaylist parseHlsPlaylist(std::string_view text, const std::string& url,
                             const HlsVariables* master) {
    HlsPlaylist result = Parser(text, url, master).parse();
    uint64_t sequence = result.mediaSequence;
    for (HlsSegment& segment : result.segments)
        segment.sequence = sequence++;
    if (result.begun)
        result.begun->sequence = sequence;
    return result;
}

} // namespace hastool

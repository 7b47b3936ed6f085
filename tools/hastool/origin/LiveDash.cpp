#include "LiveDash.h"

#include <hastool/base/BoxView.h>
#include <hastool/base/ByteSource.h>
#include <hastool/base/HtmlText.h>
#include <hastool/base/IsoTime.h>
#include <hastool/base/PercentCoding.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/dash/DashSegments.h>
#include <hastool/formats/dash/DashUrls.h>
#include <hastool/formats/dash/SegmentIndex.h>

#include <Hascommon/GURL.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

namespace hastool {
namespace {

namespace fs = std::filesystem;

constexpr char kBase[] = "http://folder"; // stands for the folder, as manifests need URLs
constexpr double kMinSegments = 6;        // in a window
constexpr double kRegular = 0.25;         // of a segment: what players allow for (5.3.9.6.1)
constexpr double kUpdates = 5;            // segments between two loads of a manifest
constexpr double kLatencyChunks = 5;      // that a player is asked to stay behind
constexpr uint64_t kMilliseconds = 1000;

struct Bytes {
    fs::path file;
    std::optional<ByteRange> range;
};

Bytes placeOf(const ServedFolder& folder, const Resource& resource) {
    const auto file = folder.find(percentDecoded(hascommon::GURL(resource.url).path()));
    if (!file)
        throw ToolError(resource.url, "no such file");
    return {*file, resource.range};
}

std::string read(const Bytes& place) {
    std::string text;
    fileSource(place.file.string())([&](const unsigned char* data, size_t size) {
        text.append(reinterpret_cast<const char*>(data), size);
    });
    const ByteRange range = place.range.value_or(ByteRange{0, std::nullopt});
    return text.substr(static_cast<size_t>(std::min<uint64_t>(range.first, text.size())),
                       static_cast<size_t>(range.length.value_or(text.size())));
}

std::string attribute(const char* name, const std::string& value) {
    return value.empty() ? "" : std::string(" ") + name + "=\"" + escapeHtml(value) + "\"";
}

std::string durationText(double seconds) {
    return "PT" + fixedText(seconds, 3) + "S";
}

std::string protectionText(const DashProtection& it) {
    std::string text = "        <ContentProtection" + attribute("schemeIdUri", it.schemeId) +
                       attribute("value", it.value) + attribute("cenc:default_KID", it.defaultKid) +
                       ">";
    if (!it.pssh.empty())
        text += "<cenc:pssh>" + escapeHtml(it.pssh) + "</cenc:pssh>";
    if (!it.pro.empty())
        text += "<mspr:pro>" + escapeHtml(it.pro) + "</mspr:pro>";
    return text + "</ContentProtection>\n";
}

/// What a segment's time in the media is ahead of that in the period.
double offsetOf(const DashAddressing& addressing) {
    return static_cast<double>(addressing.timeOffset) / static_cast<double>(addressing.timescale);
}

} // namespace

LiveDash::LiveDash(const ServedFolder& folder, const std::string& path, const LiveOptions& options)
    : m_options(options)
    , m_path(path) {
    const auto file = folder.find(path);
    if (!file)
        throw ToolError(path, "no such file");
    const DashManifest source = parseDashManifest(read({*file, {}}), kBase + encodedPath(path));
    if (source.isDynamic || source.periods.size() != 1)
        throw ToolError(path, "not a recorded presentation of one period");
    const DashPeriod& period = source.periods[0];
    m_round = period.duration.value_or(0);
    if (m_round <= 0)
        throw ToolError(path, "a presentation without a duration");
    for (const DashAdaptationSet& set : period.sets) {
        if (set.isTrick)
            continue;
        m_sets.push_back(set);
        for (const DashRepresentation& it : set.representations)
            add(folder, period, it);
    }
    m_options.window = std::max(m_options.window, kMinSegments * m_longest);
}

void LiveDash::add(const ServedFolder& folder, const DashPeriod& period,
                   const DashRepresentation& representation) {
    const std::string url = kBase + encodedPath(m_path);
    const DashUrls urls(representation, url);
    std::optional<SegmentIndex> index;
    if (const auto resource = urls.index())
        index = SegmentIndex::parse(read(placeOf(folder, *resource)), resource->range->first,
                                    resource->url);
    const DashSegmentList list(representation.addressing, period, index ? &*index : nullptr, url);
    std::vector<LoopSegment> segments;
    for (auto it = list.at(period.start, {}); it && segments.size() < kMaxDashRuns;
         it = list.behind(*it, {})) {
        const Bytes place = placeOf(folder, urls.media(*it));
        segments.push_back({place.file, place.range, it->start - period.start, it->seconds,
                            it->number, false, false});
        if (it->seconds <= 0)
            throw ToolError(m_path, "a segment without a duration");
    }
    if (segments.empty())
        throw ToolError(m_path, "a representation without a segment");
    Entry entry;
    entry.set = m_sets.size() - 1;
    entry.source = representation;
    const fs::path path(m_path);
    entry.name = path.stem().string() + "-live-" + std::to_string(m_entries.size()) + "-";
    entry.extension = ".m4s";
    const std::string prefix = (path.parent_path() / entry.name).generic_string();
    LiveStream::Media media;
    addInit(folder, representation, prefix, media.tracks);
    media.isContinuous = true;
    media.offset = offsetOf(representation.addressing);
    const double nominal = m_round / static_cast<double>(segments.size());
    entry.isRegular = std::all_of(segments.begin(), segments.end(), [&](const LoopSegment& it) {
        const auto place = static_cast<double>(&it - segments.data());
        return std::abs(it.start - place * nominal) < kRegular * nominal;
    });
    const LiveLoop loop(std::move(segments), m_round);
    m_longest = std::max(m_longest, loop.longest());
    if (m_options.lowLatency && entry.isRegular && nominal > 2 * m_options.chunkSeconds)
        media.chunkSeconds = m_options.chunkSeconds;
    entry.media = std::make_shared<LiveStream>(loop, media);
    entry.isPaced = entry.media->parts(0).size() > 1;
    if (!entry.isPaced && media.chunkSeconds > 0) { // it cannot be cut, as when it is encrypted
        media.chunkSeconds = 0;
        entry.media = std::make_shared<LiveStream>(loop, media);
    }
    m_streams[prefix] = {entry.media, entry.extension, entry.isPaced, false};
    m_entries.push_back(std::move(entry));
}

void LiveDash::addInit(const ServedFolder& folder, const DashRepresentation& representation,
                       const std::string& prefix, InitTracks& tracks) {
    const auto init = DashUrls(representation, kBase + encodedPath(m_path)).init();
    if (!init)
        throw ToolError(m_path, "a representation without an initialisation to fetch");
    const Bytes place = placeOf(folder, *init);
    tracks = readInitTracks(read(place));
    if (tracks.empty())
        throw ToolError(m_path, "a representation that is not fragmented MP4");
    LoopSegment segment;
    segment.file = place.file;
    segment.range = place.range;
    m_files[prefix + "init.mp4"] = segment;
}

/// Segments by their duration, in units that hold it exactly.
std::string LiveDash::segmentsText(const Entry& entry, double now) const {
    std::string text = "        <SegmentTemplate media=\"" + escapeHtml(entry.name) +
                       "$Number$.m4s\" initialization=\"" + escapeHtml(entry.name) + "init.mp4\"";
    if (!entry.isRegular)
        return text + timelineText(entry, now);
    const LiveLoop& loop = entry.media->loop();
    const auto ticks = static_cast<uint64_t>(std::llround(m_round * kMilliseconds));
    const uint64_t count = loop.size() * kMilliseconds;
    const uint64_t common = std::gcd(ticks, count);
    text += " timescale=\"" + std::to_string(count / common) + "\" duration=\"" +
            std::to_string(ticks / common) + "\" startNumber=\"1\"";
    if (entry.isPaced) {
        const double nominal = m_round / static_cast<double>(loop.size());
        text += " availabilityTimeOffset=\"" + fixedText(nominal - m_options.chunkSeconds, 3) +
                "\" availabilityTimeComplete=\"false\"";
    }
    return text + "/>\n";
}

std::string LiveDash::timelineText(const Entry& entry, double now) const {
    const LiveLoop& loop = entry.media->loop();
    const uint64_t end = loop.firstAfter(now);
    const uint64_t first = std::min(loop.firstAfter(now - m_options.window), end);
    const double scale = static_cast<double>(entry.source.addressing.timescale);
    const auto ticks = [&](double time) {
        return static_cast<uint64_t>(std::llround(time * scale));
    };
    std::string text = " timescale=\"" + std::to_string(entry.source.addressing.timescale) +
                       "\" startNumber=\"" + std::to_string(first + 1) +
                       "\">\n          <SegmentTimeline>\n";
    for (uint64_t i = first; i < end; ++i)
        text += "            <S t=\"" + std::to_string(ticks(loop.start(i))) + "\" d=\"" +
                std::to_string(ticks(loop.end(i)) - ticks(loop.start(i))) + "\"/>\n";
    return text + "          </SegmentTimeline>\n        </SegmentTemplate>\n";
}

std::string LiveDash::representationText(const Entry& entry, double now) const {
    const DashRepresentation& source = entry.source;
    std::string text = "      <Representation" + attribute("id", source.id) +
                       attribute("codecs", source.codecs) + " bandwidth=\"" +
                       std::to_string(source.bandwidth) + "\"";
    if (source.width > 0 && source.height > 0)
        text += " width=\"" + std::to_string(source.width) + "\" height=\"" +
                std::to_string(source.height) + "\"";
    text += ">\n";
    for (const DashProtection& it : source.protections)
        text += protectionText(it);
    return text + segmentsText(entry, now) + "      </Representation>\n";
}

std::string LiveDash::headText(double now, double epoch) const {
    const bool isRegular = std::all_of(m_entries.begin(), m_entries.end(),
                                       [](const Entry& it) { return it.isRegular; });
    const bool isPaced =
        std::any_of(m_entries.begin(), m_entries.end(), [](const Entry& it) { return it.isPaced; });
    std::string text =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" xmlns:cenc=\"urn:mpeg:cenc:2013\" "
        "xmlns:mspr=\"urn:microsoft:playready\"\n  "
        "profiles=\"urn:mpeg:dash:profile:isoff-live:2011\" type=\"dynamic\"\n  "
        "availabilityStartTime=\"" +
        isoDateTime(epoch) + "\" publishTime=\"" + isoDateTime(epoch + now) +
        "\"\n  minimumUpdatePeriod=\"" + durationText(m_longest * (isRegular ? kUpdates : 1)) +
        "\" timeShiftBufferDepth=\"" + durationText(m_options.window) +
        "\"\n  maxSegmentDuration=\"" + durationText(m_longest) + "\" minBufferTime=\"" +
        durationText(isPaced ? m_options.chunkSeconds : m_longest) + "\"";
    if (!isPaced)
        text += " suggestedPresentationDelay=\"" + durationText(3 * m_longest) + "\"";
    text += ">\n";
    if (isPaced) {
        const auto latency = std::llround(m_options.chunkSeconds * kLatencyChunks * kMilliseconds);
        text += "  <ServiceDescription id=\"0\"><Latency target=\"" + std::to_string(latency) +
                "\"/></ServiceDescription>\n";
    }
    return text;
}

std::string LiveDash::manifest(const std::string&, double now, double epoch) const {
    std::string text = headText(now, epoch) + "  <Period id=\"live\" start=\"PT0S\">\n";
    for (size_t i = 0; i < m_sets.size(); ++i) {
        const DashAdaptationSet& set = m_sets[i];
        const std::string type = set.contentType == "audio" || set.contentType == "video"
                                     ? set.contentType
                                     : "application";
        text += "    <AdaptationSet" + attribute("contentType", set.contentType) +
                attribute("mimeType", type + "/mp4") + attribute("lang", set.language) +
                " segmentAlignment=\"true\" startWithSAP=\"1\">\n";
        if (set.isMain)
            text += "      <Role schemeIdUri=\"urn:mpeg:dash:role:2011\" value=\"main\"/>\n";
        for (const Entry& entry : m_entries) {
            if (entry.set == i)
                text += representationText(entry, now);
        }
        text += "    </AdaptationSet>\n";
    }
    return text + "  </Period>\n  <UTCTiming schemeIdUri=\"urn:mpeg:dash:utc:http-iso:2014\" " +
           "value=\"" + kLiveClockPath + "\"/>\n</MPD>\n";
}

} // namespace hastool

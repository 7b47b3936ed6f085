#include "DashInfo.h"

#include "AudioChannels.h"
#include "Protections.h"
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/formats/dash/DashLoader.h>
#include <hastool/formats/dash/DashReadout.h>
#include <hastool/formats/dash/DashTimeline.h>
#include <hastool/formats/dash/DashUrls.h>

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

namespace hastool {
namespace {

/// The lowest of the rates that are written.
int samplingRateOf(const std::string& text) {
    const uint64_t rate = parseUnsigned(text.substr(0, text.find(' '))).value_or(0);
    return rate <= static_cast<uint64_t>(std::numeric_limits<int>::max()) ? static_cast<int>(rate)
                                                                          : 0;
}

InfoStream describe(const DashRepresentation& representation) {
    InfoStream stream;
    stream.id = representation.id;
    stream.bitrate = static_cast<uint64_t>(representation.bandwidth);
    stream.codecs = representation.codecs;
    stream.mimeType = representation.mimeType;
    stream.width = representation.width;
    stream.height = representation.height;
    stream.frameRate = frameRateOf(representation);
    stream.samplingRate = samplingRateOf(representation.samplingRate);
    stream.channels = audioChannels(representation.channelScheme, representation.channelValue);
    return stream;
}

/// Goes through the manifest as it is now.
class Reader {
public:
    Reader(const Document& document, const InfoAccess& access)
        : m_access(access)
        , m_loader(document, access.fetch, access.time) {}

    PresentationInfo read();

private:
    void expectIndexes() const;
    InfoPeriod readPeriod(const DashPeriod& period);
    InfoTrack readSet(const DashPeriod& period, const DashAdaptationSet& set);
    InfoStream readStream(const DashPeriod& period, const DashRepresentation& representation);

    const InfoAccess& m_access;
    DashLoader m_loader;
    DashTimeline m_timeline{m_loader, RenditionChoice(), false}; ///< of whole segments
};

PresentationInfo Reader::read() {
    const DashManifest& manifest = m_loader.manifest();
    expectIndexes();
    PresentationInfo info;
    info.url = m_loader.url();
    info.format = "DASH";
    info.isLive = manifest.isDynamic;
    info.duration = manifest.duration;
    const DashPeriod& last = manifest.periods.back();
    if (!info.duration && last.duration)
        info.duration = last.start + *last.duration;
    info.timeShift = manifest.isDynamic ? manifest.timeShiftDepth : std::nullopt;
    info.errors = manifest.problems;
    for (const DashPeriod& period : manifest.periods)
        info.periods.push_back(readPeriod(period));
    return info;
}

void Reader::expectIndexes() const {
    std::vector<Resource> indexes;
    std::set<std::string> known;
    for (const DashPeriod& period : m_loader.manifest().periods) {
        for (const DashAdaptationSet& set : period.sets) {
            for (const DashRepresentation& it : set.representations) {
                try {
                    const auto index = DashUrls(it, m_loader.url()).index();
                    if (index && known.insert(index->url + rangeText(*index->range)).second)
                        indexes.push_back(*index);
                } catch (const ToolError&) {
                    continue; // its stream will say so
                }
            }
        }
    }
    if (m_access.expect && !indexes.empty())
        m_access.expect(indexes);
}

InfoPeriod Reader::readPeriod(const DashPeriod& period) {
    InfoPeriod result;
    result.id = period.id;
    result.start = period.start;
    result.duration = period.duration;
    for (const DashAdaptationSet& set : period.sets)
        result.tracks.push_back(readSet(period, set));
    return result;
}

InfoTrack Reader::readSet(const DashPeriod& period, const DashAdaptationSet& set) {
    InfoTrack track;
    track.kind = set.contentType == "text" ? "subtitles" : set.contentType;
    if (track.kind.empty())
        track.kind = "media";
    track.id = set.id;
    track.name = set.label;
    track.language = set.language;
    track.roles = set.roles;
    track.isDefault = set.isMain;
    track.isForced = std::any_of(set.roles.begin(), set.roles.end(), [](const std::string& role) {
        return role == "forced-subtitle" || role == "forced_subtitle";
    });
    track.isTrick = set.isTrick;
    for (const DashRepresentation& it : set.representations) {
        track.streams.push_back(readStream(period, it));
        for (const DashProtection& protection : it.protections)
            addProtection(track.protections, protectionOf(protection));
    }
    sortStreams(track);
    return track;
}

InfoStream Reader::readStream(const DashPeriod& period, const DashRepresentation& representation) {
    InfoStream stream = describe(representation);
    if (hasOpenEnd(m_loader.manifest(), period, representation))
        return stream;
    try {
        const DashLengths lengths =
            m_timeline.segments(period, representation).lengths(m_timeline.window());
        stream.segments =
            InfoLengths{lengths.count, lengths.shortest, lengths.longest, lengths.sum};
    } catch (const ToolError& error) {
        stream.error = error.what();
    }
    return stream;
}

} // namespace

PresentationInfo readDashInfo(const Document& document, const InfoAccess& access) {
    return Reader(document, access).read();
}

} // namespace hastool

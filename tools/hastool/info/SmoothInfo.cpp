#include "SmoothInfo.h"

#include "Protections.h"
#include <hastool/formats/smooth/SmoothManifest.h>

namespace hastool {
namespace {

InfoStream streamOf(const SmoothQuality& quality, const InfoLengths& segments) {
    InfoStream stream;
    stream.bitrate = static_cast<uint64_t>(quality.bitrate);
    stream.codecs = quality.fourCC;
    stream.width = quality.width;
    stream.height = quality.height;
    stream.channels = static_cast<int>(quality.channels);
    stream.samplingRate = static_cast<int>(quality.samplingRate);
    stream.segments = segments;
    return stream;
}

InfoTrack trackOf(const SmoothStream& source) {
    InfoLengths segments;
    for (const SmoothChunk& chunk : source.chunks)
        segments.add(static_cast<double>(chunk.duration) / static_cast<double>(source.timescale));
    InfoTrack track;
    track.kind = source.type == "text" ? "subtitles" : source.type;
    track.name = source.name;
    track.language = source.language;
    for (const SmoothQuality& quality : source.qualities)
        track.streams.push_back(streamOf(quality, segments));
    return track;
}

} // namespace

PresentationInfo readSmoothInfo(const Document& document) {
    const SmoothManifest manifest = parseSmoothManifest(document.text, document.url);
    const auto seconds = [&](uint64_t time) -> std::optional<double> {
        if (time == 0)
            return std::nullopt;
        return static_cast<double>(time) / static_cast<double>(manifest.timescale);
    };
    PresentationInfo info;
    info.url = document.url;
    info.format = "Smooth";
    info.isLive = manifest.isLive;
    info.duration = seconds(manifest.duration);
    info.timeShift = manifest.isLive ? seconds(manifest.window) : std::nullopt;
    for (const SmoothProtection& it : manifest.protections)
        addProtection(info.protections, protectionOf(it));
    InfoPeriod period;
    period.duration = info.duration;
    for (const SmoothStream& stream : manifest.streams)
        period.tracks.push_back(trackOf(stream));
    info.periods.push_back(std::move(period));
    return info;
}

} // namespace hastool

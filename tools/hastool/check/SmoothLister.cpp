#include "SmoothLister.h"

#include <hastool/base/ToolError.h>
#include <hastool/formats/smooth/SmoothInit.h>
#include <hastool/info/Protections.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace hastool {
namespace {

using Clock = TimeSource::Steady;
using Kind = CheckedRendition::Kind;

constexpr double kMinReload = 0.5; // seconds; no server deserves more
constexpr double kMaxReload = 10;

Kind kindOf(const std::string& type) {
    if (type == "video")
        return Kind::Video;
    if (type == "audio")
        return Kind::Audio;
    return type == "text" ? Kind::Text : Kind::Other;
}

double inSeconds(uint64_t ticks, uint64_t timescale) {
    return timescale == 0 ? 0 : static_cast<double>(ticks) / static_cast<double>(timescale);
}

} // namespace

void SmoothLister::list() {
    m_evidence.format = CheckedFormat::Smooth;
    keepTree(m_evidence.documents);
    read(m_evidence.documents.front());
}

void SmoothLister::read(CheckedDocument& document) {
    m_due = Clock::time_point::max();
    const double retry = kMinReload;
    try {
        const std::string& url = document.answer.finalUrl;
        m_manifest =
            std::make_shared<const SmoothManifest>(parseSmoothManifest(document.text, url));
        m_url = url;
        m_evidence.smooth.push_back(*m_manifest);
        m_evidence.isLive = m_manifest->isLive;
    } catch (const ToolError& error) {
        document.trouble = error.what();
        if (m_manifest != nullptr && m_manifest->isLive)
            m_due =
                m_time.steady() + std::chrono::milliseconds(static_cast<long long>(retry * 1000));
        return;
    }
    if (!m_manifest->isLive && m_manifest->duration > 0)
        m_evidence.duration = inSeconds(m_manifest->duration, m_manifest->timescale);
    listAll();
}

void SmoothLister::listAll() {
    double shortest = kMaxReload;
    for (size_t stream = 0; stream < m_manifest->streams.size(); ++stream) {
        const SmoothStream& it = m_manifest->streams[stream];
        if (!it.chunks.empty())
            shortest = std::min(shortest, inSeconds(it.chunks.back().duration, it.timescale));
        for (size_t quality = 0; quality < it.qualities.size(); ++quality)
            listQuality(stream, quality);
    }
    if (m_manifest->isLive)
        m_due = m_time.steady() + std::chrono::milliseconds(static_cast<long long>(
                                      std::max(shortest, kMinReload) * 1000));
}

void SmoothLister::listQuality(size_t stream, size_t quality) {
    Reading& reading = readingOf(stream, quality);
    CheckedRendition& rendition = m_evidence.renditions[reading.rendition];
    const auto& chunks = m_manifest->streams[stream].chunks;
    for (size_t i = 0; i < chunks.size(); ++i) {
        if (reading.hasSegments && chunks[i].time <= reading.lastTime)
            continue;
        if (rendition.segments.size() == kMaxCheckedSegments)
            return;
        try {
            add(rendition, stream, quality, i);
        } catch (const ToolError& error) {
            rendition.trouble = error.what();
            return;
        }
        reading.hasSegments = true;
        reading.lastTime = chunks[i].time;
    }
}

SmoothLister::Reading& SmoothLister::readingOf(size_t stream, size_t quality) {
    const SmoothStream& itsStream = m_manifest->streams[stream];
    const SmoothQuality& itsQuality = itsStream.qualities[quality];
    const std::string key = std::to_string(stream) + "/" + itsStream.name + "/" +
                            std::to_string(itsQuality.bitrate) + itsQuality.customAttributes;
    const auto [place, isNew] = m_readings.try_emplace(key);
    if (!isNew)
        return place->second;
    CheckedRendition rendition;
    rendition.kind = kindOf(itsStream.type);
    rendition.set = stream;
    rendition.id = itsStream.name;
    rendition.bandwidth = static_cast<uint64_t>(std::max(itsQuality.bitrate, 0));
    rendition.width = itsQuality.width;
    rendition.height = itsQuality.height;
    rendition.language = itsStream.language;
    rendition.isProtected = !m_manifest->protections.empty();
    for (const SmoothProtection& it : m_manifest->protections) {
        const InfoProtection protection = protectionOf(it);
        rendition.keyIds.insert(rendition.keyIds.end(), protection.keyIds.begin(),
                                protection.keyIds.end());
    }
    std::string name = qualityName(rendition.width, rendition.height, rendition.bandwidth);
    if (rendition.kind != Kind::Video)
        name = itsStream.type + " " + name;
    nameRendition(m_evidence, rendition, name);
    place->second.rendition = m_evidence.renditions.size();
    m_evidence.renditions.push_back(std::move(rendition));
    return place->second;
}

void SmoothLister::add(CheckedRendition& rendition, size_t stream, size_t quality, size_t chunk) {
    const SmoothStream& itsStream = m_manifest->streams[stream];
    const SmoothQuality& itsQuality = itsStream.qualities[quality];
    const SmoothChunk& itsChunk = itsStream.chunks[chunk];
    const std::string uri = expandSmoothTemplate(itsStream.url, itsQuality, itsChunk.time, m_url);
    CheckedSegment segment;
    segment.name = "chunk " + std::to_string(itsChunk.time);
    segment.answer.resource = {resolveHttpUrl(m_url, uri, m_url), std::nullopt};
    segment.number = chunk;
    segment.start = inSeconds(itsChunk.time, itsStream.timescale);
    segment.seconds = inSeconds(itsChunk.duration, itsStream.timescale);
    // The function holds the manifest, which may be replaced by a new one before the chunk comes.
    segment.makeInit = [manifest = m_manifest, &itsStream, &itsQuality](std::string_view media) {
        return makeSmoothInit(itsStream, itsQuality, trackOfFragment(media));
    };
    rendition.segments.push_back(std::move(segment));
}

void SmoothLister::follow() {
    if (m_due > m_time.steady())
        return;
    CheckSource::Fetched fetched = m_source.fetch({m_url, std::nullopt});
    m_evidence.documents.push_back({std::move(fetched.answer), std::move(fetched.bytes), ""});
    keepTree(m_evidence.documents);
    CheckedDocument& document = m_evidence.documents.back();
    if (document.answer.ok)
        read(document);
    else
        m_due =
            m_time.steady() + std::chrono::milliseconds(static_cast<long long>(kMinReload * 1000));
}

std::unique_ptr<Lister> makeSmoothLister(Evidence& evidence, CheckSource& source,
                                         const TimeSource& time) {
    return std::make_unique<SmoothLister>(evidence, source, time);
}

} // namespace hastool

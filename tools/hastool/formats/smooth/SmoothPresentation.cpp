#include "SmoothPresentation.h"

#include "SmoothInit.h"
#include <hastool/base/ToolError.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

constexpr size_t kLiveDistance = 3;         // chunks before the end
constexpr double kBoundaryTolerance = 0.25; // of a chunk: streams are cut nearly alike
constexpr double kMinReload = 0.5;          // seconds; no server deserves more
constexpr double kMaxReload = 10;
constexpr double kMinLength = 0.001; // of a chunk, so that each comes once
constexpr double kStartedAnew = 60;  // seconds: a track so far beyond the live end joins anew

double startOf(const SmoothStream& stream, const SmoothChunk& chunk) {
    return static_cast<double>(chunk.time) / static_cast<double>(stream.timescale);
}

double secondsOf(const SmoothStream& stream, const SmoothChunk& chunk) {
    return static_cast<double>(chunk.duration) / static_cast<double>(stream.timescale);
}

/// The first chunk of which more than a small part lies behind a time.
const SmoothChunk* findChunk(const SmoothStream& stream, double time) {
    const auto it = std::partition_point(
        stream.chunks.begin(), stream.chunks.end(), [&](const SmoothChunk& chunk) {
            const double length = std::max(secondsOf(stream, chunk), kMinLength);
            return startOf(stream, chunk) + length * (1 - kBoundaryTolerance) <= time;
        });
    return it != stream.chunks.end() ? &*it : nullptr;
}

/// The quality that stands for a bitrate: the highest up to it, or the lowest.
const SmoothQuality& matchBitrate(const SmoothStream& stream, int bitrate) {
    const SmoothQuality* match = &stream.qualities.front();
    for (const SmoothQuality& it : stream.qualities) {
        if (it.bitrate <= bitrate)
            match = &it;
    }
    return *match;
}

std::string labelOf(const SmoothQuality& quality) {
    if (quality.width == 0 || quality.height == 0)
        return {};
    return std::to_string(quality.width) + "x" + std::to_string(quality.height);
}

std::vector<RenditionLabel> labelsOf(const std::vector<const SmoothStream*>& streams) {
    std::vector<RenditionLabel> labels;
    for (const SmoothStream* const stream : streams)
        labels.push_back({stream->language, {stream->name}, 0});
    return labels;
}

} // namespace

SmoothPresentation::SmoothPresentation(const Document& document, FetchDocument fetch,
                                       std::chrono::milliseconds liveTimeout,
                                       const TimeSource& time, const RenditionChoice& choice)
    : m_fetch(std::move(fetch))
    , m_clock(time)
    , m_liveTimeout(liveTimeout) {
    take(document);
    addTrack("video", "--video", choice.video);
    addTrack("audio", "--audio", choice.audio);
    if (m_tracks.empty())
        throw ToolError(m_url, "neither a video nor an audio stream");
    m_tracks.front().isAudio = false; // also where there is nothing but audio
    if (!choice.subtitles.empty())
        addTrack("text", "--subtitles", choice.subtitles);
}

void SmoothPresentation::take(const Document& document) {
    m_manifest =
        std::make_shared<const SmoothManifest>(parseSmoothManifest(document.text, document.url));
    m_url = document.url;
    m_loadedAt = m_clock.steady();
}

void SmoothPresentation::addTrack(const char* type, const char* option, const std::string& wanted) {
    const SmoothStream* const stream = findStream(type, wanted);
    if (stream == nullptr && !wanted.empty() && wanted != kNoRendition)
        throw noSuchRendition(option, wanted, labelsOf(streamsOf(type)));
    if (stream == nullptr)
        return;
    TrackInfo track;
    track.isAudio = stream->type == "audio";
    track.isText = stream->type == "text";
    track.language = stream->language;
    for (const SmoothQuality& it : stream->qualities) {
        if (track.streams.empty() || track.streams.back().bitrate != it.bitrate)
            track.streams.push_back({it.bitrate, labelOf(it)});
    }
    m_tracks.push_back(std::move(track));
    m_readings.push_back({LiveWait(m_liveTimeout, m_clock), type, wanted, 0, 0, false});
}

std::vector<const SmoothStream*> SmoothPresentation::streamsOf(const std::string& type) const {
    std::vector<const SmoothStream*> result;
    for (const SmoothStream& stream : m_manifest->streams) {
        if (stream.type == type)
            result.push_back(&stream);
    }
    return result;
}

/// @param wanted  empty for the first of the type
const SmoothStream* SmoothPresentation::findStream(const std::string& type,
                                                   const std::string& wanted) const {
    const auto streams = streamsOf(type);
    if (streams.empty() || wanted == kNoRendition)
        return nullptr;
    if (wanted.empty())
        return streams.front();
    const auto found = findRendition(wanted, labelsOf(streams));
    return found ? streams[*found] : nullptr;
}

const SmoothStream* SmoothPresentation::streamOf(const Reading& reading) const {
    return findStream(reading.type, reading.wanted);
}

NextPiece SmoothPresentation::next(size_t track, size_t stream) {
    Reading& reading = m_readings.at(track);
    const SmoothStream* source = streamOf(reading);
    if (source != nullptr && reading.joined && findChunk(*source, reading.time) == nullptr)
        reloadWhenDue(*source);
    join(reading);
    source = streamOf(reading);
    const SmoothChunk* const chunk =
        source != nullptr && reading.joined ? findChunk(*source, reading.time) : nullptr;
    if (chunk == nullptr) {
        if (!m_manifest->isLive || source == nullptr)
            return {};
        return reading.wait.wait(reloadDue(*source), m_url);
    }
    reading.wait.end();
    NextPiece result;
    result.kind = NextPiece::Kind::Piece;
    const int bitrate = m_tracks[track].streams.at(stream).bitrate;
    result.piece = pieceOf(*source, matchBitrate(*source, bitrate), *chunk);
    const double length = std::max(result.piece.seconds, kMinLength);
    const double behind = result.piece.start - reading.time;
    if (m_manifest->isLive && behind > length / 2)
        result.piece.lost = static_cast<uint64_t>(std::llround(behind / length));
    reading.last = result.piece.start;
    reading.time = result.piece.start + length;
    return result;
}

NextPiece SmoothPresentation::again(size_t track, size_t stream) {
    Reading& reading = m_readings.at(track);
    const double behind = std::exchange(reading.time, reading.last);
    try {
        return next(track, stream);
    } catch (...) {
        reading.time = behind;
        throw;
    }
}

SmoothPresentation::Clock::time_point
SmoothPresentation::reloadDue(const SmoothStream& stream) const {
    const double length = stream.chunks.empty() ? 0 : secondsOf(stream, stream.chunks.back());
    const double interval = std::clamp(length, kMinReload, kMaxReload);
    return m_loadedAt + std::chrono::milliseconds(static_cast<long long>(interval * 1000));
}

/// A failure ends the play only after the live time-out, see LiveWait.
void SmoothPresentation::reloadWhenDue(const SmoothStream& stream) {
    if (!m_manifest->isLive || m_clock.steady() < reloadDue(stream))
        return;
    try {
        take(m_fetch({m_url, std::nullopt}));
        for (Reading& reading : m_readings)
            reading.wait.loaded();
    } catch (const ToolError& error) {
        for (Reading& reading : m_readings)
            reading.wait.loadFailed(error);
        m_loadedAt = m_clock.steady();
    }
}

/// Puts a track where all tracks begin, at the same time.
void SmoothPresentation::join(Reading& reading) {
    const SmoothStream* const stream = streamOf(m_readings.front());
    if (stream == nullptr || stream->chunks.empty())
        return;
    const auto& chunks = stream->chunks;
    const double end = startOf(*stream, chunks.back());
    if (reading.joined && m_manifest->isLive && reading.time - end > kStartedAnew) {
        reading.joined = false;
        m_joinTime.reset();
    }
    if (!m_joinTime) {
        const size_t distance = std::min(kLiveDistance, chunks.size());
        m_joinTime = startOf(*stream, m_manifest->isLive ? chunks[chunks.size() - distance]
                                                         : chunks.front());
    }
    if (!reading.joined)
        reading.time = *m_joinTime;
    reading.joined = true;
}

MediaPiece SmoothPresentation::pieceOf(const SmoothStream& stream, const SmoothQuality& quality,
                                       const SmoothChunk& chunk) const {
    const std::string uri = expandSmoothTemplate(stream.url, quality, chunk.time, m_url);
    MediaPiece piece;
    piece.media.resource = {resolveHttpUrl(m_url, uri, m_url), std::nullopt};
    piece.index = static_cast<uint64_t>(&chunk - stream.chunks.data());
    piece.start = startOf(stream, chunk);
    piece.seconds = secondsOf(stream, chunk);
    piece.timeOffset = 0;
    // The function holds the manifest, which may be replaced by a new one before the piece comes.
    piece.makeInit = [manifest = m_manifest, &stream, &quality](std::string_view media) {
        return makeSmoothInit(stream, quality, trackOfFragment(media));
    };
    return piece;
}

} // namespace hastool

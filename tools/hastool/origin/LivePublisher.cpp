#include "LivePublisher.h"

#include "LiveDash.h"
#include "LiveHls.h"
#include <hastool/base/IsoTime.h>
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

constexpr double kLate = 0.25; // of a segment
constexpr double kKept = 2;    // windows for which a segment can be had

OriginAnswer plainAnswer(int status, const std::string& text) {
    OriginAnswer answer;
    answer.status = status;
    answer.setBody(text, "text/plain");
    return answer;
}

/// @return whether the text is a number or there is none
bool readNumber(const std::string& target, const char* name, std::optional<uint64_t>& number) {
    constexpr uint64_t kMost = uint64_t{1} << 40; // no segment of this century
    const auto text = queryParameter("http://folder" + target, name);
    if (!text)
        return true;
    number = parseUnsigned(*text);
    return number && *number <= kMost;
}

} // namespace

LivePublisher::LivePublisher(const ServedFolder& folder, const LiveOptions& options, LiveTime& time)
    : m_time(time)
    , m_window(options.window)
    , m_epoch(std::floor(time.now() - options.window)) {
    for (const std::string& path : folder.presentations())
        add(folder, path, options);
}

void LivePublisher::add(const ServedFolder& folder, const std::string& path,
                        const LiveOptions& options) {
    const auto hasEnding = [&](const std::string& ending) {
        return path.size() >= ending.size() &&
               path.compare(path.size() - ending.size(), ending.size(), ending) == 0;
    };
    try {
        if (hasEnding(".m3u8"))
            m_presentations.push_back(std::make_unique<LiveHls>(folder, path, options));
        else if (hasEnding(".mpd"))
            m_presentations.push_back(std::make_unique<LiveDash>(folder, path, options));
        else
            throw ToolError(path, "Smooth Streaming is not published live");
        m_paths.push_back(path);
    } catch (const ToolError& error) {
        m_problems.push_back(std::string(error.what()) + "; not published live");
    }
}

std::optional<LivePublisher::Place> LivePublisher::find(const std::string& path) const {
    for (const auto& presentation : m_presentations) {
        for (const auto& [prefix, stream] : presentation->streams()) {
            const size_t end = path.size() - std::min(path.size(), stream.extension.size());
            if (path.compare(0, prefix.size(), prefix) != 0 || end <= prefix.size() ||
                path.substr(end) != stream.extension)
                continue;
            const std::string name = path.substr(prefix.size(), end - prefix.size());
            const size_t dot = name.find('.');
            const auto number = parseUnsigned(name.substr(0, dot));
            Place place{&stream, 0, std::nullopt};
            if (dot != std::string::npos && !(place.chunk = parseUnsigned(name.substr(dot + 1))))
                continue;
            if (!number || *number == 0 || *number > uint64_t{1} << 40)
                continue;
            place.number = *number - 1;
            return place;
        }
    }
    return std::nullopt;
}

std::optional<uint64_t> LivePublisher::segmentNumber(const std::string& path) const {
    const auto place = find(path);
    return place ? std::optional(place->number + 1) : std::nullopt;
}

std::optional<OriginAnswer> LivePublisher::answer(const WebRequest& request,
                                                  const std::string& path,
                                                  const std::optional<Fault>& fault) const {
    try {
        if (path == kLiveClockPath)
            return plainAnswer(200, isoDateTime(m_time.now()));
        for (const auto& presentation : m_presentations) {
            if (presentation->hasManifest(path))
                return manifest(*presentation, path, request);
            if (const auto found = presentation->file(path))
                return file(*found);
        }
        if (const auto place = find(path))
            return media(*place, fault);
    } catch (const ToolError&) {
        return plainAnswer(500, "the media behind the live stream cannot be read\n");
    }
    return std::nullopt;
}

OriginAnswer LivePublisher::manifest(const LivePresentation& presentation, const std::string& path,
                                     const WebRequest& request) const {
    LiveQuery query;
    if (!readNumber(request.target, "_HLS_msn", query.sequence) ||
        !readNumber(request.target, "_HLS_part", query.part) || (query.part && !query.sequence))
        return plainAnswer(400, "not a number of a segment or part\n");
    const LiveDue due = presentation.due(path, query, now());
    if (due.isRefused)
        return plainAnswer(400, "too far ahead\n");
    m_time.waitUntil(m_epoch + due.time);
    OriginAnswer answer;
    answer.setBody(presentation.manifest(path, std::max(now(), due.time), m_epoch),
                   contentType(path));
    answer.headers.emplace_back("Cache-Control", "no-cache");
    return answer;
}

/// A chunk can be asked for from when the one before it is there, a paced segment from when it
/// begins, and any other when it is whole.
OriginAnswer LivePublisher::media(const Place& place, const std::optional<Fault>& fault) const {
    const LivePresentation::Stream& stream = *place.stream;
    const LiveLoop& loop = stream.media->loop();
    const double start = loop.start(place.number);
    const double end = loop.end(place.number);
    const double time = now();
    // Segments that a manifest describes by their duration may end a little later than it says.
    const bool isEarly = stream.isPaced || place.chunk ? start > time + loop.longest()
                                                       : end > time + kLate * loop.longest();
    if (isEarly || end < time - kKept * std::max(m_window, loop.seconds()) ||
        (place.chunk && !stream.hasParts))
        return plainAnswer(404, "not there now\n");
    std::vector<ChunkedSegment::Piece> pieces;
    double due = m_epoch + start;
    uint64_t number = 0;
    for (MediaChunk& chunk : stream.media->chunks(place.number)) {
        const double begun = due;
        due += chunk.seconds;
        if (place.chunk && number == *place.chunk && m_time.now() + 2 * chunk.seconds < begun)
            return plainAnswer(404, "not there yet\n");
        if (!place.chunk || number == *place.chunk)
            pieces.push_back({std::move(chunk.bytes), due});
        ++number;
    }
    if (pieces.empty())
        return plainAnswer(404, "no such part\n");
    if (!stream.isPaced && !place.chunk)
        for (ChunkedSegment::Piece& it : pieces)
            it.due = m_epoch + end;
    if (place.chunk && !m_time.waitUntil(pieces[0].due))
        return plainAnswer(503, "stopping\n");
    OriginAnswer answer;
    answer.headers = {{"Content-Type", contentType("x" + stream.extension)},
                      {"Accept-Ranges", "none"}};
    answer.paced.emplace(std::move(pieces), fault, m_time);
    return answer;
}

OriginAnswer LivePublisher::file(const LoopSegment& file) const {
    OriginAnswer answer;
    LiveStream whole(LiveLoop({file}, 1), {});
    std::vector<ChunkedSegment::Piece> pieces;
    pieces.push_back({whole.chunks(0)[0].bytes, 0});
    answer.headers = {{"Content-Type", contentType(file.file)}, {"Accept-Ranges", "none"}};
    answer.paced.emplace(std::move(pieces), std::nullopt, m_time);
    return answer;
}

} // namespace hastool

#include "PresentationMovie.h"

#include <hastool/base/Number.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/base/ToolError.h>
#include <hastool/check/FolderSource.h>
#include <hastool/formats/OpenPresentation.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace hastool {
namespace {

constexpr std::chrono::minutes kLiveTimeout{1}; // nothing live is read
constexpr size_t kMaxPieces = 200000;
constexpr long kPartialContent = 206;
constexpr long kOk = 200;

/// The size behind the slash of "bytes 0-0/1234".
std::optional<uint64_t> totalOf(const std::string& contentRange) {
    const size_t slash = contentRange.rfind('/');
    if (slash == std::string::npos)
        return std::nullopt;
    return parseUnsigned(std::string_view(contentRange).substr(slash + 1));
}

/// Asks for the first byte alone.
Resource firstByteOf(const Resource& resource) {
    return {resource.url, ByteRange{0, 1}};
}

bool knowsSize(const Resource& resource) {
    return resource.range && resource.range->length;
}

/// The bitrate of what there is, for a stream that does not tell its own.
int measuredBitrate(const std::vector<Movie::Segment>& segments, size_t stream) {
    double bits = 0;
    double seconds = 0;
    for (const Movie::Segment& it : segments) {
        bits += static_cast<double>(it.bytes[stream]) * 8;
        seconds += static_cast<double>(it.duration.count()) / 1e6;
    }
    return std::max(static_cast<int>(std::min(bits / seconds, 2e9)), 1);
}

/// Of streams with the same bitrate the first one.
std::vector<size_t> streamsToKeep(const std::vector<StreamInfo>& streams) {
    std::vector<size_t> kept;
    for (size_t i = 0; i < streams.size(); ++i) {
        if (i == 0 || streams[i].bitrate > streams[kept.back()].bitrate)
            kept.push_back(i);
    }
    return kept;
}

} // namespace

Movie PresentationMovie::load(const std::string& url) {
    const auto open = [&] {
        return openPresentation(
            url, [this](const Resource& resource) { return document(resource); }, kLiveTimeout);
    };
    const std::vector<StreamInfo> streams = open()->tracks().front().streams;
    Movie movie;
    movie.name = withoutSecrets(url);
    for (const size_t stream : streamsToKeep(streams)) {
        const Pieces pieces = piecesOf(*open(), stream);
        const std::vector<uint64_t> sizes = sizesOf(pieces);
        if (movie.bitrates.empty())
            movie.segments.resize(pieces.size());
        if (pieces.size() != movie.segments.size() || pieces.empty())
            throw ToolError(
                url, "streams that are not cut alike: " + std::to_string(movie.segments.size()) +
                         " segments, and " + std::to_string(pieces.size()) + " in another stream");
        for (size_t i = 0; i < pieces.size(); ++i) {
            movie.segments[i].duration =
                std::chrono::microseconds(std::llround(pieces[i].seconds * 1e6));
            movie.segments[i].bytes.push_back(std::max<uint64_t>(sizes[i], 1));
        }
        movie.bitrates.push_back(streams[stream].bitrate);
    }
    if (movie.bitrates.front() <= 0)
        movie.bitrates.front() = measuredBitrate(movie.segments, 0);
    return movie;
}

Document PresentationMovie::document(const Resource& resource) {
    const std::string key =
        resource.url + " " + (resource.range ? rangeText(*resource.range) : std::string());
    const auto known = m_documents.find(key);
    if (known != m_documents.end())
        return known->second;
    CheckSource::Fetched fetched = m_source.fetch(resource);
    if (!fetched.answer.ok)
        throw ToolError(resource.url, fetched.answer.failure);
    Document document{std::move(fetched.bytes), fetched.answer.finalUrl};
    return m_documents.emplace(key, std::move(document)).first->second;
}

PresentationMovie::Pieces PresentationMovie::piecesOf(Presentation& presentation,
                                                      size_t stream) const {
    Pieces pieces;
    for (;;) {
        NextPiece next = presentation.next(0, stream);
        // Only what was loaded tells: a playlist of HLS comes with the first piece.
        if (next.kind == NextPiece::Kind::Wait || presentation.isLive())
            throw ToolError("live: only what has an end can be simulated");
        if (next.kind == NextPiece::Kind::End)
            return pieces;
        if (pieces.size() == kMaxPieces)
            throw ToolError(next.piece.media.resource.url, "more segments than can be handled");
        if (!next.piece.missing && next.piece.seconds > 0)
            pieces.push_back(std::move(next.piece));
    }
}

std::vector<uint64_t> PresentationMovie::sizesOf(const Pieces& pieces) {
    std::vector<Resource> asked;
    for (const MediaPiece& it : pieces) {
        if (!knowsSize(it.media.resource))
            asked.push_back(firstByteOf(it.media.resource));
    }
    m_source.expect(asked);
    std::vector<uint64_t> sizes;
    for (const MediaPiece& it : pieces)
        sizes.push_back(sizeOf(it.media.resource));
    return sizes;
}

uint64_t PresentationMovie::sizeOf(const Resource& resource) {
    if (knowsSize(resource))
        return *resource.range->length;
    const auto file = m_folder != nullptr ? m_folder->fileOf(resource.url) : std::nullopt;
    uint64_t size = 0;
    if (file) {
        std::error_code error;
        size = std::filesystem::file_size(*file, error);
        if (error)
            throw ToolError(*file, error.message());
    } else {
        size = askedSize(resource);
    }
    const uint64_t first = resource.range ? resource.range->first : 0;
    return size - std::min(first, size);
}

uint64_t PresentationMovie::askedSize(const Resource& resource) {
    const Answer answer = m_source.fetch(firstByteOf(resource)).answer;
    if (!answer.ok)
        throw ToolError(resource.url, answer.failure);
    auto size = answer.status == kPartialContent ? totalOf(answer.head.field("content-range"))
                                                 : std::nullopt;
    if (answer.status == kOk)
        size = parseUnsigned(answer.head.field("content-length"));
    return size ? *size : fetchedSize(resource);
}

uint64_t PresentationMovie::fetchedSize(const Resource& resource) {
    const Answer answer = m_source.fetch({resource.url, std::nullopt}).answer;
    if (!answer.ok)
        throw ToolError(resource.url, answer.failure);
    return answer.bytes;
}

} // namespace hastool

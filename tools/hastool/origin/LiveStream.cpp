#include "LiveStream.h"

#include <hastool/base/BlockSource.h>
#include <hastool/base/ToolError.h>
#include <hastool/media/FragmentShift.h>
#include <hastool/media/TsChunks.h>

#include <algorithm>

namespace hastool {
namespace {

constexpr uint64_t kMostChunks = 100;        // of a segment, for numbers that do not meet
constexpr uint64_t kMaxSegment = 256u << 20; // as much as a player takes

} // namespace

std::string LiveStream::read(const LoopSegment& segment) const {
    const BlockSource source = fileBlocks(segment.file.string());
    const ByteRange range = segment.range.value_or(ByteRange{0, std::nullopt});
    const uint64_t first = std::min(range.first, source.size);
    const uint64_t size = std::min(range.length.value_or(source.size), source.size - first);
    if (size > kMaxSegment)
        throw ToolError(segment.file.string(), "a segment of more than 256 MiB");
    std::string bytes(static_cast<size_t>(size), '\0');
    source.read(first, reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
    return bytes;
}

std::vector<MediaChunk> LiveStream::chunks(uint64_t number) const {
    const LoopSegment& segment = m_loop.at(number);
    std::string bytes = read(segment);
    if (m_media.isContinuous)
        shiftFragments(bytes, m_media.tracks,
                       static_cast<double>(m_loop.roundOf(number)) * m_loop.seconds() -
                           m_media.offset,
                       static_cast<uint32_t>(number * kMostChunks + 1));
    if (!isChunked())
        return {{std::move(bytes), segment.seconds, true}};
    if (m_media.tracks.empty())
        return cutTransportStream(bytes, m_media.chunkSeconds, segment.seconds);
    auto chunks = cutFragments(bytes, m_media.tracks, m_media.chunkSeconds);
    if (chunks.size() == 1)
        chunks[0].seconds = segment.seconds;
    return chunks;
}

std::vector<LiveStream::Part> LiveStream::parts(uint64_t number) const {
    const size_t index = m_loop.indexOf(number);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_parts[index].empty())
            return m_parts[index];
    }
    std::vector<Part> parts;
    for (const MediaChunk& it : chunks(number))
        parts.push_back({it.seconds, it.independent});
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_parts[index] = std::move(parts);
}

} // namespace hastool

#include "SourceMedia.h"

#include <hastool/formats/OpenPresentation.h>

#include <hastool/base/ByteSource.h>
#include <hastool/base/PercentCoding.h>
#include <hastool/base/ToolError.h>

#include <Hascommon/GURL.h>

#include <algorithm>

namespace hastool {
namespace {

constexpr char kBase[] = "http://folder"; // stands for the folder, as presentations need URLs

std::string part(const std::string& bytes, const std::optional<ByteRange>& range,
                 const std::string& name) {
    if (!range)
        return bytes;
    if (range->first > bytes.size())
        throw ToolError(name, "a range beyond its end");
    return bytes.substr(static_cast<size_t>(range->first),
                        static_cast<size_t>(range->length.value_or(bytes.size())));
}

} // namespace

SourceMedia::SourceMedia(const std::filesystem::path& folder, const std::string& manifest)
    : m_folder(folder)
    , m_url(std::string(kBase) + "/" + encodedPath(manifest)) {}

Document SourceMedia::read(const Resource& resource) const {
    const auto file = m_folder.find(percentDecoded(hascommon::GURL(resource.url).path()));
    if (!file)
        throw ToolError(resource.url, "no such file");
    std::string bytes;
    fileSource(file->string())([&](const unsigned char* data, size_t size) {
        bytes.append(reinterpret_cast<const char*>(data), size);
    });
    return {part(bytes, resource.range, file->string()), resource.url};
}

std::vector<std::string> SourceMedia::segments(const std::vector<TraceRow>& rows,
                                               bool isAudio) const {
    const auto presentation = openPresentation(
        m_url, [this](const Resource& resource) { return read(resource); },
        std::chrono::milliseconds(0));
    const size_t track = isAudio ? 1 : 0;
    std::vector<std::string> result;
    for (const TraceRow& row : rows) {
        if (row.isAudio != isAudio)
            continue;
        const NextPiece next = presentation->next(track, row.stream);
        if (next.kind != NextPiece::Kind::Piece)
            throw ToolError(m_url, "fewer segments than were played");
        if (!row.skipped)
            result.push_back(read(next.piece.media.resource).text);
    }
    return result;
}

} // namespace hastool

// A presentation as a movie.
#pragma once

#include "Movie.h"
#include <hastool/check/CheckSource.h>
#include <hastool/formats/Presentation.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace hastool {

class FolderSource;

/// Finds out what a recorded presentation's main track is made of: each segment's duration, and its
/// size in each stream. Audio beside the video is left out. Sizes are known from byte ranges and
/// indexes, or from a folder's files; servers are asked for the others by a request for the first
/// byte, whose answer tells the whole size. What an answer does not tell is fetched.
class PresentationMovie {
public:
    /// @param source  borrowed, as `folder`
    /// @param folder  is asked before the source; may be null
    PresentationMovie(CheckSource& source, const FolderSource* folder)
        : m_source(source)
        , m_folder(folder) {}

    /// @throws ToolError for a live presentation, for streams that are not cut alike, and for what
    ///         cannot be had
    Movie load(const std::string& url);

private:
    using Pieces = std::vector<MediaPiece>;

    Document document(const Resource& resource);
    Pieces piecesOf(Presentation& presentation, size_t stream) const;
    std::vector<uint64_t> sizesOf(const Pieces& pieces);
    uint64_t sizeOf(const Resource& resource);
    uint64_t askedSize(const Resource& resource);
    uint64_t fetchedSize(const Resource& resource);

    CheckSource& m_source;
    const FolderSource* const m_folder;
    std::map<std::string, Document> m_documents; ///< each stream asks for the same ones again
};

} // namespace hastool

#include "PlaylistLines.h"

namespace hastool {
namespace {

class Reader {
public:
    void read(CheckedDocument& document, bool isOptional) {
        if (document.lines || !document.answer.ok || (isOptional && m_held >= kMaxHeldLines))
            return;
        document.lines = std::make_shared<const HlsLines>(document.text);
        m_held += document.lines->lines().size();
    }

private:
    size_t m_held = 0;
};

} // namespace

void readPlaylistLines(Evidence& evidence) {
    if (evidence.format != CheckedFormat::Hls)
        return;
    Reader reader;
    for (CheckedDocument& document : evidence.documents)
        reader.read(document, false);
    for (CheckedRendition& rendition : evidence.renditions) {
        if (rendition.playlists.empty())
            continue;
        reader.read(rendition.playlists.front(), false);
        reader.read(rendition.playlists.back(), false);
    }
    for (CheckedRendition& rendition : evidence.renditions) {
        for (CheckedPlaylist& playlist : rendition.playlists)
            reader.read(playlist, true);
    }
}

} // namespace hastool

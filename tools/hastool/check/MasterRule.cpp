#include "MasterRule.h"

#include <algorithm>

namespace hastool {

MasterLines readMasterLines(const HlsLines& lines) {
    MasterLines master;
    MasterEntry* open = nullptr; // a variant that waits for its URI
    for (const HlsLine& line : lines.lines()) {
        if (line.kind == HlsLine::Kind::Uri && open != nullptr) {
            open->uri = &line;
            open = nullptr;
        }
        std::vector<MasterEntry>* const list = line.tag == "EXT-X-STREAM-INF" ? &master.variants
                                               : line.tag == "EXT-X-MEDIA"    ? &master.media
                                               : line.tag == "EXT-X-I-FRAME-STREAM-INF"
                                                   ? &master.iFrames
                                                   : nullptr;
        if (list == nullptr)
            continue;
        MasterEntry entry;
        entry.line = &line;
        entry.list = readHlsAttributeLine(line.value);
        if (list == &master.variants)
            open = nullptr;
        if (entry.list.isBroken)
            continue;
        list->push_back(std::move(entry));
        if (list == &master.variants)
            open = &list->back();
    }
    return master;
}

bool namesVideo(std::string_view codecs) {
    constexpr std::string_view kVideo[] = {"avc1", "avc3", "hvc1", "hev1", "dvh1", "dvhe", "dva1",
                                           "dvav", "vp08", "vp09", "av01", "mp4v", "vvc1", "vvi1"};
    return std::any_of(std::begin(kVideo), std::end(kVideo), [&](std::string_view it) {
        return codecs.find(it) != std::string_view::npos;
    });
}

void MasterRule::look(const SeenPlaylist& playlist, PlaylistFindings& findings) const {
    lookAt(playlist, readMasterLines(*playlist.lines), findings);
}

} // namespace hastool

#include "MasterRule.h"

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
        if (entry.list.isBroken) {
            master.isWhole = false;
            continue;
        }
        list->push_back(std::move(entry));
        if (list == &master.variants)
            open = &list->back();
    }
    return master;
}

void MasterRule::look(const SeenPlaylist& playlist, PlaylistFindings& findings) const {
    lookAt(playlist, readMasterLines(*playlist.lines), findings);
}

} // namespace hastool

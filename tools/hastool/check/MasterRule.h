// Rules that look at master playlists of HLS.
#pragma once

#include "PlaylistRule.h"

#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// An #EXT-X-STREAM-INF, #EXT-X-I-FRAME-STREAM-INF or #EXT-X-MEDIA with its attributes.
struct MasterEntry {
    const HlsLine* line = nullptr;
    const HlsLine* uri = nullptr; ///< of a variant; null where there is none
    HlsAttributeLine list;

    std::string get(std::string_view name) const { return std::string(list.get(name)); }
    bool has(std::string_view name) const { return list.has(name); }
};

/// What a master playlist lists. Tags whose attributes cannot be read are left out.
struct MasterLines {
    bool isWhole = true; ///< none was left out
    std::vector<MasterEntry> variants;
    std::vector<MasterEntry> iFrames;
    std::vector<MasterEntry> media;
};

MasterLines readMasterLines(const HlsLines& lines);

/// A rule that looks at a master playlist by what it lists.
class MasterRule : public PlaylistRule {
public:
    MasterRule()
        : PlaylistRule(Only::Master) {}

private:
    void look(const SeenPlaylist& playlist, PlaylistFindings& findings) const final;
    virtual void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                        PlaylistFindings& findings) const = 0;
};

} // namespace hastool

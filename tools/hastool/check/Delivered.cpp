#include "Delivered.h"

namespace hastool {
namespace {

void addRendition(const CheckedRendition& rendition, std::vector<Delivered>& all) {
    const auto add = [&](Delivered::Kind kind, const Answer& answer) -> Delivered& {
        Delivered& added = all.emplace_back();
        added.kind = kind;
        added.answer = &answer;
        added.rendition = &rendition;
        return added;
    };
    for (const CheckedPlaylist& it : rendition.playlists) {
        Delivered& added = add(Delivered::Kind::Playlist, it.answer);
        added.document = &it;
        added.playlist = &it.playlist;
    }
    for (const CheckedInit& it : rendition.inits) {
        if (it.isFetched)
            add(Delivered::Kind::Init, it.answer).init = &it;
    }
    for (const CheckedSegment& it : rendition.segments) {
        if (it.isFetched)
            add(Delivered::Kind::Segment, it.answer).segment = &it;
    }
}

} // namespace

std::vector<Delivered> deliveredIn(const Evidence& evidence) {
    std::vector<Delivered> all;
    const bool isHls = evidence.format == CheckedFormat::Hls;
    const auto kind = isHls ? Delivered::Kind::Playlist : Delivered::Kind::Manifest;
    for (const CheckedDocument& it : evidence.documents) {
        Delivered& added = all.emplace_back();
        added.kind = kind;
        added.answer = &it.answer;
        added.document = &it;
    }
    for (const CheckedRendition& it : evidence.renditions)
        addRendition(it, all);
    for (const Answer& it : evidence.keys) {
        Delivered& added = all.emplace_back();
        added.kind = Delivered::Kind::Key;
        added.answer = &it;
    }
    return all;
}

const std::string& Delivered::url() const {
    return answer->finalUrl.empty() ? answer->resource.url : answer->finalUrl;
}

FindingPlace Delivered::place() const {
    return {rendition != nullptr ? rendition->name : "", segment != nullptr ? segment->name : "",
            url()};
}

const char* Delivered::name() const {
    switch (kind) {
    case Kind::Manifest:
        return "a manifest";
    case Kind::Playlist:
        return "a playlist";
    case Kind::Init:
        return "an initialisation";
    case Kind::Key:
        return "a key";
    default:
        return "a segment";
    }
}

} // namespace hastool

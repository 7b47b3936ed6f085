#include "DashPieces.h"

#include "DashSelection.h"
#include "DashUrls.h"
#include <hastool/base/PsshText.h>

#include <utility>

namespace hastool {
namespace {

/// The place of a representation among all of its period.
int numberOf(const DashPeriod& period, const DashRepresentation& representation) {
    int number = 0;
    for (const DashAdaptationSet& set : period.sets) {
        for (const DashRepresentation& it : set.representations) {
            if (&it == &representation)
                return number;
            ++number;
        }
    }
    return -1;
}

std::shared_ptr<const Protection> protectionOf(const DashManifest& manifest, const DashFound& found,
                                               bool isAudio) {
    const DashRepresentation& representation = *found.representation;
    if (representation.protections.empty())
        return nullptr;
    auto result = std::make_shared<Protection>();
    result->period = static_cast<int>(found.period);
    result->representation = numberOf(manifest.periods[found.period], representation);
    result->isAudio = isAudio;
    result->isSeparate = !isMultiplexed(representation);
    for (const DashProtection& it : representation.protections) {
        std::string pssh = it.pssh.empty() ? it.pro : psshDataText(it.pssh).value_or("");
        result->descriptors.push_back({it.schemeId, it.value, it.defaultKid, std::move(pssh)});
    }
    return result;
}

} // namespace

MediaPiece dashPiece(const DashManifest& manifest, const DashFound& found, bool isAudio,
                     const std::string& url) {
    const DashUrls urls(*found.representation, url);
    MediaPiece piece;
    piece.media.resource = urls.media(found.segment);
    if (auto bytes = urls.inlineInit())
        piece.makeInit = [bytes = std::move(*bytes)](std::string_view) { return bytes; };
    else if (const auto init = urls.init())
        piece.init = MediaPart{*init, std::nullopt};
    piece.index = found.segment.number;
    piece.start = found.segment.start;
    piece.seconds = found.segment.seconds;
    const DashAddressing& addressing = found.representation->addressing;
    piece.timeOffset =
        manifest.periods[found.period].start -
        static_cast<double>(addressing.timeOffset) / static_cast<double>(addressing.timescale);
    piece.protection = protectionOf(manifest, found, isAudio);
    return piece;
}

} // namespace hastool

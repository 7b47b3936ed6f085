#include "InfoJson.h"

#include <hastool/base/KnownJson.h>
#include <hastool/base/ShownUrl.h>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

ordered_json shown(const std::vector<std::string>& lines) {
    ordered_json result = ordered_json::array();
    for (const std::string& line : lines)
        result.push_back(withoutSecrets(line));
    return result;
}

ordered_json protectionJson(const std::vector<InfoProtection>& protections) {
    ordered_json result = ordered_json::array();
    for (const InfoProtection& it : protections)
        result.push_back({{"system", it.system},
                          {"scheme", it.scheme},
                          {"value", it.value},
                          {"key_ids", it.keyIds}});
    return result;
}

ordered_json segmentsJson(const std::optional<InfoLengths>& lengths) {
    if (!lengths)
        return nullptr;
    const bool hasLengths = lengths->longest > 0;
    return {{"count", lengths->count},
            {"shortest_s", hasLengths ? ordered_json(lengths->shortest) : ordered_json()},
            {"mean_s", hasLengths ? ordered_json(lengths->mean()) : ordered_json()},
            {"longest_s", hasLengths ? ordered_json(lengths->longest) : ordered_json()}};
}

ordered_json streamJson(const InfoStream& stream) {
    return {{"id", stream.id},
            {"bitrate_bps", knownJson(stream.bitrate)},
            {"average_bitrate_bps", knownJson(stream.averageBitrate)},
            {"codecs", stream.codecs},
            {"mime_type", stream.mimeType},
            {"width", knownJson(stream.width)},
            {"height", knownJson(stream.height)},
            {"frame_rate", knownJson(stream.frameRate)},
            {"channels", knownJson(stream.channels)},
            {"sampling_rate_hz", knownJson(stream.samplingRate)},
            {"audio_group", stream.audioGroup},
            {"segments", segmentsJson(stream.segments)},
            {"error", withoutSecrets(stream.error)}};
}

ordered_json trackJson(const InfoTrack& track) {
    ordered_json streams = ordered_json::array();
    for (const InfoStream& stream : track.streams)
        streams.push_back(streamJson(stream));
    return {{"type", track.kind},           {"id", track.id},
            {"group", track.group},         {"name", track.name},
            {"language", track.language},   {"roles", track.roles},
            {"default", track.isDefault},   {"forced", track.isForced},
            {"trick_mode", track.isTrick},  {"protection", protectionJson(track.protections)},
            {"streams", std::move(streams)}};
}

ordered_json periodJson(const InfoPeriod& period) {
    ordered_json tracks = ordered_json::array();
    for (const InfoTrack& track : period.tracks)
        tracks.push_back(trackJson(track));
    return {{"id", period.id},
            {"start_s", period.start},
            {"duration_s", knownJson(period.duration)},
            {"tracks", std::move(tracks)}};
}

} // namespace

ordered_json toJson(const PresentationInfo& info) {
    ordered_json periods = ordered_json::array();
    for (const InfoPeriod& period : info.periods)
        periods.push_back(periodJson(period));
    return {{"url", withoutSecrets(info.url)},
            {"format", info.format},
            {"live", info.isLive ? ordered_json(*info.isLive) : ordered_json()},
            {"duration_s", knownJson(info.duration)},
            {"time_shift_s", knownJson(info.timeShift)},
            {"protection", protectionJson(info.protections)},
            {"periods", std::move(periods)},
            {"warnings", shown(info.warnings)},
            {"errors", shown(info.errors)},
            {"complete", info.failures() == 0}};
}

} // namespace hastool

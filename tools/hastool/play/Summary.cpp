#include "Summary.h"

#include <hastool/base/ShownUrl.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

__attribute__((format(printf, 1, 2))) std::string line(const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return {text, std::min(static_cast<size_t>(length), sizeof text - 1)};
}

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

std::string resolutions(const std::vector<PlayedRendition>& renditions) {
    std::string text;
    for (const PlayedRendition& it : renditions) {
        if (!it.resolution.empty())
            text += (text.empty() ? "" : ", ") + it.resolution;
    }
    return text;
}

nlohmann::ordered_json toJson(const std::vector<PlayedRendition>& renditions) {
    auto list = nlohmann::ordered_json::array();
    for (const PlayedRendition& it : renditions)
        list.push_back(
            {{"stream", it.stream}, {"bitrate_bps", it.bitrate}, {"resolution", it.resolution}});
    return list;
}

/// Null for 0, which stands for a bandwidth that was never measured.
nlohmann::ordered_json measured(unsigned bandwidth) {
    return bandwidth == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(bandwidth);
}

} // namespace

std::string toText(const Summary& s) {
    std::string text;
    text +=
        line("played        %.1f s in %.1f s%s\n", s.played, s.wallTime, s.live ? ", live" : "");
    text += line("segments      %llu, %.2f MB, %llu skipped\n",
                 static_cast<unsigned long long>(s.segments), static_cast<double>(s.bytes) / 1e6,
                 static_cast<unsigned long long>(s.skipped));
    text += line("mean bitrate  %.0f kbit/s over %zu stream%s\n", s.meanBitrate / 1000, s.streams,
                 s.streams == 1 ? "" : "s");
    text += s.bandwidth == 0
                ? "bandwidth     not measured\n"
                : line("bandwidth     %.0f kbit/s measured last\n", s.bandwidth / 1000.0);
    text += line("switches      %d up, %d down\n", s.switchesUp, s.switchesDown);
    text +=
        line("stalls        %d, %.1f s; %.1f s to start\n", s.stalls, s.stallTime, s.startupTime);
    if (s.givenUp > 0)
        text += line("given up      %llu transfer%s, %.2f MB wasted\n",
                     static_cast<unsigned long long>(s.givenUp), s.givenUp == 1 ? "" : "s",
                     static_cast<double>(s.wasted) / 1e6);
    if (s.liveDistance > 0)
        text += line("live edge     %.1f s behind on average\n", s.liveDistance);
    text += line("downloads     %llu, %llu %s\n", static_cast<unsigned long long>(s.downloads),
                 static_cast<unsigned long long>(s.retries), s.retries == 1 ? "retry" : "retries");
    if (const std::string sizes = resolutions(s.renditions); !sizes.empty())
        text += "resolutions   " + sizes + "\n";
    if (s.subtitles + s.subtitlesSkipped > 0)
        text += line("subtitles     %llu segments, %llu skipped\n",
                     static_cast<unsigned long long>(s.subtitles),
                     static_cast<unsigned long long>(s.subtitlesSkipped));
    if (!s.output.empty())
        text += "output        " + s.output + "\n";
    if (!s.subtitleOutput.empty())
        text += "              " + s.subtitleOutput + "\n";
    if (!s.trace.empty())
        text += "trace         " + s.trace + "\n";
    return text;
}

nlohmann::ordered_json toJson(const Summary& s) {
    return {
        {"url", withoutSecrets(s.url)},
        {"live", s.live},
        {"streams", s.streams},
        {"played_s", rounded(s.played)},
        {"wall_s", rounded(s.wallTime)},
        {"startup_s", rounded(s.startupTime)},
        {"segments", s.segments},
        {"skipped", s.skipped},
        {"bytes", s.bytes},
        {"mean_bitrate_bps", std::round(s.meanBitrate)},
        {"switches_up", s.switchesUp},
        {"switches_down", s.switchesDown},
        {"stalls", s.stalls},
        {"stall_s", rounded(s.stallTime)},
        {"live_distance_s", s.liveDistance > 0 ? nlohmann::ordered_json(rounded(s.liveDistance))
                                               : nlohmann::ordered_json()},
        {"given_up", s.givenUp},
        {"wasted_bytes", s.wasted},
        {"downloads", s.downloads},
        {"retries", s.retries},
        {"bandwidth_bps", measured(s.bandwidth)},
        {"renditions", toJson(s.renditions)},
        {"subtitle_segments", s.subtitles},
        {"subtitles_skipped", s.subtitlesSkipped},
        {"output", s.output},
        {"subtitle_output", s.subtitleOutput},
        {"trace", s.trace},
    };
}

} // namespace hastool

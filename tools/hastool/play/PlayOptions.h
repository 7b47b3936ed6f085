// What to play and how.
#pragma once

#include <hastool/formats/RenditionChoice.h>
#include <hastool/net/Downloader.h>

#include <Hasnet/bitrateParam_t.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

/// What to play and how.
struct PlayOptions {
    std::string url;
    EngineOptions engine;
    bool fast = false;             ///< play as quickly as media comes in
    std::string output;            ///< the media file to write; empty to write none
    RenditionChoice renditions;    ///< which are played
    std::string trace;             ///< the trace to write; empty to write none
    double duration = 0;           ///< stop after so many seconds of media; 0 for all
    uint64_t maxSegments = 0;      ///< stop after so many segments; 0 for all
    std::string rule = "adaptive"; ///< what chooses the streams, see makeStreamRule()
    int startBitrate = 0;          ///< begin with the best stream up to this; 0 for the lowest
    int audioBitrate = 0;          ///< play the best audio stream up to this; 0 for the lowest
    std::vector<std::pair<int, int>> limits;       ///< allowed bitrates, inclusive
    std::vector<hascommon::bitrateParam_t> groups; ///< see IBitrateSwitcher
    int marginKbps = 0;     ///< bandwidth kept free; 0 for the switcher's default
    int upTimer = 0;        ///< seconds before a change to a higher group
    double pauseAt = -1;    ///< pause as a viewer would at this position; below 0 never
    double pauseFor = 0;    ///< seconds
    bool lowLatency = true; ///< read a live presentation at low latency where it can be
    std::chrono::milliseconds bufferGoal{30000};
    std::chrono::milliseconds liveTimeout{60000};
};

} // namespace hastool

// What a presentation holds, whatever its format.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

/// The segments of a stream, in seconds.
struct InfoLengths {
    uint64_t count = 0;
    double shortest = 0;
    double longest = 0; ///< 0 where only their number is known
    double sum = 0;

    double mean() const { return count == 0 ? 0 : sum / static_cast<double>(count); }
    /// Takes one more segment in.
    void add(double seconds);
};

/// A content protection system, or a way of encryption.
struct InfoProtection {
    std::string system; ///< its name; one that is not known as written
    std::string scheme; ///< as written: a URI, a system id or a key format; may be empty
    std::string value;  ///< as written: the scheme of encryption; may be empty
    std::vector<std::string> keyIds;

    bool operator==(const InfoProtection& other) const {
        return system == other.system && scheme == other.scheme && value == other.value &&
               keyIds == other.keyIds;
    }
};

/// One quality of a track.
struct InfoStream {
    std::string id;
    uint64_t bitrate = 0;        ///< bits per second; 0 when not known, as all numbers here
    uint64_t averageBitrate = 0; ///< where the manifest tells it beside the highest
    std::string codecs;
    std::string mimeType;
    int width = 0;
    int height = 0;
    double frameRate = 0;
    int channels = 0;
    int samplingRate = 0;
    std::string audioGroup; ///< of HLS, where its audio comes in playlists of its own
    std::optional<InfoLengths> segments;
    std::string error; ///< why its segments could not be read; empty when all is well
};

/// Streams of the same content.
struct InfoTrack {
    /// "video", "audio", "subtitles", "captions", "image", "media" for what may hold several, or
    /// what else a manifest calls it.
    std::string kind;
    std::string id;
    std::string group;
    std::string name;
    std::string language;
    std::vector<std::string> roles;
    bool isDefault = false;
    bool isForced = false;
    bool isTrick = false; ///< for fast forward only
    std::vector<InfoStream> streams;
    std::vector<InfoProtection> protections;
};

struct InfoPeriod {
    std::string id;
    double start = 0;               ///< seconds
    std::optional<double> duration; ///< seconds
    std::vector<InfoTrack> tracks;
};

struct PresentationInfo {
    std::string url;    ///< after all redirects
    std::string format; ///< "HLS", "DASH" or "Smooth"
    std::optional<bool> isLive;
    std::optional<double> duration;  ///< seconds
    std::optional<double> timeShift; ///< seconds of a live one that are kept
    std::vector<InfoPeriod> periods;
    std::vector<InfoProtection> protections; ///< said for all of it
    std::vector<std::string> warnings;
    std::vector<std::string> errors; ///< what could not be read, beside the streams with an error

    /// How many things could not be read.
    size_t failures() const;
};

/// Adds what a protection says to those that are there; one of the same kind gets its key ids.
void addProtection(std::vector<InfoProtection>& all, const InfoProtection& next);

/// Puts the streams of a track into ascending order of bitrate.
void sortStreams(InfoTrack& track);

} // namespace hastool

// What chooses the streams of a play.
#pragma once

#include <Hasnet/IBandwidthChecker.h>
#include <Hasnet/bitrateParam_t.h>

#include <chrono>
#include <cstdint>
#include <utility>
#include <vector>

namespace hastool {

/// Chooses the stream of each segment of the main track, and watches their transfers.
///
/// For each segment: choose(), but for the first one and where there is but one stream, begun(),
/// progress() from time to time, then done(), but for one that could not be had. Where
/// progress() gives the transfer up, begun() follows for the stream that it answered, without
/// choose(). Streams are numbers in the ascending list of those that are allowed. What goes on
/// while transfers are held, or the viewer pauses, is no time of a StreamRule::Moment.
class StreamRule {
public:
    using Time = std::chrono::microseconds;

    /// What holds for a whole play.
    struct Setting {
        std::vector<int> bitrates; ///< of the streams, bits per second, ascending
        int audioBitrate = 0;      ///< of the audio that comes on top, bits per second
        int marginKbps = 0;        ///< see IBitrateSwitcher
        int upTimer = 0;           ///< seconds
        std::vector<hascommon::bitrateParam_t> groups;
        std::vector<std::pair<int, int>> limits;
        Time bufferGoal{0}; ///< what the player fills up to
        /// The measurement of all traffic, borrowed.
        hascommon::IBandwidthChecker* checker = nullptr;
    };
    /// The time and the media in the buffer at a call.
    struct Moment {
        Time now{0};
        Time buffer{0};
    };
    /// The segment that a stream is to be chosen for.
    struct NextSegment {
        Time duration{0};            ///< 0 where it is not known
        std::vector<uint64_t> bytes; ///< of each stream; empty where they are not known
        uint64_t index = 0;          ///< from the first one
        uint64_t left = 0;           ///< segments from this one to the end; 0 where not known
    };
    /// A segment that has come.
    struct Arrived {
        uint64_t bytes = 0;
        Time latency{0};  ///< from the request to the first byte
        Time duration{0}; ///< of its media
    };

    static constexpr int kStay = -1;

    virtual ~StreamRule() = default;
    /// To be called before everything else.
    virtual void configure(const Setting& setting) = 0;
    /// @param current  the present stream
    /// @return the stream of the next segment, kStay for the present one
    virtual int choose(int current, const NextSegment& next, const Moment& moment) = 0;
    /// Whether it is to choose while the buffer is full: the segment is asked for then, and its
    /// transfer held. Else the choice comes when there is room.
    virtual bool choosesWhenFull() const { return false; }
    /// How long the rule wants to wait before it asks for the segment that it chose last, by
    /// choose() or progress().
    virtual Time pause() const { return Time(0); }
    /// A transfer begins. @param bytes  of the segment; 0 where they are not known
    virtual void begun(int stream, uint64_t bytes, const Moment& moment) = 0;
    /// @param received  bytes of the segment so far
    /// @return kStay to go on, else the stream that the segment is to be fetched of instead, from
    ///         its begin
    virtual int progress(uint64_t received, const Moment& moment) = 0;
    /// The segment is in the buffer, which the moment counts in.
    virtual void done(const Arrived& arrived, const Moment& moment) = 0;
    /// Nothing was fetched for so long, as the buffer was full.
    virtual void held(Time time) { static_cast<void>(time); }
    /// The buffer has a new segment. @param bytes  all that it holds
    virtual void buffered(uint64_t bytes, const Moment& moment) {
        static_cast<void>(bytes);
        static_cast<void>(moment);
    }
};

} // namespace hastool

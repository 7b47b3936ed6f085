// One stream of a transport stream.
#pragma once

#include "AdtsFrames.h"
#include "PesTimes.h"
#include "PictureHead.h"
#include "StreamFacts.h"
#include "TransportFacts.h"
#include "TsUnit.h"

#include <cstdint>
#include <optional>

namespace hastool {

/// Collects the times of the PES packets of one PID, whether pictures are key frames, and what
/// frames of audio say.
class TransportStreamPid {
public:
    /// @param type  stream type by the PMT
    TransportStreamPid(int pid, unsigned type);

    /// @param facts  receives counts. @param unit  sound and in the clear
    void push(const TsUnit& unit, PidFacts& facts);
    /// What is known of the stream. @return nothing when no PES packet with a time has come
    std::optional<StreamFacts> finish();

private:
    void beginPes(const TsUnit& unit, PidFacts& facts);
    void takeTimes(const PesTimes& times, PidFacts& facts);
    void endPicture();
    void takePayload(const unsigned char* data, size_t size);
    void tellLength(StreamFacts& facts) const;

    unsigned m_type;
    StreamFacts m_facts;
    AdtsFrames m_adts;
    PictureHead m_picture;
    bool m_isVideo = false;  ///< whose key frames can be told
    bool m_isInside = false; ///< of the payload of a PES packet
    bool m_isAccess = false; ///< the stream says that decoding can begin with this picture
    LongClock m_clock;
    std::optional<int64_t> m_first; ///< of the times of presentation
    std::optional<int64_t> m_last;
    std::optional<int64_t> m_firstDecoded;
    std::optional<int64_t> m_lastDecoded;
    uint64_t m_units = 0;
};

/// What a stream type is of; nothing for sections and the like.
std::optional<StreamFacts::Kind> kindOfStreamType(unsigned type);

} // namespace hastool

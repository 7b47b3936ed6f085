// One packet of a transport stream as it lies in a file.
#pragma once

#include <Hasutil/CArray.h>

#include <algorithm>
#include <cstddef>

namespace hastool {

constexpr unsigned char kTsSync = 0x47;
constexpr unsigned int kTsPacketSize = 188;
constexpr unsigned int kTimecodeSize = 4; // what stands before each packet of an M2TS file
constexpr int kNullPid = 0x1FFF;

using TsPacket = hascommon::CArray<unsigned char, kTsPacketSize>;

/// A packet whose first byte is the sync byte; its other fields are as they came.
struct TsUnit {
    hascommon::CArray<unsigned char, kTimecodeSize> timecode{};
    bool hasTimecode = false;
    TsPacket packet{};

    int pid() const { return (packet[1] & 0x1F) << 8 | packet[2]; }
    bool hasError() const { return (packet[1] & 0x80) != 0; }
    bool isUnitStart() const { return (packet[1] & 0x40) != 0; }
    unsigned int scrambling() const { return packet[3] >> 6; }
    int counter() const { return packet[3] & 0x0F; }
    bool hasAdaptation() const { return (packet[3] & 0x20) != 0; }
    bool hasPayload() const { return (packet[3] & 0x10) != 0; }

    /// Bytes of the adaptation field behind its length byte, never more than the packet holds.
    unsigned int adaptationSize() const {
        return hasAdaptation() ? std::min<unsigned int>(packet[4], kTsPacketSize - 5) : 0;
    }
    /// The adaptation field's flags; 0 where there are none.
    unsigned int adaptationFlags() const { return adaptationSize() > 0 ? packet[5] : 0; }
    bool isDiscontinuous() const { return (adaptationFlags() & 0x80) != 0; }

    const unsigned char* payload() const { return packet.data() + payloadAt(); }
    size_t payloadSize() const { return hasPayload() ? kTsPacketSize - payloadAt() : 0; }

private:
    unsigned int payloadAt() const { return hasAdaptation() ? 5 + adaptationSize() : 4; }
};

} // namespace hastool

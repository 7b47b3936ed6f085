// The elementary stream inside the packets of one PID.
#pragma once

#include "TsUnit.h"
#include <hastool/base/ByteSource.h>

#include <vector>

namespace hastool {

/// Takes the headers off PES packets (ISO/IEC 13818-1, clause 2.4.3.6), also those that span
/// packets of the transport stream. Payload before the first PES packet, PES packets that are not
/// of video, and scrambled payload are dropped.
class PesPayload {
public:
    explicit PesPayload(PieceSink sink)
        : m_sink(std::move(sink)) {}

    /// @param unit  of the stream's PID
    void push(const TsUnit& unit);

private:
    enum class State { Outside, Header, Payload };

    /// @return how many of the bytes belong to the header
    size_t takeHeader(const unsigned char* data, size_t size);

    PieceSink m_sink;
    State m_state = State::Outside;
    std::vector<unsigned char> m_header;
};

} // namespace hastool

// A body that is sent at the pace at which it is made.
#pragma once

#include "FaultRules.h"
#include "LiveTime.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// A body of pieces, each of which is there from a moment on, with a fault within it if there is to
/// be one.
class ChunkedSegment {
public:
    struct Piece {
        std::string bytes;
        double due = 0; ///< seconds since the epoch
    };

    /// @param time  borrowed
    ChunkedSegment(std::vector<Piece> pieces, const std::optional<Fault>& fault, LiveTime& time);

    /// How long the body is.
    uint64_t size() const { return m_size; }
    /// Whether all of it was there when the request came, so that its length can be announced.
    bool isComplete() const { return m_isComplete; }
    /// The next bytes, valid until the next call; waits until they are due. Empty at the end of the
    /// body, and where the answer ends earlier.
    std::string_view next();
    /// Whether the whole body was handed over.
    bool isWhole() const { return m_sent == m_size; }
    /// Whether the answer ended because the connection is to be reset.
    bool isReset() const { return m_isReset; }

private:
    bool meetFault();

    std::vector<Piece> m_pieces;
    std::optional<Fault> m_fault;
    LiveTime* m_time;
    uint64_t m_size = 0;
    uint64_t m_faultAt = 0;
    bool m_isComplete = false;
    uint64_t m_sent = 0;
    size_t m_piece = 0;
    size_t m_place = 0; ///< in that piece
    bool m_isReset = false;
};

} // namespace hastool

// What the switcher was asked before a piece.
#pragma once

#include "TraceRow.h"

#include <cstddef>
#include <optional>

namespace hastool {

/// What the switcher was asked before a piece, and its answer, as the trace tells it.
struct StreamChoice {
    int answer = TraceRow::kNotAsked; ///< a stream, or -1 to stay
    unsigned mean = 0;                ///< the window's mean that it went by, bits per second
    unsigned first = 0;               ///< the first sample, bits per second
    long long buffer = 0;             ///< milliseconds of media
    std::optional<size_t> stream;     ///< to go on with; nothing where the answer is no stream
};

} // namespace hastool

// Where the bytes of one call go.
#pragma once

#include <Hasutil/detail/BoxView.h>

namespace hascommon::detail {

/// The caller's output, and whose segment it is.
struct OutputArea {
    int period;
    int representation;
    unsigned char* out;
    /// The bytes written so far, as the caller is told.
    unsigned int& used;

    /// Room for `size` bytes; null when the call's result could not count them.
    unsigned char* take(unsigned long long size) {
        if (size > static_cast<unsigned int>(INT_MAX) - used)
            return nullptr;
        unsigned char* const at = out + used;
        used += static_cast<unsigned int>(size);
        return at;
    }
    bool copy(const BoxView& box) {
        unsigned char* const at = take(box.size());
        return at != nullptr && ByteReader(box.data(), box.size()).copy(at, box.size());
    }
};

} // namespace hascommon::detail

// The box that carries a DRM system's own data (ISO/IEC 23001-7, clause 8.1).
#pragma once

#include <Hasutil/detail/BoxView.h>

#include <string>

namespace hascommon::detail {

constexpr size_t kSystemId = 16;
constexpr size_t kSystemIdAt = 12;
/// All of a box of version 0 in front of its data.
constexpr size_t kPsshHead = 32;

/// What a `pssh` box says. The list of key ids that version 1 has is passed over.
struct PsshBox {
    /// 16 bytes.
    std::string systemId;
    std::string data;

    /// Bytes that write() writes.
    unsigned long long size() const { return kPsshHead + data.size(); }
    /// Writes a box of version 0.
    void write(unsigned char* out) const;
};

/// Where a `pssh` box has its data.
struct PsshData {
    size_t at = 0;
    size_t size = 0;
};

/// @return false for a box that does not hold what it announces
bool findPsshData(const BoxView& box, PsshData& found);

} // namespace hascommon::detail

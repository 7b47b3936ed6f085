// The box that carries a DRM system's own data (ISO/IEC 23001-7, clause 8.1).
#pragma once

#include <Hasutil/CENCFormat.h>
#include <Hasutil/detail/BoxView.h>

#include <string>

namespace hascommon::detail {

constexpr size_t kSystemId = 16;
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

/// Keeps the data and the system id of a `pssh` box that has data.
/// @return the bytes read; -1 for a box that does not hold what it announces
int keepPssh(const BoxView& box, CENC_RECORDS& records);

} // namespace hascommon::detail

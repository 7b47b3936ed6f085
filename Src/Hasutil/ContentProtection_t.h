/// @file
/// One ContentProtection descriptor of a DASH manifest.
#pragma once

#include <Hascommon/Export.h>

#include <memory>
#include <string>

namespace dashengine {

/// A descriptor (ISO/IEC 23009-1) as the DASH engine fills it. The library reads the scheme id and
/// the two texts of PSSH data; all the other members it carries along for the engine.
///
/// **Ownership.** A descriptor owns its byte array and releases it with `delete[]`. Copies are
/// deep: each has an array of its own. Two descriptors never share anything.
///
/// The order of the members is part of the interface, their names are for reading.
struct HAS_API ContentProtection_t {
    /// Empty texts and no bytes.
    ContentProtection_t();
    ~ContentProtection_t();
    /// Copies `dataSize` bytes of the array; where it is null, or the size below 1, the copy has no
    /// array.
    ContentProtection_t(const ContentProtection_t& other);
    /// The same. An assignment that fails for want of memory changes nothing.
    ContentProtection_t& operator=(const ContentProtection_t& other);
    /// Takes everything over; the source is left valid and without an array.
    ContentProtection_t(ContentProtection_t&& other) noexcept;
    ContentProtection_t& operator=(ContentProtection_t&& other) noexcept;

    /// The schemeIdUri attribute, for instance "urn:uuid:" and a DRM system's UUID.
    std::string schemeIdUri;
    /// The value attribute.
    std::string value;
    /// Bytes that belong to the scheme, from `new[]`; null where the descriptor has no bytes.
    std::unique_ptr<unsigned char[]> data;
    /// How many bytes `data` holds.
    int dataSize = 0;
    /// The default key id, as the manifest writes it.
    std::string defaultKid;
    /// The robustness attribute.
    std::string robustness;
    /// The reference (xlink) to a remote description.
    std::string reference;
    /// Where a licence is to be had.
    std::string licenseUrl;
    /// Where the system's certificate is to be had.
    std::string certificateUrl;
    /// The system's own header object.
    std::string headerObject;
    /// The data of a `pssh` box in base64, without the box around it; preferred to the next.
    std::string pssh;
    /// The same, used where `pssh` is empty.
    std::string alternatePssh;
};

} // namespace dashengine

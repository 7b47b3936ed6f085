#include <Hasutil/ContentProtection_t.h>

#include <algorithm>
#include <cstddef>

namespace {

std::unique_ptr<unsigned char[]> copyOf(const unsigned char* bytes, int size) {
    if (bytes == nullptr || size < 1)
        return nullptr;
    const auto count = static_cast<size_t>(size);
    std::unique_ptr<unsigned char[]> copy(new unsigned char[count]);
    std::copy_n(bytes, count, copy.get());
    return copy;
}

} // namespace

namespace dashengine {

ContentProtection_t::ContentProtection_t() = default;

ContentProtection_t::~ContentProtection_t() = default;

ContentProtection_t::ContentProtection_t(const ContentProtection_t& other)
    : schemeIdUri(other.schemeIdUri)
    , value(other.value)
    , data(copyOf(other.data.get(), other.dataSize))
    , dataSize(other.dataSize)
    , defaultKid(other.defaultKid)
    , robustness(other.robustness)
    , reference(other.reference)
    , licenseUrl(other.licenseUrl)
    , certificateUrl(other.certificateUrl)
    , headerObject(other.headerObject)
    , pssh(other.pssh)
    , alternatePssh(other.alternatePssh) {}

ContentProtection_t& ContentProtection_t::operator=(const ContentProtection_t& other) {
    if (this != &other)
        *this = ContentProtection_t(other);
    return *this;
}

ContentProtection_t::ContentProtection_t(ContentProtection_t&& other) noexcept = default;

ContentProtection_t& ContentProtection_t::operator=(ContentProtection_t&& other) noexcept = default;

} // namespace dashengine

// Dates over libcurl's reading as it is where time_t has 32 bits: they come out as 64 bits have
// them.
#include <Hasnet/detail/HttpDate.h>

#include <Input.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

namespace {

using hascommon::detail::readDateByCurl;

std::int64_t readShort(const char* text) {
    const std::int64_t date = readDateByCurl(text);
    const bool fits = date >= std::numeric_limits<std::int32_t>::min() &&
                      date <= std::numeric_limits<std::int32_t>::max();
    return fits ? date : -1;
}

/// What may be the offset of a zone is one only where no zone was named before; the reader does not
/// know their names.
bool mayHaveZone(const std::string& text) {
    for (std::size_t at = text.find_first_of("+-"); at != std::string::npos;
         at = text.find_first_of("+-", at + 1)) {
        const std::size_t end = text.find_first_not_of("0123456789", at + 1);
        if (std::min(end, text.size()) - at == 5)
            return true;
    }
    return false;
}

/// A colon that stands alone is part of a time to some versions of libcurl.
bool hasLooseColon(const std::string& text) {
    for (std::size_t at = text.find(':'); at != std::string::npos; at = text.find(':', at + 1)) {
        if (at + 1 == text.size() || text[at + 1] < '0' || text[at + 1] > '9')
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string text(bytes.c_str()); // up to the first zero byte
    const std::int64_t wide = readDateByCurl(text.c_str());
    const std::int64_t narrow = hascommon::detail::readHttpDate(text, readShort);
    if (wide >= 0 && !mayHaveZone(text) && !hasLooseColon(text))
        fuzz::require(narrow == wide);
    return 0;
}

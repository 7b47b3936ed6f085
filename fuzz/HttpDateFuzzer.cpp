// Dates, read with a libcurl whose time_t has 32 bits: the result must be that of 64 bits.
#include <Hasnet/detail/HttpDate.h>
#include <Hasnet/detail/ImfDate.h>

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

/// Whether a text has something like "+0100". libcurl takes it for a zone's offset unless a zone
/// was named before it; the project's reader does not know the names, so the two may differ.
bool mayHaveZone(const std::string& text) {
    for (std::size_t at = text.find_first_of("+-"); at != std::string::npos;
         at = text.find_first_of("+-", at + 1)) {
        const std::size_t end = text.find_first_not_of("0123456789", at + 1);
        if (std::min(end, text.size()) - at == 5)
            return true;
    }
    return false;
}

/// Whether a colon has no digit behind it, which only some versions of libcurl take for a time.
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
    const std::int64_t fixed = hascommon::detail::readImfDate(text);
    fuzz::require(fixed < 0 || fixed == wide);
    const std::int64_t narrow = hascommon::detail::readHttpDate(text, readShort);
    if (wide >= 0 && !mayHaveZone(text) && !hasLooseColon(text))
        fuzz::require(narrow == wide);
    return 0;
}

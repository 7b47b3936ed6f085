#include <Hasutil/detail/DrmSystem.h>

#include <Hascommon/detail/Ascii.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace hascommon::detail;

struct DrmSystem {
    eDRM_TYPE type;
    const char* schemeId;
};

constexpr DrmSystem kSystems[] = {
    {eDRM_TYPE_MARLIN_MS3, "urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4"},
    {eDRM_TYPE_QDRM, "urn:uuid:78cbbd26-2235-a711-c890-f66a56ee12df"},
    {eDRM_TYPE_PLAYREADY, "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95"},
    // The same system with the first three groups of its id in the other byte order.
    {eDRM_TYPE_PLAYREADY, "urn:uuid:79f0049a-4098-8642-ab92-e65be0885f95"},
};
constexpr size_t kUrnPrefix = 9; // "urn:uuid:"

bool beginsLike(const char* whole, const std::string& beginning) {
    return beginning.size() <= strlen(whole) &&
           std::equal(beginning.begin(), beginning.end(), whole,
                      [](char a, char b) { return toAsciiUpper(a) == toAsciiUpper(b); });
}

/// The bytes that the hexadecimal digits of a UUID stand for, in the order of the text.
std::string uuidBytes(const char* text) {
    std::string bytes;
    int high = -1;
    for (; *text != '\0'; ++text) {
        const int digit = hexDigit(*text);
        if (digit < 0)
            continue;
        if (high >= 0)
            bytes += static_cast<char>(high << 4 | digit);
        high = high >= 0 ? -1 : digit;
    }
    return bytes;
}

} // namespace

namespace hascommon::detail {

std::string findSystemId(eDRM_TYPE type, const std::string& schemeId) {
    for (const DrmSystem& system : kSystems) {
        if (system.type == type && beginsLike(system.schemeId, schemeId))
            return uuidBytes(system.schemeId + kUrnPrefix);
    }
    return {};
}

} // namespace hascommon::detail

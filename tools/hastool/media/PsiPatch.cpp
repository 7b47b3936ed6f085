#include "PsiPatch.h"

#include "PsiTables.h"
#include <hastool/base/SectionChecksum.h>

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kHeader = 8;
constexpr size_t kChecksum = 4;

size_t length12(const unsigned char* at) {
    return static_cast<size_t>(at[0] & 0x0F) << 8 | at[1];
}

/// @param at  the two bytes with a PID in their low 13 bits
void patchPid(unsigned char* at, const PidMap& map) {
    const int pid = mapped(map, (at[0] & 0x1F) << 8 | at[1]);
    at[0] = static_cast<unsigned char>((at[0] & 0xE0) | pid >> 8);
    at[1] = static_cast<unsigned char>(pid & 0xFF);
}

void patchDescriptors(unsigned char* at, size_t size, const PidMap& map) {
    constexpr unsigned int kCaDescriptor = 9;
    while (size >= 2) {
        const size_t whole = std::min<size_t>(2 + size_t{at[1]}, size);
        if (at[0] == kCaDescriptor && whole >= 6)
            patchPid(at + 4, map);
        at += whole;
        size -= whole;
    }
}

void patchPrograms(unsigned char* at, size_t size, const PidMap& map) {
    for (; size >= 4; at += 4, size -= 4)
        patchPid(at + 2, map);
}

void patchProgramMap(unsigned char* at, size_t size, const PidMap& map) {
    if (size < 4)
        return;
    patchPid(at, map);
    const size_t info = std::min(length12(at + 2), size - 4);
    patchDescriptors(at + 4, info, map);
    at += 4 + info;
    size -= 4 + info;
    while (size >= 5) {
        patchPid(at + 1, map);
        const size_t descriptors = std::min(length12(at + 3), size - 5);
        patchDescriptors(at + 5, descriptors, map);
        at += 5 + descriptors;
        size -= 5 + descriptors;
    }
}

} // namespace

void patchSection(unsigned char* section, size_t size, const PidMap& map) {
    if (size < kHeader + kChecksum || sectionChecksum(section, size) != 0)
        return;
    unsigned char* const body = section + kHeader;
    const size_t bodySize = size - kHeader - kChecksum;
    if (section[0] == kTableIdPat)
        patchPrograms(body, bodySize, map);
    else if (section[0] == kTableIdCat)
        patchDescriptors(body, bodySize, map);
    else if (section[0] == kTableIdPmt)
        patchProgramMap(body, bodySize, map);
    const uint32_t checksum = sectionChecksum(section, size - kChecksum);
    for (size_t i = 0; i < kChecksum; ++i)
        section[size - kChecksum + i] = static_cast<unsigned char>(checksum >> (24 - 8 * i));
}

} // namespace hastool

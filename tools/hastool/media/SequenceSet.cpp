#include "SequenceSet.h"

#include "SpsList.h"

namespace hastool {
namespace {

std::string hexByte(unsigned value) {
    constexpr char kDigits[] = "0123456789abcdef";
    return {kDigits[value >> 4 & 0x0F], kDigits[value & 0x0F]};
}

} // namespace

void describe(const Bytes& unit, const std::string& entry, StreamFacts& facts) {
    constexpr size_t kFixed = 4; // NAL header, profile, constraints, level
    constexpr size_t kMostBytes = 4096;
    if (unit.size() < kFixed || unit.size() > kMostBytes)
        return;
    facts.codec = entry + "." + hexByte(unit[1]) + hexByte(unit[2]) + hexByte(unit[3]);
    std::string stream = {0, 0, 1};
    stream.append(unit.begin(), unit.end());
    const auto size = findResolution(memorySource(stream));
    if (!size || size->width <= 0 || size->height <= 0)
        return;
    facts.width = size->width;
    facts.height = size->height;
}

} // namespace hastool

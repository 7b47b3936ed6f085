#include "PiffFields.h"

#include "ProtectionFields.h"

namespace hastool {
namespace {

constexpr uint64_t kOverrides = 0x1; // sample encryption: fields of its own in place of the track's

/// Algorithm (0 for none, 1 for AES-CTR, 2 for AES-CBC), IV size and key id.
/// @return the IV size
uint64_t readAlgorithm(BoxFields& box) {
    box.number("algorithm_id", 3);
    const uint64_t ivSize = box.number("iv_size", 1);
    box.hex("kid", 16);
    return ivSize;
}

void readPiffTrack(BoxFields& box, const BoxVersion&, BoxContext& context) {
    const uint64_t ivSize = readAlgorithm(box);
    if (!box.isCut())
        context.trackOf(context.track).ivSize = ivSize;
}

void readPiffSamples(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    const auto groupIvSize = context.groupIvSize;
    if ((full.flags & kOverrides) != 0)
        context.groupIvSize = readAlgorithm(box);
    readSampleEncryption(box, full, context);
    context.groupIvSize = groupIvSize;
}

struct Known {
    const char* name;
    BoxKind::Read read;
};

const std::map<std::string, Known> kKnown = {
    {"8974dbce7be74c5184f97148f9882554", {"PIFF track encryption", readPiffTrack}},
    {"a2394f525a9b4f14a2446c427c648df4", {"PIFF sample encryption", readPiffSamples}},
    {"d08a4f1810f34a82b6c832d8aba183d3", {"PIFF pssh", readSystem}},
};

} // namespace

void readExtendedType(BoxFields& box, const BoxVersion&, BoxContext& context) {
    const auto known = kKnown.find(box.hex("uuid", 16));
    if (known == kKnown.end())
        return;
    box.facts()["name"] = known->second.name;
    BoxVersion full;
    full.version = box.number("version", 1);
    full.flags = box.number("flags", 3);
    known->second.read(box, full, context);
}

} // namespace hastool

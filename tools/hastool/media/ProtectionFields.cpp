#include "ProtectionFields.h"

#include <vector>

namespace hastool {
namespace {

using Facts = BoxFields::Facts;

constexpr uint64_t kHasType = 0x1; // auxiliary information: its type is given
constexpr uint64_t kSubsamples = 0x2;
constexpr size_t kKeyIdSize = 16;

/// Reads whether samples are protected, IV size and key id, and the one IV for all samples where
/// the samples have none of their own.
void readEncryption(BoxFields& box, bool hasPattern) {
    const uint64_t pattern = box.number(1);
    if (hasPattern && !box.isCut()) {
        box.facts()["crypt_blocks"] = pattern >> 4;
        box.facts()["skip_blocks"] = pattern & 0x0F;
    }
    const uint64_t isProtected = box.number("is_protected", 1);
    const uint64_t ivSize = box.number("iv_size", 1);
    box.hex("kid", kKeyIdSize);
    if (isProtected == 1 && ivSize == 0)
        box.hex("constant_iv", static_cast<size_t>(box.number(1)));
}

void readInfoType(BoxFields& box, const BoxVersion& full) {
    if ((full.flags & kHasType) == 0)
        return;
    box.letters("aux_info_type");
    box.number("aux_info_parameter", 4);
}

/// How many subsamples all entries have; nothing when the entries do not end where the box ends.
std::optional<uint64_t> countSubsamples(BoxFields& box, uint64_t samples, uint64_t ivSize,
                                        bool hasSubsamples) {
    uint64_t sum = 0;
    if (!hasSubsamples)
        return samples * ivSize == box.left() ? std::optional(sum) : std::nullopt;
    for (uint64_t i = 0; i < samples && !box.isCut(); ++i) {
        box.skip(ivSize);
        const uint64_t count = box.number(2);
        box.skip(6 * count);
        sum += count;
    }
    return box.isCut() || box.left() != 0 ? std::nullopt : std::optional(sum);
}

/// Notes the first IV size with which the entries fill the box, and how many subsamples they have.
/// @return false when no size fits
bool noteEntries(BoxFields& box, const std::vector<uint64_t>& ivSizes, uint64_t samples,
                 bool hasSubsamples) {
    const uint64_t start = box.position();
    for (const uint64_t ivSize : ivSizes) {
        box.rewind(start);
        const auto subsamples = countSubsamples(box, samples, ivSize, hasSubsamples);
        if (!subsamples)
            continue;
        box.facts()["iv_size"] = ivSize;
        box.facts()["subsample_count"] = *subsamples;
        return true;
    }
    return false;
}

} // namespace

std::string systemName(const std::string& id) {
    static const std::map<std::string, const char*> names = {
        {"1077efecc0b24d02ace33c1e52e2fb4b", "W3C common"},
        {"3ea8778f77424bf9b18be834b2acbd47", "Clear Key AES-128"},
        {"5e629af538da4063897797ffbd9902d4", "Marlin"},
        {"69f908af481646ea910ccd5dcccb0a3a", "Marlin"},
        {"78cbbd262235a711c890f66a56ee12df", "QDRM"},
        {"79f0049a40988642ab92e65be0885f95", "PlayReady (byte-swapped id)"},
        {"80a6be7e14484c379e70d5aebe04c8d2", "Irdeto"},
        {"94ce86fb07ff4f43adb893d2fa968ca2", "FairPlay"},
        {"9a04f07998404286ab92e65be0885f95", "PlayReady"},
        {"e2719d58a985b3c9781ab030af78d30e", "Clear Key"},
        {"edef8ba979d64acea3c827dcd51d21ed", "Widevine"},
        {"f239e769efa348509c16a903c6932efb", "Primetime"},
    };
    const auto found = names.find(id);
    return found != names.end() ? found->second : "";
}

void readOriginalFormat(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.letters("original_format");
}

void readScheme(BoxFields& box, const BoxVersion& full, BoxContext&) {
    box.letters("scheme_type");
    box.number("scheme_version", 4);
    if ((full.flags & 1) != 0)
        box.text("scheme_uri");
}

void readTrackEncryption(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    box.skip(1);
    readEncryption(box, full.version > 0);
    const auto ivSize = box.facts().find("iv_size");
    if (ivSize != box.facts().end())
        context.trackOf(context.track).ivSize = ivSize->get<uint64_t>();
}

void readSystem(BoxFields& box, const BoxVersion& full, BoxContext&) {
    const std::string name = systemName(box.hex("system_id", 16));
    if (!name.empty())
        box.facts()["system"] = name;
    if (full.version > 0) {
        const uint64_t count = box.number("key_id_count", 4);
        Facts ids = Facts::array();
        for (uint64_t i = 0; i < count && !box.isCut(); ++i) {
            std::string id = box.hex(kKeyIdSize);
            if (!box.isCut() && ids.size() < kMaxListed)
                ids.push_back(std::move(id));
        }
        box.facts()["key_ids"] = std::move(ids);
    }
    box.skip(box.number("data_size", 4));
}

void readInfoSizes(BoxFields& box, const BoxVersion& full, BoxContext&) {
    readInfoType(box, full);
    const uint64_t size = box.number("default_info_size", 1);
    const uint64_t count = box.number("sample_count", 4);
    if (size == 0)
        box.skip(count);
}

void readInfoOffsets(BoxFields& box, const BoxVersion& full, BoxContext&) {
    readInfoType(box, full);
    const uint64_t count = box.number("entry_count", 4);
    Facts offsets = Facts::array();
    for (uint64_t i = 0; i < count && !box.isCut(); ++i) {
        const uint64_t offset = box.number(full.version == 0 ? 4 : 8);
        if (!box.isCut() && offsets.size() < kMaxListed)
            offsets.push_back(offset);
    }
    box.facts()["offsets"] = std::move(offsets);
}

void readSampleEncryption(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    const uint64_t samples = box.number("sample_count", 4);
    if (box.isCut())
        return;
    const auto known =
        context.groupIvSize ? context.groupIvSize : context.trackOf(context.track).ivSize;
    std::vector<uint64_t> sizes = {8, 16, 0};
    if (known) // tried first; a later key may have an IV of another size
        sizes.insert(sizes.begin(), *known);
    if (!noteEntries(box, sizes, samples, (full.flags & kSubsamples) != 0))
        box.cut();
}

void readGroupDescriptions(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    const std::string type = box.letters("grouping_type");
    const uint64_t length = full.version == 1 ? box.number("default_length", 4) : 0;
    if (full.version > 1)
        box.number("default_index", 4);
    const uint64_t count = box.number("entry_count", 4);
    if (type != "seig" || count == 0 || full.version != 1)
        return;
    if (length == 0)
        box.skip(4);
    box.skip(1); // only the first entry is read; a fragment hardly ever has a second
    readEncryption(box, true);
    const auto ivSize = box.facts().find("iv_size");
    if (ivSize != box.facts().end())
        context.groupIvSize = ivSize->get<uint64_t>();
}

void readSampleGroups(BoxFields& box, const BoxVersion& full, BoxContext&) {
    box.letters("grouping_type");
    if (full.version == 1)
        box.number("grouping_type_parameter", 4);
    const uint64_t count = box.number("entry_count", 4);
    Facts entries = Facts::array();
    for (uint64_t i = 0; i < count && !box.isCut(); ++i) {
        const uint64_t samples = box.number(4);
        const uint64_t index = box.number(4);
        if (!box.isCut() && entries.size() < kMaxListed)
            entries.push_back({samples, index});
    }
    box.facts()["entries"] = std::move(entries);
}

} // namespace hastool

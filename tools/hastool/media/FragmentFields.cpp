#include "FragmentFields.h"

namespace hastool {
namespace {

constexpr uint64_t kBaseOffset = 0x1; // track fragment header
constexpr uint64_t kEntryIndex = 0x2;
constexpr uint64_t kDefaultDuration = 0x8;
constexpr uint64_t kDefaultSize = 0x10;
constexpr uint64_t kDefaultFlags = 0x20;
constexpr uint64_t kDurationIsEmpty = 0x10000;
constexpr uint64_t kBaseIsMoof = 0x20000;

constexpr uint64_t kDataOffset = 0x1; // track run
constexpr uint64_t kFirstFlags = 0x4;
constexpr uint64_t kSampleDuration = 0x100;
constexpr uint64_t kSampleSize = 0x200;
constexpr uint64_t kSampleFlags = 0x400;
constexpr uint64_t kSampleTime = 0x800;

size_t timeSize(const BoxVersion& full) {
    return full.version == 0 ? 4 : 8;
}

uint64_t present(uint64_t flags, uint64_t flag) {
    return (flags & flag) != 0 ? 4 : 0;
}

/// The size of all samples of a run; nothing where no box gives it.
std::optional<uint64_t> samplesSize(BoxFields& box, uint64_t flags, uint64_t count,
                                    const BoxContext& context) {
    const uint64_t before = present(flags, kSampleDuration);
    const uint64_t size = present(flags, kSampleSize);
    const uint64_t behind = present(flags, kSampleFlags) + present(flags, kSampleTime);
    const uint64_t entry = before + size + behind;
    if (entry != 0 && count > box.left() / entry) {
        box.cut();
        return std::nullopt;
    }
    if (size == 0) {
        box.skip(count * entry);
        return context.runSize ? std::optional(count * *context.runSize) : std::nullopt;
    }
    uint64_t sum = 0;
    for (uint64_t i = 0; i < count; ++i) {
        box.skip(before);
        sum += box.number(4);
        box.skip(behind);
    }
    return sum;
}

} // namespace

void readTrackDefaults(BoxFields& box, const BoxVersion&, BoxContext& context) {
    const uint64_t track = box.number("track_id", 4);
    box.number("default_sample_description_index", 4);
    box.number("default_sample_duration", 4);
    const uint64_t size = box.number("default_sample_size", 4);
    box.number("default_sample_flags", 4);
    if (!box.isCut() && size != 0)
        context.trackOf(track).defaultSize = size;
}

void readFragmentDuration(BoxFields& box, const BoxVersion& full, BoxContext&) {
    box.number("fragment_duration", timeSize(full));
}

void readFragmentHeader(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.number("sequence_number", 4);
}

void readTrackFragment(BoxFields&, const BoxVersion&, BoxContext& context) {
    context.track = 0;
    context.groupIvSize.reset();
    context.runSize.reset();
}

void readTrackFragmentHeader(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    context.track = box.number("track_id", 4);
    context.runSize = context.trackOf(context.track).defaultSize;
    if ((full.flags & kBaseOffset) != 0)
        box.number("base_data_offset", 8);
    if ((full.flags & kEntryIndex) != 0)
        box.number("sample_description_index", 4);
    if ((full.flags & kDefaultDuration) != 0)
        box.number("default_sample_duration", 4);
    if ((full.flags & kDefaultSize) != 0)
        context.runSize = box.number("default_sample_size", 4);
    if ((full.flags & kDefaultFlags) != 0)
        box.number("default_sample_flags", 4);
    box.facts()["default_base_is_moof"] = (full.flags & kBaseIsMoof) != 0;
    box.facts()["duration_is_empty"] = (full.flags & kDurationIsEmpty) != 0;
}

void readDecodeTime(BoxFields& box, const BoxVersion& full, BoxContext&) {
    box.number("base_media_decode_time", timeSize(full));
}

void readRun(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    const uint64_t count = box.number("sample_count", 4);
    if ((full.flags & kDataOffset) != 0)
        box.signed32("data_offset");
    if ((full.flags & kFirstFlags) != 0)
        box.number("first_sample_flags", 4);
    const auto size = samplesSize(box, full.flags, count, context);
    if (size && !box.isCut())
        box.facts()["samples_size"] = *size;
}

void readRandomAccess(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.number("track_id", 4);
    box.skip(4);
    box.number("entry_count", 4);
}

void readRandomAccessSize(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.number("mfra_size", 4);
}

void readIndex(BoxFields& box, const BoxVersion& full, BoxContext&) {
    box.number("reference_id", 4);
    box.number("timescale", 4);
    box.number("earliest_presentation_time", timeSize(full));
    box.number("first_offset", timeSize(full));
    box.skip(2);
    const uint64_t count = box.number("reference_count", 2);
    auto references = BoxFields::Facts::array();
    for (uint64_t i = 0; i < count && !box.isCut(); ++i) {
        const uint64_t size = box.number(4);
        const uint64_t duration = box.number(4);
        const uint64_t access = box.number(4);
        if (!box.isCut() && references.size() < kMaxListed)
            references.push_back({{"type", size >> 31},
                                  {"size", size & 0x7FFFFFFF},
                                  {"duration", duration},
                                  {"starts_with_sap", access >> 31}});
    }
    box.facts()["references"] = std::move(references);
}

void readEvent(BoxFields& box, const BoxVersion& full, BoxContext&) {
    if (full.version == 0) {
        box.text("scheme_id_uri");
        box.text("value");
    }
    box.number("timescale", 4);
    box.number(full.version == 0 ? "presentation_time_delta" : "presentation_time", timeSize(full));
    box.number("event_duration", 4);
    box.number("id", 4);
    if (full.version != 0) {
        box.text("scheme_id_uri");
        box.text("value");
    }
    if (!box.isCut())
        box.facts()["message_size"] = box.left();
}

} // namespace hastool

#include "MovieFields.h"

namespace hastool {
namespace {

constexpr double kFixedPoint = 65536; // sizes are in 1/65536

/// A time field has four bytes, or eight from version 1 on.
size_t timeSize(const BoxVersion& full) {
    return full.version == 1 ? 8 : 4;
}

} // namespace

void readBrands(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.letters("major_brand");
    box.number("minor_version", 4);
    if (box.isCut())
        return;
    auto brands = BoxFields::Facts::array();
    while (box.left() >= 4 && brands.size() < kMaxListed)
        brands.push_back(box.letters());
    box.facts()["compatible_brands"] = std::move(brands);
}

void readMovie(BoxFields&, const BoxVersion&, BoxContext& context) {
    context = {};
}

void readTimes(BoxFields& box, const BoxVersion& full, BoxContext&) {
    box.skip(2 * timeSize(full));
    box.number("timescale", 4);
    box.number("duration", timeSize(full));
}

void readTrackHeader(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    box.skip(2 * timeSize(full));
    context.track = box.number("track_id", 4);
    context.handler.clear();
    box.skip(4);
    box.number("duration", timeSize(full));
    box.skip(52); // layer, group, volume and matrix
    const auto width = static_cast<double>(box.number(4));
    const auto height = static_cast<double>(box.number(4));
    if (box.isCut())
        return;
    box.facts()["width"] = width / kFixedPoint;
    box.facts()["height"] = height / kFixedPoint;
}

void readHandler(BoxFields& box, const BoxVersion&, BoxContext& context) {
    box.skip(4);
    const std::string handler = box.letters("handler");
    if (handler == "vide" || handler == "soun" || context.handler.empty())
        context.handler = handler;
}

void readMeta(BoxFields& box, const BoxVersion&, BoxContext&) {
    // A QuickTime file has no version and flags here: a box begins in their place.
    const uint64_t start = box.position();
    if (box.left() < 8 || box.number(4) != 0) {
        box.rewind(start);
        return;
    }
    box.rewind(start);
    box.number("version", 1);
    box.number("flags", 3);
}

void readEntryCount(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.number("entry_count", 4);
}

void readSampleSizes(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.number("sample_size", 4);
    box.number("sample_count", 4);
}

void readSampleEntries(BoxFields& box, const BoxVersion& full, BoxContext& context) {
    context.entryVersion = full.version;
    box.number("entry_count", 4);
}

void readVisualEntry(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.skip(24);
    box.number("width", 2);
    box.number("height", 2);
    box.skip(50);
}

void readAudioEntry(BoxFields& box, const BoxVersion&, BoxContext& context) {
    box.skip(8);
    const uint64_t version = box.number(2);
    box.skip(6);
    box.number("channels", 2);
    box.skip(6);
    box.number("sample_rate", 2);
    box.skip(2);
    // QuickTime's entries of version 1 and 2 have more fields. In an ISO file such a version means
    // something else, and its table of entries has version 1.
    if (context.entryVersion == 0 && (version == 1 || version == 2))
        box.skip(version == 1 ? 16 : 36);
}

void readOtherEntry(BoxFields& box, const BoxVersion&, BoxContext&) {
    box.skip(6);
    box.number("data_reference_index", 2);
}

} // namespace hastool

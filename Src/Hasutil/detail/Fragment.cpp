#include <Hasutil/detail/Fragment.h>

#include <Hasutil/detail/BoxTypes.h>
#include <Hasutil/detail/OffsetTable.h>

#include <algorithm>
#include <climits>

namespace {

using namespace hascommon::detail;

/// Where the base data offset of a `tfhd` lies.
constexpr size_t kBaseAt = 16;

bool isFieldBoxSound(const BoxView& box) {
    OffsetTable table;
    switch (box.type()) {
    case kTfhd:
        return box.size() >= kBaseAt + ((box.flags() & kTfhdBaseOffset) != 0 ? 8 : 0);
    case kTrun:
        return box.size() >= kDataOffsetAt + ((box.flags() & kTrunDataOffset) != 0 ? 4 : 0);
    case kSaio:
        return table.openSaio(box);
    default:
        return true;
    }
}

/// The absolute base of a sound `tfhd`; 0 where it has no base.
unsigned long long baseOf(const BoxView& tfhd) {
    unsigned long long base = 0;
    if ((tfhd.flags() & kTfhdBaseOffset) != 0)
        tfhd.from(kBaseAt).u64(base);
    return base;
}

bool hasOffset(const BoxView& trun) {
    return (trun.flags() & kTrunDataOffset) != 0;
}

/// The data offset of a sound `trun`; 0 where it has no offset.
int offsetOf(const BoxView& trun) {
    unsigned int offset = 0;
    if (hasOffset(trun))
        trun.from(kDataOffsetAt).u32(offset);
    return static_cast<int>(offset);
}

/// What the offsets of a `traf` count from. Places are counted from the first byte of its `moof`.
struct Anchor {
    long long at = 0;
    /// Bytes that it moves by itself, beyond those put into the stream before the `moof`.
    unsigned int shift = 0;
    /// Where the data of the track fragment before ends: whatever counts from it moves with it.
    bool follows = false;
};

/// The header and the first run of a `traf`; an empty view where one is missing.
struct Heads {
    BoxView tfhd;
    BoxView trun;

    explicit Heads(const BoxView& traf) {
        forChildren(traf, kBoxHeader, [this](const BoxView& box) {
            if (box.type() == kTfhd && tfhd.size() == 0)
                tfhd = box;
            if (box.type() == kTrun && trun.size() == 0)
                trun = box;
            return true;
        });
    }
    bool hasRun() const { return trun.size() != 0; }
};

/// Where an absolute base lies. A base beyond what the stream has had so far is one of two things:
/// the begin of the samples, or the begin of this `moof` counted in a file that the stream does not
/// have from its start. The first run tells which of them: an offset from a `moof` to its samples
/// is never smaller than the `moof`, so a smaller one counts from the samples.
long long placeOfBase(unsigned long long base, const Heads& heads, size_t moofSize,
                      unsigned long long moofAt) {
    if (base < moofAt + moofSize)
        return static_cast<long long>(base - moofAt);
    const auto size = static_cast<long long>(moofSize);
    return offsetOf(heads.trun) >= size ? 0 : size;
}

/// @param hasDataBefore  whether a track fragment before has runs
Anchor anchorOf(const Heads& heads, size_t moofSize, const Moved& moved, bool hasDataBefore) {
    Anchor anchor;
    if ((heads.tfhd.flags() & kTfhdBaseOffset) != 0) {
        anchor.at = placeOfBase(baseOf(heads.tfhd), heads, moofSize, moved.moofAt);
        // Where the runs are counted from the samples' begin, it is the base that moves.
        if (heads.hasRun() && !hasOffset(heads.trun) &&
            anchor.at >= static_cast<long long>(moofSize))
            anchor.shift = moved.behind;
    } else {
        anchor.follows = hasDataBefore && (heads.tfhd.flags() & kTfhdBaseIsMoof) == 0;
    }
    return anchor;
}

bool moveBase(const BoxView& tfhd, long long by) {
    if ((tfhd.flags() & kTfhdBaseOffset) == 0)
        return true;
    unsigned long long base = baseOf(tfhd);
    if (!moveOffset(base, by))
        return false;
    storeU64(tfhd.data() + kBaseAt, base);
    return true;
}

bool moveRun(const BoxView& trun, size_t moofSize, const Anchor& anchor, unsigned int behind) {
    if (!hasOffset(trun))
        return true;
    const long long offset = offsetOf(trun);
    const bool isBehind = anchor.at + offset >= static_cast<long long>(moofSize);
    const long long moved = offset + (isBehind ? behind : 0LL) - anchor.shift;
    if (moved > INT_MAX || moved < INT_MIN)
        return false;
    storeU32(trun.data() + kDataOffsetAt, static_cast<unsigned int>(moved));
    return true;
}

bool moveAuxiliary(const BoxView& saio, size_t moofSize, const Anchor& anchor,
                   unsigned int behind) {
    OffsetTable table;
    const long long from = std::max(0LL, static_cast<long long>(moofSize) - anchor.at);
    return table.openSaio(saio) &&
           table.move(static_cast<unsigned long long>(from), behind - anchor.shift);
}

/// @param hasData  whether a track fragment before has runs; told of this one
bool moveTraf(const BoxView& traf, size_t moofSize, const Moved& moved, bool& hasData) {
    const Heads heads(traf);
    const Anchor anchor = anchorOf(heads, moofSize, moved, hasData);
    hasData = hasData || heads.hasRun();
    return forChildren(traf, kBoxHeader, [&](const BoxView& box) {
        switch (box.type()) {
        case kTfhd:
            return moveBase(box, moved.before + anchor.shift);
        case kTrun:
            return anchor.follows || moveRun(box, moofSize, anchor, moved.behind);
        case kSaio:
            return anchor.follows || moveAuxiliary(box, moofSize, anchor, moved.behind);
        default:
            return true;
        }
    });
}

} // namespace

namespace hascommon::detail {

bool isFragmentSound(const BoxView& moof) {
    return forChildren(moof, kBoxHeader, [](const BoxView& child) {
        return child.type() != kTraf || forChildren(child, kBoxHeader, isFieldBoxSound);
    });
}

bool moveFragment(const BoxView& moof, const Moved& moved) {
    bool hasData = false;
    return forChildren(moof, kBoxHeader, [&](const BoxView& child) {
        return child.type() != kTraf || moveTraf(child, moof.size(), moved, hasData);
    });
}

} // namespace hascommon::detail

#include <Hasutil/detail/Fragment.h>

#include <Hasutil/detail/BoxTypes.h>
#include <Hasutil/detail/OffsetTable.h>

#include <algorithm>
#include <climits>

namespace {

using namespace hascommon::detail;

bool isFieldBoxSound(const BoxView& box) {
    OffsetTable table;
    switch (box.type()) {
    case kTfhd:
        return box.holds(0, 16) && (box.holds(16, 8) || (box.u24(9) & kTfhdBaseOffset) == 0);
    case kTrun:
        return box.holds(0, 16) && (box.holds(16, 4) || (box.u24(9) & kTrunDataOffset) == 0);
    case kSaio:
        return findSaioEntries(box, table);
    default:
        return true;
    }
}

/// Calls `visit` for each child; false as soon as a child does not fit or `visit` says so.
template<typename Visit>
bool forChildren(const BoxView& parent, Visit visit) {
    BoxView child;
    for (size_t at = kBoxHeader; at < parent.size(); at += child.size()) {
        if (!parent.child(at, child) || !visit(child))
            return false;
    }
    return true;
}

/// What the offsets of a `traf` count from. Places are counted from the first byte of its `moof`.
struct Anchor {
    long long at = 0;
    /// Bytes that it moves by itself, beyond those put into the stream before the `moof`.
    unsigned int shift = 0;
    /// Where the data of the track fragment before ends: whatever counts from it moves with it.
    bool follows = false;
};

/// The header and the first run of a `traf`; empty views where it has none.
struct Heads {
    BoxView tfhd;
    BoxView trun;

    explicit Heads(const BoxView& traf) {
        forChildren(traf, [this](const BoxView& box) {
            if (box.type() == kTfhd && tfhd.size() == 0)
                tfhd = box;
            if (box.type() == kTrun && trun.size() == 0)
                trun = box;
            return true;
        });
    }
    unsigned int flags() const { return tfhd.size() == 0 ? 0 : tfhd.u24(9); }
    bool hasRun() const { return trun.size() != 0; }
    bool hasOffset() const { return hasRun() && (trun.u24(9) & kTrunDataOffset) != 0; }
    int offset() const { return hasOffset() ? static_cast<int>(trun.u32(kDataOffsetAt)) : 0; }
};

/// Where an absolute base lies. Beyond what the stream has had so far it is either the samples'
/// begin, or the begin of this `moof` in a file that the stream does not have from its start; the
/// first run tells which, because no offset from a `moof` to its samples is smaller than the
/// `moof`.
long long placeOfBase(unsigned long long base, const Heads& heads, size_t moofSize,
                      unsigned long long moofAt) {
    if (base < moofAt + moofSize)
        return static_cast<long long>(base - moofAt);
    const auto size = static_cast<long long>(moofSize);
    return heads.offset() >= size ? 0 : size;
}

/// @param hasDataBefore  whether a track fragment before has runs
Anchor anchorOf(const Heads& heads, size_t moofSize, const Moved& moved, bool hasDataBefore) {
    Anchor anchor;
    if ((heads.flags() & kTfhdBaseOffset) != 0) {
        anchor.at = placeOfBase(heads.tfhd.u64(16), heads, moofSize, moved.moofAt);
        // Where the runs are counted from the samples' begin, it is the base that moves.
        if (heads.hasRun() && !heads.hasOffset() && anchor.at >= static_cast<long long>(moofSize))
            anchor.shift = moved.behind;
    } else {
        anchor.follows = hasDataBefore && (heads.flags() & kTfhdBaseIsMoof) == 0;
    }
    return anchor;
}

bool moveBase(const BoxView& tfhd, long long by) {
    if ((tfhd.u24(9) & kTfhdBaseOffset) == 0)
        return true;
    unsigned long long base = tfhd.u64(16);
    if (!moveOffset(base, by))
        return false;
    storeU64(tfhd.data() + 16, base);
    return true;
}

bool moveRun(const BoxView& trun, size_t moofSize, const Anchor& anchor, unsigned int behind) {
    if ((trun.u24(9) & kTrunDataOffset) == 0)
        return true;
    const long long offset = static_cast<int>(trun.u32(kDataOffsetAt));
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
    return findSaioEntries(saio, table) &&
           moveOffsets(saio, table, static_cast<unsigned long long>(from), behind - anchor.shift);
}

/// @param hasData  whether a track fragment before has runs; told of this one
bool moveTraf(const BoxView& traf, size_t moofSize, const Moved& moved, bool& hasData) {
    const Heads heads(traf);
    const Anchor anchor = anchorOf(heads, moofSize, moved, hasData);
    hasData = hasData || heads.hasRun();
    return forChildren(traf, [&](const BoxView& box) {
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
    return forChildren(moof, [](const BoxView& child) {
        return child.type() != kTraf || forChildren(child, isFieldBoxSound);
    });
}

bool moveFragment(const BoxView& moof, const Moved& moved) {
    bool hasData = false;
    return forChildren(moof, [&](const BoxView& child) {
        return child.type() != kTraf || moveTraf(child, moof.size(), moved, hasData);
    });
}

} // namespace hascommon::detail

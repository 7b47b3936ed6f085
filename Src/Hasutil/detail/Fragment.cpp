#include <Hasutil/detail/Fragment.h>

#include <Hasutil/detail/BoxTypes.h>
#include <Hasutil/detail/OffsetTable.h>

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

/// Whether the samples of a `traf` begin at its absolute base itself, without an offset.
bool beginsAtBase(const BoxView& traf) {
    bool hasBase = false;
    const bool hasNoRun = forChildren(traf, [&](const BoxView& box) {
        if (box.type() == kTfhd)
            hasBase = (box.u24(9) & kTfhdBaseOffset) != 0;
        hasBase = hasBase && !(box.type() == kTrun && (box.u24(9) & kTrunDataOffset) != 0);
        return box.type() != kTrun;
    });
    return hasBase && !hasNoRun;
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

bool moveRun(const BoxView& trun, unsigned int by) {
    if ((trun.u24(9) & kTrunDataOffset) == 0)
        return true;
    const auto offset = static_cast<int>(trun.u32(kDataOffsetAt));
    const long long moved = static_cast<long long>(offset) + by;
    if (moved > INT_MAX)
        return false;
    storeU32(trun.data() + kDataOffsetAt, static_cast<unsigned int>(moved));
    return true;
}

bool moveAuxiliary(const BoxView& saio, size_t moofSize, unsigned int by) {
    OffsetTable table;
    return findSaioEntries(saio, table) && moveOffsets(saio, table, moofSize, by);
}

bool moveTraf(const BoxView& traf, size_t moofSize, const Moved& moved) {
    // Where the runs are counted from the samples' beginning, it is the base that moves.
    const bool movesBase = beginsAtBase(traf);
    return forChildren(traf, [&](const BoxView& box) {
        switch (box.type()) {
        case kTfhd:
            return moveBase(box, moved.before + (movesBase ? moved.behind : 0));
        case kTrun:
            return movesBase || moveRun(box, moved.behind);
        case kSaio:
            return moveAuxiliary(box, moofSize, moved.behind);
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
    return forChildren(moof, [&](const BoxView& child) {
        return child.type() != kTraf || moveTraf(child, moof.size(), moved);
    });
}

} // namespace hascommon::detail

// What the boxes of a `traf` say of its samples.
#pragma once

#include <Hasutil/detail/BoxView.h>
#include <Hasutil/detail/TrackRecords.h>
#include <Hasutil/detail/VisitBudget.h>

namespace hascommon::detail {

/// Reads one box after the other into the current track of the fragment. Those of encryption are
/// retyped "free".
class FragmentBoxes {
public:
    /// @param budget  pays for each visit to a sample and a subsample
    FragmentBoxes(TrackRecords& records, VisitBudget& budget)
        : m_records(records)
        , m_budget(budget) {}

    /// Reads a `tfhd`, `trun`, `saiz`, `saio` or `senc`.
    /// @return the bytes read; -1 for a structural error, and for any other type
    int read(unsigned int type, const BoxView& box);

private:
    int tfhdBoxParsing(const BoxView& box);
    int trunBoxParsing(const BoxView& box);
    void readSamples(ByteReader fields, unsigned int flags, unsigned int count);
    int saizBoxParsing(const BoxView& box);
    int saioBoxParsing(const BoxView& box);
    int sencBoxParsing(const BoxView& box);

    TrackRecords& m_records;
    VisitBudget& m_budget;
};

} // namespace hascommon::detail

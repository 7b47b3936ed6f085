// What the boxes of a `moov` say of its tracks.
#pragma once

#include <Hasutil/detail/BoxView.h>
#include <Hasutil/detail/TrackRecords.h>

namespace hascommon::detail {

/// Reads one box after the other into the tracks' records, and gives protected sample entries back
/// the type that they had before.
class MovieBoxes {
public:
    explicit MovieBoxes(TrackRecords& records)
        : m_records(records) {}

    /// Reads a box of one of the types that mean something in a `moov`.
    /// @return the bytes read, for a box with children up to the first; -1 for a structural error,
    ///         and for any other type
    int read(unsigned int type, const BoxView& box);

    /// No sample entry is open: its bytes may be gone.
    void forgetSampleEntry() { m_sampleEntry = nullptr; }

private:
    int moovBoxParsing();
    int tkhdBoxParsing(const BoxView& box);
    int hdlrBoxParsing(const BoxView& box);
    int stsdBoxParsing(const BoxView& box);
    int sampleEntryParsing(const BoxView& box, size_t fields);
    int frmaBoxParsing(const BoxView& box);
    int tencBoxParsing(const BoxView& box);

    TrackRecords& m_records;
    unsigned char* m_sampleEntry = nullptr; // the `encv` or `enca` that a `frma` restores
};

} // namespace hascommon::detail

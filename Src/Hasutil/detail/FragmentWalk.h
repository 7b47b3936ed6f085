// The walk over boxes: which lies in which, and which reader each is for.
#pragma once

#include <Hasutil/detail/FragmentBoxes.h>
#include <Hasutil/detail/MovieBoxes.h>

namespace hascommon::detail {

/// Walks boxes into the records of a content, and binds what is said of samples apart from them.
///
/// The operations mean what those of CCENCMediaContent of like names say.
class FragmentWalk {
public:
    /// @param records  stay the owner's, and stay where they are
    explicit FragmentWalk(CENC_RECORDS& records)
        : m_records(records)
        , m_movieBoxes(m_records)
        , m_fragmentBoxes(m_records, m_visitsLeft) {}
    FragmentWalk(const FragmentWalk&) = delete;
    FragmentWalk& operator=(const FragmentWalk&) = delete;

    /// getBoxParsingMode()
    static int mode(unsigned int type);
    /// parsingBox()
    int parseBox(unsigned int type, unsigned char* box, size_t bytes);
    /// walkBoxes()
    long long walkBoxes(unsigned char* boxes, size_t bytes);
    /// getAuxiliaryDataFormat()
    int bindLast(unsigned char* moof, size_t bytes);

    /// Forgets the tracks of the `moov`.
    void clearMovie();
    /// What boxes are read into; an embedder adds tracks to it, too.
    TrackRecords& records() { return m_records; }

private:
    struct Place;

    bool walkChildren(const BoxView& parent, size_t from, const Place& place);
    bool walkTraf(const BoxView& traf, const Place& place);
    bool walkBox(const BoxView& box, const Place& place);
    int parse(unsigned int type, const BoxView& box, const Place& place);
    int parseMoof(const BoxView& moof, const Place& place);
    bool bindOpen(const BoxView& moof);
    bool bind(const BoxView& moof, MOOF_TRACK_FORMAT& moofTrack);

    TrackRecords m_records;
    VisitBudget m_visitsLeft = 0; // of the walk under way
    MovieBoxes m_movieBoxes;
    FragmentBoxes m_fragmentBoxes;
};

} // namespace hascommon::detail

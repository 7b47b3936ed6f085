#include <Hasutil/detail/FragmentWalk.h>

#include <Hasutil/CCENCMediaContent.h>
#include <Hasutil/detail/AuxiliaryData.h>
#include <Hasutil/detail/BoxTypes.h>
#include <Hasutil/detail/TopHeader.h>

#include <new>

namespace {

using namespace hascommon::detail;

constexpr unsigned int kMaxDepth = 32; // real media has about ten boxes in one another

bool isAuxiliary(unsigned int type) {
    return type == kSaiz || type == kSaio || type == kSenc;
}

/// The top-level box that begins at `at`.
/// @return false when it does not fit
bool topBox(const BoxView& boxes, size_t at, BoxView& box) {
    const ByteReader bytes = boxes.from(at).rest();
    TopHeader header;
    if (!header.read(bytes))
        return false;
    const unsigned long long size = header.isOpen ? bytes.left() : header.size;
    if (size < header.least || size > bytes.left())
        return false;
    box = BoxView(boxes.data() + at, static_cast<size_t>(size));
    return true;
}

} // namespace

namespace hascommon::detail {

/// Where the walk is.
struct FragmentWalk::Place {
    /// The fragment that is walked; null outside of one.
    const BoxView* moof = nullptr;
    unsigned int depth = 0;
    /// Whether auxiliary information among the direct children waits for a second look.
    bool leavesAuxiliary = false;
};

int FragmentWalk::mode(unsigned int type) {
    switch (type) {
    case kTrak:
    case kTraf:
    case kMdia:
    case kMinf:
    case kStbl:
    case kSchi:
    case kMvex:
        return CCENCMediaContent::BOX_CONTAINER;
    case kMoov:
    case kStsd:
    case kSinf:
    case kEncv:
    case kEnca:
        return CCENCMediaContent::BOX_FIELDS_AND_CHILDREN;
    case kTkhd:
    case kHdlr:
    case kLeva:
    case kFrma:
    case kTenc:
    case kPssh:
    case kMoof:
    case kTfhd:
    case kTrun:
    case kSaiz:
    case kSaio:
    case kSenc:
        return CCENCMediaContent::BOX_WHOLE;
    case kMdat:
        return CCENCMediaContent::BOX_MEDIA;
    default:
        return CCENCMediaContent::BOX_SKIPPED;
    }
}

void FragmentWalk::clearMovie() {
    m_records.clearMovie();
    m_movieBoxes.forgetSampleEntry();
}

int FragmentWalk::parseBox(unsigned int type, unsigned char* box, size_t bytes) {
    BoxView view;
    if (box == nullptr || !BoxView(box, bytes).child(0, view))
        return -1;
    m_visitsLeft = visitsFor(view.size());
    try {
        return parse(type, view, Place());
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

long long FragmentWalk::walkBoxes(unsigned char* boxes, size_t bytes) {
    const BoxView all(boxes, bytes);
    BoxView box;
    bool isSound = true;
    m_visitsLeft = visitsFor(bytes);
    m_movieBoxes.forgetSampleEntry(); // of another call, as of this one afterwards
    try {
        for (size_t at = 0; isSound && at < bytes; at += box.size())
            isSound = topBox(all, at, box) && walkBox(box, Place());
    } catch (const std::bad_alloc&) {
        isSound = false;
    }
    m_movieBoxes.forgetSampleEntry();
    return isSound ? static_cast<long long>(bytes) : -1;
}

bool FragmentWalk::walkChildren(const BoxView& parent, size_t from, const Place& place) {
    if (place.depth >= kMaxDepth)
        return false;
    return forChildren(parent, from, [&](const BoxView& child) {
        if (!place.leavesAuxiliary || !isAuxiliary(child.type()))
            return walkBox(child, {place.moof, place.depth + 1});
        // It waits, but a track that it could belong to must have come.
        return !m_records.all().moofTracks.empty();
    });
}

/// Behind its `tfhd` the boxes of a `traf` may come in any order, and those that describe samples
/// can only be read once the runs have told how many there are.
bool FragmentWalk::walkTraf(const BoxView& traf, const Place& place) {
    m_records.leaveCurrent(); // until its own `tfhd`
    return walkChildren(traf, kBoxHeader, {place.moof, place.depth, true}) &&
           forChildren(traf, kBoxHeader, [&](const BoxView& child) {
               return !isAuxiliary(child.type()) || parse(child.type(), child, place) >= 0;
           });
}

bool FragmentWalk::walkBox(const BoxView& box, const Place& place) {
    const unsigned int type = box.type();
    if (type == kTraf)
        return walkTraf(box, place);
    // In a sample table it describes samples that no fragment lists, and nothing here keeps them.
    if (isAuxiliary(type) && place.moof == nullptr)
        return true;
    switch (mode(type)) {
    case CCENCMediaContent::BOX_CONTAINER:
        return walkChildren(box, kBoxHeader, place);
    case CCENCMediaContent::BOX_FIELDS_AND_CHILDREN: {
        const int fields = parse(type, box, place);
        return fields >= 0 && walkChildren(box, static_cast<size_t>(fields), place);
    }
    case CCENCMediaContent::BOX_WHOLE:
        return parse(type, box, place) >= 0;
    default:
        return true;
    }
}

int FragmentWalk::parse(unsigned int type, const BoxView& box, const Place& place) {
    switch (type) {
    case kMoof:
        return parseMoof(box, place);
    case kTfhd:
        // Whatever describes the samples of the track before is complete now.
        if (place.moof != nullptr && !bindOpen(*place.moof))
            return -1;
        return m_fragmentBoxes.read(type, box);
    case kTrun:
    case kSaiz:
    case kSaio:
    case kSenc:
        return m_fragmentBoxes.read(type, box);
    case kMoov:
    case kTkhd:
    case kHdlr:
    case kStsd:
    case kEncv:
    case kEnca:
    case kSinf:
    case kFrma:
    case kTenc:
    case kPssh:
        return m_movieBoxes.read(type, box);
    default:
        return consumed(mode(type) == CCENCMediaContent::BOX_CONTAINER ? kBoxHeader : box.size());
    }
}

int FragmentWalk::parseMoof(const BoxView& moof, const Place& place) {
    m_records.clearFragment();
    if (!walkChildren(moof, kBoxHeader, {&moof, place.depth + 1}))
        return -1;
    if (m_records.all().moofTracks.empty() || !bindOpen(moof))
        return -1;
    return consumed(moof.size());
}

/// Binds the last track of the fragment, if it waits for that.
bool FragmentWalk::bindOpen(const BoxView& moof) {
    auto& tracks = m_records.all().moofTracks;
    const bool isOpen =
        !tracks.empty() && tracks.back().auxResolved == MOOF_TRACK_FORMAT::AUX_UNRESOLVED;
    return !isOpen || bind(moof, tracks.back());
}

int FragmentWalk::bindLast(unsigned char* moof, size_t bytes) {
    auto& tracks = m_records.all().moofTracks;
    if (tracks.empty())
        return -1;
    // A record put together by an embedder owes its samples to nobody's bytes.
    m_visitsLeft = visitsFor(bytes) + 2ULL * tracks.back().samples.size();
    return bind(BoxView(moof, bytes), tracks.back()) ? 1 : -1;
}

bool FragmentWalk::bind(const BoxView& moof, MOOF_TRACK_FORMAT& moofTrack) {
    const TRACK_FORMAT* const track = m_records.find(moofTrack.trackId);
    if (track == nullptr ||
        !bindAuxiliaryData(moof.from(0), track->perSampleIvSize, moofTrack, m_visitsLeft))
        return false;
    moofTrack.auxResolved = MOOF_TRACK_FORMAT::AUX_RESOLVED;
    return true;
}

} // namespace hascommon::detail

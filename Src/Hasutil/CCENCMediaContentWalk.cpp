// The walk: all of it that does not log.
#include <Hasutil/CCENCMediaContent.h>

#include <Hasutil/detail/AuxiliaryData.h>
#include <Hasutil/detail/BoxTypes.h>

#include <cstring>
#include <new>

namespace {

using namespace hascommon::detail;

constexpr unsigned int kVideoEntry = 86; // header and fields of a visual sample entry
constexpr unsigned int kAudioEntry = 36;
constexpr size_t kLongHeader = 16;     // with a size of 64 bits
constexpr unsigned int kMaxDepth = 32; // real media has about ten boxes in one another
constexpr size_t kMaxTracks = 1000;    // more than any file has

bool isAuxiliary(unsigned int type) {
    return type == kSaiz || type == kSaio || type == kSenc;
}

/// A top-level box; only there may media data have a long size, or none.
bool topBox(const BoxView& boxes, size_t at, BoxView& box) {
    const bool isMedia = boxes.holds(at, kBoxHeader) && boxes.u32(at + 4) == kMdat;
    const unsigned int size = isMedia ? boxes.u32(at) : kBoxHeader;
    if (size == 0) {
        box = BoxView(boxes.data() + at, boxes.size() - at);
        return true;
    }
    if (size != 1)
        return boxes.child(at, box);
    if (!boxes.holds(at, kLongHeader))
        return false;
    const unsigned long long longSize = boxes.u64(at + kBoxHeader);
    if (longSize < kLongHeader || !boxes.holds(at, longSize))
        return false;
    box = BoxView(boxes.data() + at, static_cast<size_t>(longSize));
    return true;
}

} // namespace

/// Where the walk is.
struct CCENCMediaContent::Walk {
    /// The fragment that is walked; null outside of one.
    const BoxView* moof = nullptr;
    unsigned int depth = 0;
    /// Whether auxiliary information among the direct children waits for a second look.
    bool leavesAuxiliary = false;
};

void CCENCMediaContent::clearMoov() {
    m_tracks.clear();
    m_trackOfId.clear();
    m_sampleEntry = nullptr;
    m_psshData.clear();
    m_psshSystemId.clear();
}

void CCENCMediaContent::clearMoof() {
    m_moofTracks.clear();
    m_moofTrack = nullptr;
    m_impliedSamples = 0;
}

int CCENCMediaContent::getBoxParsingMode(unsigned int type) {
    switch (type) {
    case kTrak:
    case kTraf:
    case kMdia:
    case kMinf:
    case kStbl:
    case kSchi:
    case kMvex:
        return BOX_CONTAINER;
    case kMoov:
    case kStsd:
    case kSinf:
    case kEncv:
    case kEnca:
        return BOX_FIELDS_AND_CHILDREN;
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
        return BOX_WHOLE;
    case kMdat:
        return BOX_MEDIA;
    default:
        return BOX_SKIPPED;
    }
}

int CCENCMediaContent::parsingBox(unsigned int type, unsigned char* box) {
    return box == nullptr ? -1 : parsingBox(type, box, getAttributeValue(box));
}

int CCENCMediaContent::parsingBox(unsigned int type, unsigned char* box, size_t bytes) {
    BoxView view;
    if (box == nullptr || !BoxView(box, bytes).child(0, view))
        return -1;
    m_visitsLeft = visitsFor(view.size());
    try {
        return parsingBox(type, view, Walk());
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

int CCENCMediaContent::moofBoxParsing(unsigned char* moof) {
    return parsingBox(kMoof, moof);
}

long long CCENCMediaContent::walkBoxes(unsigned char* boxes, size_t bytes) {
    const BoxView all(boxes, bytes);
    BoxView box;
    bool isSound = true;
    m_visitsLeft = visitsFor(bytes);
    m_sampleEntry = nullptr; // bytes of another call may be gone, and these afterwards
    try {
        for (size_t at = 0; isSound && at < bytes; at += box.size())
            isSound = topBox(all, at, box) && walkBox(box, Walk());
    } catch (const std::bad_alloc&) {
        isSound = false;
    }
    m_sampleEntry = nullptr;
    return isSound ? static_cast<long long>(bytes) : -1;
}

bool CCENCMediaContent::walkChildren(const BoxView& parent, size_t from, const Walk& walk) {
    if (walk.depth >= kMaxDepth)
        return false;
    BoxView child;
    for (size_t at = from; at < parent.size(); at += child.size()) {
        if (!parent.child(at, child))
            return false;
        const bool isLeft = walk.leavesAuxiliary && isAuxiliary(child.type());
        // Nothing has been told yet that it could belong to.
        if (isLeft && m_moofTracks.empty())
            return false;
        if (!isLeft && !walkBox(child, {walk.moof, walk.depth + 1}))
            return false;
    }
    return true;
}

/// Behind its `tfhd` the boxes of a `traf` may come in any order, and those that describe samples
/// can only be read once the runs have told how many there are.
bool CCENCMediaContent::walkTraf(const BoxView& traf, const Walk& walk) {
    m_moofTrack = nullptr; // until its own `tfhd`
    if (!walkChildren(traf, kBoxHeader, {walk.moof, walk.depth, true}))
        return false;
    BoxView child;
    for (size_t at = kBoxHeader; traf.child(at, child); at += child.size()) {
        if (isAuxiliary(child.type()) && parsingBox(child.type(), child, walk) < 0)
            return false;
    }
    return true;
}

bool CCENCMediaContent::walkBox(const BoxView& box, const Walk& walk) {
    const unsigned int type = box.type();
    if (type == kTraf)
        return walkTraf(box, walk);
    // In a sample table it describes samples that no fragment lists, and nothing here keeps them.
    if (isAuxiliary(type) && walk.moof == nullptr)
        return true;
    switch (getBoxParsingMode(type)) {
    case BOX_CONTAINER:
        return walkChildren(box, kBoxHeader, walk);
    case BOX_FIELDS_AND_CHILDREN: {
        const int fields = parsingBox(type, box, walk);
        return fields >= 0 && walkChildren(box, static_cast<size_t>(fields), walk);
    }
    case BOX_WHOLE:
        return parsingBox(type, box, walk) >= 0;
    default:
        return true;
    }
}

int CCENCMediaContent::parsingBox(unsigned int type, const BoxView& box, const Walk& walk) {
    switch (type) {
    case kMoof:
        return moofBoxParsing(box, walk);
    case kTfhd:
        // Whatever describes the samples of the track before is complete now.
        if (walk.moof != nullptr && !bindLastTrack(*walk.moof))
            return -1;
        return tfhdBoxParsing(box);
    case kTrun:
        return trunBoxParsing(box);
    case kSaiz:
        return saizBoxParsing(box);
    case kSaio:
        return saioBoxParsing(box);
    case kSenc:
        return sencBoxParsing(box);
    default:
        return parsingMoovPart(type, box);
    }
}

int CCENCMediaContent::parsingMoovPart(unsigned int type, const BoxView& box) {
    switch (type) {
    case kMoov:
        return moovBoxParsing();
    case kTkhd:
        return tkhdBoxParsing(box);
    case kHdlr:
        return hdlrBoxParsing(box);
    case kStsd:
        return stsdBoxParsing(box);
    case kEncv:
        return sampleEntryParsing(box, kVideoEntry);
    case kEnca:
        return sampleEntryParsing(box, kAudioEntry);
    case kSinf:
        updateBoxType(box.data(), kFree);
        return static_cast<int>(kBoxHeader);
    case kFrma:
        return frmaBoxParsing(box);
    case kTenc:
        return tencBoxParsing(box);
    case kPssh:
        return psshBoxParsing(box);
    default:
        return getBoxParsingMode(type) == BOX_CONTAINER ? static_cast<int>(kBoxHeader)
                                                        : consumed(box.size());
    }
}

int CCENCMediaContent::tkhdBoxParsing(const BoxView& box) {
    if (!box.holds(8, 1) || m_tracks.size() >= kMaxTracks)
        return -1;
    const unsigned int version = box.u8(8);
    const size_t idAt = version == 0 ? 20 : 28;
    if (version > 1 || !box.holds(idAt, 4))
        return -1;
    TRACK_FORMAT track;
    track.trackId = box.u32(idAt);
    addTrackData(track);
    return version == 0 ? 92 : 104;
}

int CCENCMediaContent::hdlrBoxParsing(const BoxView& box) {
    if (m_tracks.empty() || !box.holds(16, 4))
        return -1;
    m_tracks.back().handlerType = box.u32(16);
    return consumed(box.size());
}

int CCENCMediaContent::stsdBoxParsing(const BoxView& box) {
    m_sampleEntry = nullptr;
    return box.holds(0, 16) ? 16 : -1;
}

int CCENCMediaContent::sampleEntryParsing(const BoxView& box, unsigned int fields) {
    if (!box.holds(0, fields))
        return -1;
    m_sampleEntry = box.data();
    return static_cast<int>(fields);
}

int CCENCMediaContent::frmaBoxParsing(const BoxView& box) {
    if (m_sampleEntry == nullptr || !box.holds(8, 4))
        return -1;
    updateBoxType(m_sampleEntry, box.u32(8));
    return 12;
}

int CCENCMediaContent::tencBoxParsing(const BoxView& box) {
    if (m_tracks.empty() || !box.holds(0, 32))
        return -1;
    TRACK_FORMAT& track = m_tracks.back();
    track.defaultIsProtected = box.u24(12);
    track.perSampleIvSize = static_cast<unsigned char>(box.u8(15));
    memcpy(track.defaultKid, box.data() + 16, sizeof track.defaultKid);
    track.encrypted = 1;
    return 32;
}

int CCENCMediaContent::moofBoxParsing(const BoxView& moof, const Walk& walk) {
    clearMoof();
    if (!walkChildren(moof, kBoxHeader, {&moof, walk.depth + 1}))
        return -1;
    if (m_moofTracks.empty() || !bindLastTrack(moof))
        return -1;
    return consumed(moof.size());
}

bool CCENCMediaContent::bindLastTrack(const BoxView& moof) {
    const bool isOpen = !m_moofTracks.empty() &&
                        m_moofTracks.back().auxResolved == MOOF_TRACK_FORMAT::AUX_UNRESOLVED;
    return !isOpen || bindTrack(moof, m_moofTracks.back());
}

int CCENCMediaContent::getAuxiliaryDataFormat(unsigned char* moof, size_t bytes) {
    if (m_moofTracks.empty())
        return -1;
    MOOF_TRACK_FORMAT& moofTrack = m_moofTracks.back();
    // A record put together by an embedder owes its samples to nobody's bytes.
    m_visitsLeft = visitsFor(bytes) + 2ULL * moofTrack.samples.size();
    return bindTrack(BoxView(moof, bytes), moofTrack) ? 1 : -1;
}

bool CCENCMediaContent::bindTrack(const BoxView& moof, MOOF_TRACK_FORMAT& moofTrack) {
    const TRACK_FORMAT* const track = findTrack(moofTrack.trackId);
    if (track == nullptr ||
        !bindAuxiliaryData(moof, track->perSampleIvSize, moofTrack, m_visitsLeft))
        return false;
    moofTrack.auxResolved = MOOF_TRACK_FORMAT::AUX_RESOLVED;
    return true;
}

int CCENCMediaContent::saizBoxParsing(const BoxView& box) {
    if (m_moofTrack == nullptr || !box.holds(0, 12))
        return -1;
    const size_t at = (box.u24(9) & kAuxType) != 0 ? 20 : 12;
    if (!box.holds(at, 5))
        return -1;
    const unsigned int size = box.u8(at);
    const unsigned int count = box.u32(at + 1);
    const unsigned int listed = size == 0 ? count : 0;
    updateBoxType(box.data(), kFree);
    if (count != m_moofTrack->sampleCount || !box.holds(at + 5, listed) ||
        !spend(m_visitsLeft, m_moofTrack->samples.size()))
        return -1;
    size_t next = at + 5;
    for (SAMPLE_FORMAT& sample : m_moofTrack->samples)
        sample.auxSize = static_cast<unsigned char>(size == 0 ? box.u8(next++) : size);
    if (m_moofTrack->auxResolved != MOOF_TRACK_FORMAT::AUX_RESOLVED)
        m_moofTrack->auxResolved = MOOF_TRACK_FORMAT::AUX_UNRESOLVED;
    return consumed(next);
}

int CCENCMediaContent::sencBoxParsing(const BoxView& box) {
    const TRACK_FORMAT* const track =
        m_moofTrack == nullptr ? nullptr : findTrack(m_moofTrack->trackId);
    if (track == nullptr || track->perSampleIvSize > kMaxIv || !box.holds(0, 16) ||
        !spend(m_visitsLeft, m_moofTrack->samples.size()))
        return -1;
    const bool hasSubsamples = (box.u24(9) & kSencSubsamples) != 0;
    AuxiliaryReader reader(*m_moofTrack, track->perSampleIvSize, m_visitsLeft);
    if (hasSubsamples)
        reader.expect(box.size());
    size_t at = 16; // the box's own count of samples says nothing that `trun` does not
    for (SAMPLE_FORMAT& sample : m_moofTrack->samples) {
        if (!reader.read(box, at, hasSubsamples, sample))
            return -1;
    }
    m_moofTrack->auxResolved = MOOF_TRACK_FORMAT::AUX_RESOLVED;
    updateBoxType(box.data(), kFree);
    return consumed(at);
}

const TRACK_FORMAT* CCENCMediaContent::findTrack(unsigned int trackId) const {
    const auto found = m_trackOfId.find(trackId);
    return found == m_trackOfId.end() ? nullptr : found->second;
}

void CCENCMediaContent::addTrackData(const TRACK_FORMAT& track) {
    m_tracks.push_back(track);
    m_trackOfId.emplace(track.trackId, &m_tracks.back());
}

void CCENCMediaContent::addMoofTrackData(const MOOF_TRACK_FORMAT& track) {
    m_moofTracks.push_back(track);
    m_moofTrack = &m_moofTracks.back();
}

void CCENCMediaContent::updataBoxSize(unsigned char* box, unsigned int size) {
    storeU32(box, size);
}

void CCENCMediaContent::updateBoxType(unsigned char* box, unsigned int type) {
    storeU32(box + 4, type);
}

unsigned int CCENCMediaContent::getAttributeValue(const unsigned char* field) {
    return static_cast<unsigned int>(field[0]) << 24 | static_cast<unsigned int>(field[1]) << 16 |
           static_cast<unsigned int>(field[2]) << 8 | field[3];
}

void CCENCMediaContent::updateAttributeValue(unsigned char* field, unsigned int value) {
    storeU32(field, value);
}

#include <Hasutil/CCENCMediaContent.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/AuxiliaryData.h>
#include <Hasutil/detail/Base64.h>
#include <Hasutil/detail/BoxTypes.h>
#include <Hasutil/detail/ChunkReader.h>
#include <Hasutil/detail/Fragment.h>
#include <Hasutil/detail/OffsetTable.h>
#include <Hasutil/detail/PsshBox.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

// What logs stands here, whichever part it belongs to, because its lines carry this file's name;
// the rest of the walk and of the descriptors has files of its own beside it.

namespace {

using namespace hascommon::detail;

constexpr size_t kLongHeader = 16;              // with a size of 64 bits
constexpr unsigned long long kToTheEnd = ~0ULL; // as far as anybody will ever count
/// Samples of a fragment that no byte of it stands for: five seconds of PCM at 48 kHz.
constexpr unsigned int kMaxImpliedSamples = 0x40000;
/// Tracks of a fragment; more than any file has.
constexpr size_t kMaxMoofTracks = 1000;

/// Finds the direct child of a type that comes last.
/// @param found  receives where it begins; 0 for none
/// @return false when a child does not fit
bool findLastChild(const BoxView& parent, unsigned int type, size_t& found) {
    found = 0;
    BoxView child;
    for (size_t at = kBoxHeader; at < parent.size(); at += child.size()) {
        if (!parent.child(at, child))
            return false;
        if (child.type() == type)
            found = at;
    }
    return true;
}

/// Bytes of what `tfhd` has behind the track id.
unsigned int trackDefaultBytes(unsigned int flags) {
    unsigned int bytes = (flags & kTfhdBaseOffset) != 0 ? 8 : 0;
    for (const unsigned int field : {kTfhdDescription, kTfhdDuration, kTfhdSize, kTfhdFlags})
        bytes += (flags & field) != 0 ? 4 : 0;
    return bytes;
}

/// @return false when the box does not hold what its flags announce
bool readTrackDefaults(const BoxView& tfhd, MOOF_TRACK_FORMAT& track) {
    size_t at = 16;
    if (!tfhd.holds(at, trackDefaultBytes(track.flags)))
        return false;
    if ((track.flags & kTfhdBaseOffset) != 0) {
        track.baseDataOffset = tfhd.u64(at);
        at += 8;
    }
    const auto read = [&](unsigned int flag, unsigned int& field) {
        if ((track.flags & flag) == 0)
            return;
        field = tfhd.u32(at);
        at += 4;
    };
    read(kTfhdDescription, track.sampleDescriptionIndex);
    read(kTfhdDuration, track.defaultSampleDuration);
    read(kTfhdSize, track.defaultSampleSize);
    read(kTfhdFlags, track.defaultSampleFlags);
    return true;
}

/// Bytes that each sample takes in a `trun`.
unsigned int sampleFieldBytes(unsigned int flags) {
    unsigned int bytes = 0;
    for (const unsigned int field : {kTrunDuration, kTrunSize, kTrunFlags, kTrunTime})
        bytes += (flags & field) != 0 ? 4 : 0;
    return bytes;
}

} // namespace

/// Whose segment it is, and where it goes.
struct CCENCMediaContent::Target {
    int period;
    int representation;
    unsigned char* out;
    unsigned int& used;

    /// Room for `size` bytes; null when the call's result could not count them.
    unsigned char* take(unsigned long long size) {
        if (size > static_cast<unsigned int>(INT_MAX) - used)
            return nullptr;
        unsigned char* const at = out + used;
        used += static_cast<unsigned int>(size);
        return at;
    }

    bool copy(const BoxView& box) {
        unsigned char* const at = take(box.size());
        if (at == nullptr)
            return false;
        memcpy(at, box.data(), box.size());
        return true;
    }
};

CCENCMediaContent::CCENCMediaContent() = default;

CCENCMediaContent::~CCENCMediaContent() = default;

int CCENCMediaContent::init(eDRM_TYPE drmType, bool avSeparated) {
    HAS_LOG_HIGHLIGHTED(" CCENCMediaContent init");
    clearMoov();
    clearStream();
    m_drmType = drmType;
    m_avSeparated = avSeparated;
    m_newSegment = false;
    m_lastError = ERROR_NONE;
    return 1;
}

int CCENCMediaContent::setMode(CONTENT_TYPE mode) {
    m_mode = mode;
    return 1;
}

void CCENCMediaContent::startSegment() {
    m_newSegment = true;
}

void CCENCMediaContent::resetBuffer() {
    clearStream();
    m_newSegment = true;
}

unsigned int CCENCMediaContent::getUndecryptedData() {
    return static_cast<unsigned int>(m_waiting.size());
}

int CCENCMediaContent::getLastErrorCode() {
    return m_lastError;
}

void CCENCMediaContent::clearStream() {
    clearMoof();
    m_waiting.clear();
    m_boxType = 0;
    m_boxLeft = 0;
    m_isPassing = false;
    m_position = 0;
    m_inserted = 0;
}

int CCENCMediaContent::fail(int error) {
    m_lastError = error;
    return -1;
}

int CCENCMediaContent::process(int period, int representation, unsigned char* in,
                               unsigned int inLen, unsigned char* out, unsigned int& outLen) {
    outLen = 0;
    if (isMediaOnly(in, inLen, out)) {
        memcpy(out, in, inLen);
        m_boxLeft -= inLen;
        m_position += inLen;
        outLen = inLen;
        return static_cast<int>(inLen);
    }
    if ((in == nullptr && inLen != 0) || (out == nullptr && inLen + m_waiting.size() != 0))
        return fail(ERROR_ARGUMENT);
    if (m_newSegment)
        clearStream();
    m_newSegment = false;
    if (!resizeBuffer(inLen))
        return fail(ERROR_BUFFER_LIMIT);
    Target target{period, representation, out, outLen};
    if (takeChunk(in, inLen, target))
        return static_cast<int>(outLen);
    resetBuffer();
    return -1;
}

/// @return false after a failure
bool CCENCMediaContent::takeChunk(unsigned char* in, unsigned int inLen, Target& target) {
    // Nothing follows a call without input, so a box may then be as short as its header.
    const size_t least = inLen == 0 ? kBoxHeader : kBoxHeader + 1;
    ChunkReader reader(m_waiting, in, inLen, kBufferLimit);
    Step step = Step::Done;
    try {
        while (step == Step::Done && reader.available() >= (m_isPassing ? 1 : least))
            step = emitNext(reader, target);
        if (step != Step::Failed)
            reader.keepRest();
    } catch (const std::bad_alloc&) {
        fail(ERROR_MEMORY);
        step = Step::Failed;
    }
    return step != Step::Failed;
}

/// Whether a chunk is media data from end to end, and only that, as most chunks are.
bool CCENCMediaContent::isMediaOnly(const unsigned char* in, unsigned int inLen,
                                    const unsigned char* out) const {
    return m_isPassing && inLen < m_boxLeft && inLen < m_capacity && !m_newSegment &&
           m_waiting.empty() && in != nullptr && out != nullptr;
}

/// Nothing is allocated here: most chunks never wait. The lines tell what might have to.
bool CCENCMediaContent::resizeBuffer(unsigned int inLen) {
    const unsigned long long needed = m_waiting.size() + 1ULL * inLen;
    if (needed < m_capacity)
        return true;
    if (needed > kBufferLimit) {
        HAS_LOG(" [*] m_nRemainSize : %d", static_cast<int>(m_waiting.size()));
        HAS_LOG(" [*] nDataSize : %d", static_cast<int>(inLen));
        HAS_LOG(" [*] resizeBuffer( %d )", static_cast<int>(needed + 1));
        return false;
    }
    m_capacity = static_cast<unsigned int>(needed + 1);
    HAS_LOG(" [*] resizeBuffer( %d )", static_cast<int>(m_capacity));
    return true;
}

CCENCMediaContent::Step CCENCMediaContent::emitNext(ChunkReader& reader, Target& target) {
    if (m_boxLeft == 0) {
        const Step begun = beginBox(reader);
        if (begun != Step::Done)
            return begun;
    }
    if (m_isPassing)
        return passMedia(reader, target);
    const auto size = static_cast<size_t>(m_boxLeft);
    if (reader.available() < size)
        return Step::Waits;
    const unsigned int used = target.used;
    if (!emitBox(BoxView(reader.front(size), size), target)) {
        target.used = used;
        fail(ERROR_BOX_CONTENT);
        return Step::Failed;
    }
    reader.drop(size);
    m_position += size;
    m_boxLeft = 0;
    return Step::Done;
}

CCENCMediaContent::Step CCENCMediaContent::passMedia(ChunkReader& reader, Target& target) {
    const auto size =
        static_cast<size_t>(std::min<unsigned long long>(m_boxLeft, reader.available()));
    unsigned char* const out = target.take(size);
    if (out == nullptr) {
        fail(ERROR_BOX_CONTENT);
        return Step::Failed;
    }
    reader.pass(out, size);
    m_boxLeft -= size;
    m_position += size;
    m_isPassing = m_boxLeft != 0;
    return Step::Done;
}

CCENCMediaContent::Step CCENCMediaContent::beginBox(ChunkReader& reader) {
    const BoxView header(reader.front(kBoxHeader), kBoxHeader); // until the next front()
    const unsigned int type = header.type();
    const bool isMedia = type == kMdat;
    unsigned long long size = header.u32(0);
    unsigned long long least = kBoxHeader;
    if (isMedia && size == 0)
        size = kToTheEnd;
    if (isMedia && size == 1) {
        if (reader.available() < kLongHeader)
            return Step::Waits;
        size = BoxView(reader.front(kLongHeader), kLongHeader).u64(kBoxHeader);
        least = kLongHeader;
    }
    if (size < least || (!isMedia && size >= kBufferLimit)) {
        HAS_LOG_HIGHLIGHTED("  [Error] Invalid boxSize: %d", static_cast<int>(size));
        fail(ERROR_BOX_SIZE);
        return Step::Failed;
    }
    m_boxType = type;
    m_boxLeft = size;
    m_isPassing = isMedia;
    return Step::Done;
}

bool CCENCMediaContent::emitBox(const BoxView& box, Target& target) {
    if (m_boxType == kMoov)
        return emitMoov(box, target);
    if (m_boxType == kMoof)
        return emitMoof(box, target);
    return target.copy(box);
}

bool CCENCMediaContent::emitMoov(const BoxView& moov, Target& target) {
    HAS_LOG_HIGHLIGHTED(" Process moov box.");
    size_t psshAt = 0;
    if (!findLastChild(moov, kPssh, psshAt))
        return false;
    BoxView child;
    for (size_t at = kBoxHeader; moov.child(at, child); at += child.size()) {
        if (child.type() == kPssh && psshBoxParsing(child) < 0)
            return false;
    }
    return m_avSeparated ? emitSeparateMoov(moov, psshAt, target)
                         : emitMuxedMoov(moov, psshAt, target);
}

bool CCENCMediaContent::emitSeparateMoov(const BoxView& moov, size_t psshAt, Target& target) {
    HAS_LOG("[*] media is AVSep.");
    unsigned char* const out = target.take(moov.size());
    if (out == nullptr)
        return false;
    memcpy(out, moov.data(), moov.size());
    if (psshAt != 0 && !m_psshData.empty()) {
        updateBoxType(out + psshAt, kFree);
        HAS_LOG_HIGHLIGHTED(" Change PSSH Box Type to FREE.");
    }
    return true;
}

bool CCENCMediaContent::emitMuxedMoov(const BoxView& moov, size_t psshAt, Target& target) {
    dashengine::ContentProtection_t descriptor;
    if (findContentProtection(target.period, target.representation, descriptor) == 0)
        return target.copy(moov);
    const std::string text = getPsshData(descriptor);
    const PsshBox pssh{getSystemID(descriptor), base64Decode(text)};
    HAS_LOG_HIGHLIGHTED(" AVMux Get PSSH Box Infomation From MPD.period:%d, rprst:%d",
                        target.period, target.representation);
    HAS_LOG("AVMux Get PSSH Box Infomation From MPD PsshInfo:%s", text.c_str());

    const size_t before = psshAt != 0 ? psshAt : moov.size();
    const size_t replaced = psshAt != 0 ? moov.u32(psshAt) : 0;
    const unsigned long long size = moov.size() - replaced + pssh.size();
    unsigned char* const out = target.take(size);
    if (out == nullptr)
        return false;
    memcpy(out, moov.data(), before);
    updataBoxSize(out, static_cast<unsigned int>(size));
    pssh.write(out + before);
    const size_t behind = before + replaced;
    memcpy(out + before + pssh.size(), moov.data() + behind, moov.size() - behind);
    const auto grown = static_cast<long long>(pssh.size()) - static_cast<long long>(replaced);
    m_inserted += grown;
    return moveSampleTables(BoxView(out, static_cast<size_t>(size)), m_position + behind, grown);
}

bool CCENCMediaContent::emitMoof(const BoxView& moof, Target& target) {
    HAS_LOG("Process moof box.");
    if (!isFragmentSound(moof))
        return false;
    PsshBox pssh;
    const bool inserts = choosePssh(lookIntoMoof(moof), target, pssh);
    const unsigned long long added = inserts ? pssh.size() : 0;
    unsigned char* const out = target.take(moof.size() + added);
    if (out == nullptr)
        return false;
    memcpy(out, moof.data(), moof.size());
    const Moved moved{m_inserted, static_cast<unsigned int>(added), m_position};
    if (!moveFragment(BoxView(out, moof.size()), moved))
        return false;
    if (inserts) {
        updataBoxSize(out, static_cast<unsigned int>(moof.size() + added));
        pssh.write(out + moof.size());
    }
    m_inserted += static_cast<long long>(added);
    return true;
}

/// @return whether the fragment carries a `pssh` of its own
bool CCENCMediaContent::lookIntoMoof(const BoxView& moof) {
    bool hasPssh = false;
    BoxView child;
    for (size_t at = kBoxHeader; moof.child(at, child); at += child.size()) {
        hasPssh = hasPssh || child.type() == kPssh;
        if (child.type() != kTraf)
            continue;
        HAS_LOG("Process traf box.");
        const int offset = parsingTrafBox(child);
        if (offset >= 0)
            HAS_LOG("Offset is %d.", static_cast<int>(at) + offset);
    }
    return hasPssh;
}

/// @return whether a box is to be inserted into the fragment
bool CCENCMediaContent::choosePssh(bool hasOwn, const Target& target, PsshBox& pssh) {
    if (!m_avSeparated) {
        HAS_LOG("Media is AV Mux.");
        return false;
    }
    HAS_LOG("Media is AV Sep.");
    if (hasOwn) {
        HAS_LOG("Do not need to insert pssh box.");
        return false;
    }
    dashengine::ContentProtection_t descriptor;
    const bool isDescribed =
        findContentProtection(target.period, target.representation, descriptor) != 0;
    if (isDescribed)
        pssh = {getSystemID(descriptor), base64Decode(getPsshData(descriptor))};
    if (pssh.data.empty() && !m_psshData.empty())
        pssh = {m_psshSystemId, m_psshData};
    else if (!isDescribed)
        return false;
    HAS_LOG("Pssh box size:%d.", static_cast<int>(pssh.size()));
    if (!pssh.systemId.empty())
        HAS_LOG("Get Pssh box systemID.");
    return true;
}

int CCENCMediaContent::parsingTrafBox(unsigned char* traf) {
    return parsingTrafBox(BoxView(traf, getAttributeValue(traf)));
}

int CCENCMediaContent::parsingTrafBox(const BoxView& traf) {
    BoxView child;
    for (size_t at = kBoxHeader; at < traf.size(); at += child.size()) {
        if (!traf.child(at, child))
            return -1;
        if (child.type() != kTrun)
            continue;
        HAS_LOG("Process trun box.");
        return parsingTrunBox(child) < 0 ? -1 : static_cast<int>(at + kDataOffsetAt);
    }
    HAS_LOG("Trun box is not exist!");
    return -1;
}

int CCENCMediaContent::parsingTrunBox(unsigned char* trun) {
    return parsingTrunBox(BoxView(trun, getAttributeValue(trun)));
}

int CCENCMediaContent::parsingTrunBox(const BoxView& trun) {
    if (trun.holds(kDataOffsetAt, 4) && (trun.u24(9) & kTrunDataOffset) != 0)
        return 1;
    HAS_LOG("data_offset attribute is not exist.");
    return -1;
}

int CCENCMediaContent::final(int period, int representation, unsigned char* out,
                             unsigned int& outLen) {
    HAS_LOG("[OnFinal]----------------------- m_nRemainSize: %d",
            static_cast<int>(m_waiting.size()));
    unsigned int total = 0;
    bool goesOn = true;
    while (goesOn && !m_waiting.empty()) {
        const size_t waited = m_waiting.size();
        unsigned int size = 0;
        unsigned char* const at = out == nullptr ? nullptr : out + total;
        const int result = process(period, representation, nullptr, 0, at, size);
        total += size;
        if (result > 0)
            HAS_LOG("[OnFinal]----------------------- finalSize: %d, m_nRemainSize: %d, nOutSize: "
                    "%d",
                    static_cast<int>(total), static_cast<int>(m_waiting.size()),
                    static_cast<int>(size));
        else
            HAS_LOG("[OnFinal]Decrypted: %d", result);
        goesOn = result > 0 || (result == 0 && m_waiting.size() < waited);
    }
    outLen = total;
    clearStream();
    m_newSegment = false;
    return 1;
}

std::string CCENCMediaContent::base64Decode(std::string text) {
    if (text.size() % 4 != 0)
        return {};
    std::string bytes = decodeBase64Groups(text);
    const size_t lastOther = text.find_last_not_of('=');
    const size_t padding = text.size() - (lastOther == std::string::npos ? 0 : lastOther + 1);
    HAS_LOG("[*] num of [=] ( %d )", static_cast<int>(padding));
    if (padding > 2)
        HAS_LOG_HIGHLIGHTED("  [ERROR] num of = should less than two( %d )",
                            static_cast<int>(padding));
    else
        bytes.resize(bytes.size() - padding);
    return bytes;
}

int CCENCMediaContent::moovBoxParsing() {
    HAS_LOG(">> moov box parsing");
    clearMoov();
    return static_cast<int>(kBoxHeader);
}

int CCENCMediaContent::psshBoxParsing(const BoxView& box) {
    PsshData data;
    if (!findPsshData(box, data))
        return -1;
    HAS_LOG("psshBoxParsing-pBoxData");
    if (data.size != 0) {
        const auto* const bytes = reinterpret_cast<const char*>(box.data());
        m_psshData.assign(bytes + data.at, data.size);
        m_psshSystemId.assign(bytes + kSystemIdAt, kSystemId);
    }
    return static_cast<int>(data.at + data.size);
}

int CCENCMediaContent::tfhdBoxParsing(const BoxView& box) {
    if (!box.holds(0, 16) || m_moofTracks.size() >= kMaxMoofTracks)
        return -1;
    MOOF_TRACK_FORMAT track;
    track.flags = box.u24(9);
    track.trackId = box.u32(12);
    HAS_LOG("#TFHD# nFlag: %d", static_cast<int>(track.flags));
    if (!readTrackDefaults(box, track))
        return -1;
    if (findTrack(track.trackId) != nullptr)
        addMoofTrackData(track);
    else
        m_moofTrack = nullptr; // nothing of this `traf` is kept
    return static_cast<int>(16 + trackDefaultBytes(track.flags));
}

int CCENCMediaContent::trunBoxParsing(const BoxView& box) {
    if (!box.holds(0, 16))
        return -1;
    const unsigned int flags = box.u24(9);
    const unsigned int count = box.u32(12);
    const size_t at =
        16 + ((flags & kTrunDataOffset) != 0 ? 4 : 0) + ((flags & kTrunFirstFlags) != 0 ? 4 : 0);
    const unsigned int each = sampleFieldBytes(flags);
    const unsigned int implied = each == 0 ? count : 0;
    if (!box.holds(at, 1ULL * each * count) || implied > kMaxImpliedSamples - m_impliedSamples ||
        !spend(m_visitsLeft, count))
        return -1;
    if ((flags & kTrunDataOffset) != 0) {
        const auto offset = static_cast<int>(box.u32(kDataOffsetAt));
        HAS_LOG(" [*] \tBaseOffset : %d", offset);
        if (m_moofTrack != nullptr)
            m_moofTrack->dataOffset = offset;
    }
    m_impliedSamples += implied;
    const size_t bytes = size_t{each} * count;
    readSamples(BoxView(box.data() + at, bytes), flags, count);
    return consumed(at + bytes);
}

/// Appends the samples of a run to the current moof track, when there is one.
void CCENCMediaContent::readSamples(const BoxView& fields, unsigned int flags, unsigned int count) {
    unsigned int total = 0;
    size_t at = 0;
    SAMPLE_FORMAT sample;
    sample.size = m_moofTrack != nullptr ? m_moofTrack->defaultSampleSize : 0;
    if (m_moofTrack != nullptr)
        makeRoom(m_moofTrack->samples, count);
    for (unsigned int i = 0; i < count; ++i) {
        at += (flags & kTrunDuration) != 0 ? 4 : 0;
        if ((flags & kTrunSize) != 0) {
            sample.size = fields.u32(at);
            HAS_LOG("#TRUN#, uSampleSize: %d", static_cast<int>(sample.size));
            at += 4;
        }
        if ((flags & kTrunFlags) != 0) {
            HAS_LOG("#TRUN#, uSampleFlag: %d", static_cast<int>(fields.u32(at)));
            at += 4;
        }
        at += (flags & kTrunTime) != 0 ? 4 : 0;
        total += sample.size;
        if (m_moofTrack != nullptr)
            m_moofTrack->samples.push_back(sample);
    }
    HAS_LOG(" [*] \t total sample size : %d", static_cast<int>(total));
    HAS_LOG(" [*] \t total sample count : %d", static_cast<int>(count));
    if (m_moofTrack == nullptr)
        return;
    m_moofTrack->sampleCount += count;
    m_moofTrack->runSampleCounts.push_back(count);
}

int CCENCMediaContent::saioBoxParsing(const BoxView& box) {
    OffsetTable entries;
    if (m_moofTrack == nullptr || !findSaioEntries(box, entries))
        return -1;
    m_moofTrack->saioCount = entries.count;
    m_moofTrack->saioOffsets.clear();
    for (unsigned int i = 0; i < entries.count; ++i) {
        const BoxView entry = entries.entry(box, i);
        const bool isLong = entry.size() == 8;
        const unsigned int low = entry.u32(isLong ? 4 : 0);
        m_moofTrack->saioOffsets.push_back(low);
        if (isLong)
            m_moofTrack->saioOffsets.push_back(entry.u32(0));
        HAS_LOG(" [*] szio::offset ( %d )", static_cast<int>(low));
    }
    updateBoxType(box.data(), kFree);
    return consumed(entries.at + 1ULL * entries.count * entries.width);
}

#include "TransportStreamPid.h"

#include "SequenceSet.h"

#include <algorithm>

namespace hastool {
namespace {

constexpr double kClock = 90000;
constexpr unsigned kAvc = 0x1B;
constexpr unsigned kHevc = 0x24;
constexpr unsigned kEncryptedAvc = 0xDB; // single blocks of its slices are
constexpr unsigned kAdts = 0x0F;

bool isAvc(unsigned type) {
    return type == kAvc || type == kEncryptedAvc;
}

} // namespace

std::optional<StreamFacts::Kind> kindOfStreamType(unsigned type) {
    switch (type) {
    case 0x01:
    case 0x02:
    case 0x10:
    case kAvc:
    case kHevc:
    case kEncryptedAvc:
        return StreamFacts::Kind::Video;
    case 0x03:
    case 0x04:
    case kAdts:
    case 0x11:
    case 0x81:
    case 0x87:
    case 0xC1: // the same, encrypted
    case 0xC2:
    case 0xCF:
        return StreamFacts::Kind::Audio;
    case 0x06:
        return StreamFacts::Kind::Other;
    default:
        return std::nullopt;
    }
}

TransportStreamPid::TransportStreamPid(int pid, unsigned type)
    : m_type(type)
    , m_picture(isAvc(type) ? NalCoding::Avc : NalCoding::Hevc)
    , m_isVideo(isAvc(type) || type == kHevc) {
    m_facts.kind = kindOfStreamType(type).value_or(StreamFacts::Kind::Other);
    m_facts.id = static_cast<uint32_t>(pid);
    if (type == 0x81 || type == 0x87)
        m_facts.codec = type == 0x81 ? "ac-3" : "ec-3";
}

void TransportStreamPid::push(const TsUnit& unit, PidFacts& facts) {
    if (unit.isUnitStart())
        beginPes(unit, facts);
    else if (m_isInside)
        takePayload(unit.payload(), unit.payloadSize());
}

void TransportStreamPid::beginPes(const TsUnit& unit, PidFacts& facts) {
    endPicture();
    const auto times = readPesTimes(unit.payload(), unit.payloadSize());
    m_isInside = times && times->payloadAt <= unit.payloadSize();
    if (!times)
        return;
    takeTimes(*times, facts);
    m_picture.begin();
    m_isAccess = (unit.adaptationFlags() & 0x40) != 0;
    if (m_isInside)
        takePayload(unit.payload() + times->payloadAt, unit.payloadSize() - times->payloadAt);
}

void TransportStreamPid::takeTimes(const PesTimes& times, PidFacts& facts) {
    if (!times.presented)
        return;
    ++facts.timestamps;
    ++m_units;
    const int64_t decoded = m_clock.extend(*times.decoded);
    // Pictures wait for seconds at most, so that the nearest of the possible times is the one.
    LongClock near;
    near.extend(*times.decoded);
    const int64_t shift = decoded - static_cast<int64_t>(*times.decoded);
    const int64_t presented = near.extend(*times.presented) + shift;
    facts.decodeDisorders += m_lastDecoded && decoded < *m_lastDecoded ? 1 : 0;
    facts.presentedBeforeDecode += presented < decoded ? 1 : 0;
    m_firstDecoded = m_firstDecoded.value_or(decoded);
    m_lastDecoded = decoded;
    m_first = std::min(m_first.value_or(presented), presented);
    m_last = std::max(m_last.value_or(presented), presented);
}

void TransportStreamPid::takePayload(const unsigned char* data, size_t size) {
    if (m_type == kAdts)
        m_adts.push(data, size);
    else if (m_isVideo)
        m_picture.push(data, size);
}

void TransportStreamPid::endPicture() {
    if (!m_isVideo || !m_isInside || !m_picture.hasSlice())
        return;
    const bool isKey = m_picture.isKey() || (m_picture.isIntra() && m_isAccess);
    m_facts.keyFrames += isKey ? 1 : 0;
    if (!m_facts.beginsWithKey)
        m_facts.beginsWithKey = isKey;
    if (m_facts.codec.empty() && !m_picture.sequenceSet().empty())
        describe(m_picture.sequenceSet(), "avc1", m_facts);
}

std::optional<StreamFacts> TransportStreamPid::finish() {
    endPicture();
    if (m_units == 0)
        return std::nullopt;
    m_facts.start = static_cast<double>(*m_first) / kClock;
    m_facts.decodeStart = static_cast<double>(*m_firstDecoded) / kClock;
    tellLength(m_facts);
    return m_facts;
}

/// Frames of AAC are counted; elsewhere the last unit is as long as the others are on average.
void TransportStreamPid::tellLength(StreamFacts& facts) const {
    facts.frames = m_units;
    const double span = static_cast<double>(*m_last - *m_first) / kClock;
    if (m_units > 1) {
        facts.frameSeconds = span / static_cast<double>(m_units - 1);
        facts.seconds = span + facts.frameSeconds;
    }
    if (m_adts.frames() == 0)
        return;
    facts.frames = m_adts.frames();
    facts.seconds = m_adts.seconds();
    facts.frameSeconds = facts.seconds / static_cast<double>(facts.frames);
    facts.sampleRate = m_adts.sampleRate();
    facts.channels = m_adts.channels();
    facts.codec = m_adts.codec();
}

} // namespace hastool

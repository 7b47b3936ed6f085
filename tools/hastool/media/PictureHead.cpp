#include "PictureHead.h"

#include <hastool/base/BoxView.h>

#include <algorithm>
#include <cstring>

namespace hastool {
namespace {

constexpr size_t kStartCode = 3;
constexpr size_t kNeeded = kStartCode + 2; // with a unit's header and one byte of a slice

// Units of H.264.
constexpr unsigned kFirstSlice = 1;
constexpr unsigned kIdrSlice = 5;
constexpr unsigned kMessages = 6;
constexpr unsigned kSequenceSet = 7;
constexpr unsigned kRecoveryPoint = 6; // type of a message

// Units of H.265.
constexpr unsigned kLastSliceHevc = 31;
constexpr unsigned kFirstAccessPoint = 16;
constexpr unsigned kLastAccessPoint = 23;

/// Whether messages of H.264 (7.3.2.3) have a recovery point among them.
bool hasRecoveryPoint(const unsigned char* at, const unsigned char* end) {
    const auto number = [&at, end] {
        unsigned value = 0;
        while (at != end && *at == 0xFF) {
            value += *at++;
        }
        return at != end ? value + *at++ : value;
    };
    while (end - at >= 2) {
        const unsigned type = number();
        const size_t size = number();
        if (type == kRecoveryPoint)
            return true;
        at += std::min(size, static_cast<size_t>(end - at));
    }
    return false;
}

/// Whether a slice of H.264 that begins with the first macroblock is of type I (7.4.3).
bool isIntraSlice(unsigned char byte) {
    return (byte & 0xF0) == 0xB0 || byte == 0x88;
}

} // namespace

void PictureHead::begin() {
    m_bytes.clear();
    m_at = 0;
    m_unit = 0;
    m_isDone = false;
    m_hasSlice = false;
    m_isKey = false;
    m_isIntra = false;
    m_set.clear();
}

void PictureHead::push(const unsigned char* data, size_t size) {
    if (m_isDone)
        return;
    m_bytes.insert(m_bytes.end(), data, data + std::min(size, kMaxHead - m_bytes.size()));
    scan();
    m_isDone = m_isDone || m_bytes.size() == kMaxHead;
}

void PictureHead::scan() {
    while (!m_isDone && m_bytes.size() - m_at >= kNeeded) {
        const unsigned char* const from = m_bytes.data() + m_at;
        const size_t left = m_bytes.size() - m_at;
        const void* const one = std::memchr(from + 2, 1, left - kNeeded + 1);
        if (one == nullptr) {
            m_at += left - kNeeded + 1;
            return;
        }
        const size_t code = static_cast<size_t>(static_cast<const unsigned char*>(one) - from);
        m_at += code - 1;
        if (from[code - 1] != 0 || from[code - 2] != 0)
            continue;
        if (m_unit > 0)
            takeUnit(m_at - 1);
        m_unit = m_at + 2;
        m_at = m_unit;
        takeHeader(m_bytes[m_unit], m_bytes[m_unit + 1]);
    }
}

/// Looks at the first bytes of a unit, which tell a slice.
void PictureHead::takeHeader(unsigned char header, unsigned char next) {
    const unsigned type = m_coding == NalCoding::Avc ? header & 0x1F : header >> 1 & 0x3F;
    if (m_coding == NalCoding::Avc) {
        m_hasSlice = type >= kFirstSlice && type <= kIdrSlice;
        m_isKey = m_isKey || type == kIdrSlice;
        m_isIntra = m_hasSlice && isIntraSlice(next);
    } else {
        m_hasSlice = type <= kLastSliceHevc;
        m_isKey = type >= kFirstAccessPoint && type <= kLastAccessPoint;
    }
    m_isDone = m_hasSlice;
}

/// Looks at a whole unit before the slices.
void PictureHead::takeUnit(size_t end) {
    const unsigned type = m_bytes[m_unit] & 0x1F;
    if (m_coding != NalCoding::Avc || end <= m_unit)
        return;
    const unsigned char* const unit = m_bytes.data() + m_unit;
    if (type == kSequenceSet && m_set.empty())
        m_set.assign(unit, unit + (end - m_unit));
    else if (type == kMessages && hasRecoveryPoint(unit + 1, m_bytes.data() + end))
        m_isKey = true;
}

std::optional<bool> isKeySample(std::string_view sample, unsigned lengthSize, NalCoding coding,
                                bool isMarked) {
    bool hasRecovery = false;
    ByteReader reader(sample);
    while (const auto size = reader.number(lengthSize)) {
        const std::string_view rest = reader.rest();
        const auto used = static_cast<size_t>(std::min<uint64_t>(*size, rest.size()));
        reader.skip(used);
        if (used < 2)
            continue;
        const auto* const unit = reinterpret_cast<const unsigned char*>(rest.data());
        if (coding == NalCoding::Hevc) {
            const unsigned type = unit[0] >> 1 & 0x3F;
            if (type <= kLastSliceHevc)
                return type >= kFirstAccessPoint && type <= kLastAccessPoint;
            continue;
        }
        const unsigned type = unit[0] & 0x1F;
        if (type >= kFirstSlice && type <= kIdrSlice)
            return type == kIdrSlice || hasRecovery || (isMarked && isIntraSlice(unit[1]));
        hasRecovery = hasRecovery || (type == kMessages && hasRecoveryPoint(unit + 1, unit + used));
    }
    return std::nullopt;
}

} // namespace hastool

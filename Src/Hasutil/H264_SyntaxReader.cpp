#include <Hasutil/H264_SyntaxReader.h>

#include <algorithm>
#include <climits>
#include <cstdint>

namespace hascommon {

namespace {

constexpr int kEndOfData = -9;
constexpr int kFailed = -1;
constexpr unsigned int kByteBits = 8;
constexpr unsigned int kValueBits = 32;
constexpr unsigned char kEmulationPrevention = 3;

} // namespace

H264_SyntaxReader::H264_SyntaxReader(Packet* packet)
    : m_packet(packet) {}

H264_SyntaxReader::~H264_SyntaxReader() = default;

bool H264_SyntaxReader::fetch(unsigned char& byte) {
    if (m_packet == nullptr || m_packet->GetPtr() == nullptr)
        return false;
    // More left than there is: the position lies behind the end or before the start.
    const unsigned int size = m_packet->GetSize();
    const auto left = static_cast<unsigned int>(m_packet->GetDataSize());
    if (left == 0 || left > size)
        return false;
    byte = m_packet->GetPtr()[size - left];
    m_packet->MoveDataPos(1);
    return true;
}

int H264_SyntaxReader::Increment(unsigned char& byte) {
    byte = 0;
    if (!fetch(byte))
        return kEndOfData;
    if (byte == kEmulationPrevention && m_zeroRun == 2) {
        byte = 0;
        if (!fetch(byte))
            return kEndOfData;
        m_zeroRun = 0;
        return 0;
    }
    m_zeroRun = byte == 0 && m_zeroRun < 2 ? m_zeroRun + 1 : 0;
    return 0;
}

int H264_SyntaxReader::LoadByte() {
    if (m_bitIndex < kByteBits)
        return 0;
    m_bitIndex = 0;
    return Increment(m_byte);
}

unsigned int H264_SyntaxReader::GetBitIncrement() {
    const unsigned int index = m_bitIndex++;
    if (index >= kByteBits)
        return 0;
    return (static_cast<unsigned int>(m_byte) >> (kByteBits - 1 - index)) & 1U;
}

int H264_SyntaxReader::CountGolombLength(int& zeros) {
    uint64_t count = 0;
    while (LoadByte() == 0) {
        // The bits not taken yet, at the top of the byte.
        const unsigned int rest = (static_cast<unsigned int>(m_byte) << m_bitIndex) & 0xFFU;
        if (rest == 0) {
            count += kByteBits - m_bitIndex;
            m_bitIndex = kByteBits;
            continue;
        }
        const auto leading = static_cast<unsigned int>(__builtin_clz(rest)) - (kValueBits - 8);
        count += leading;
        m_bitIndex += leading + 1;
        zeros = static_cast<int>(std::min<uint64_t>(count, INT_MAX));
        return 0;
    }
    return kFailed;
}

int H264_SyntaxReader::ReadU(unsigned int n, unsigned int& value) {
    unsigned int bits = 0;
    while (n > 0) {
        if (LoadByte() != 0)
            return kFailed;
        const unsigned int taken = std::min(n, kByteBits - m_bitIndex);
        const unsigned int shift = kByteBits - m_bitIndex - taken;
        bits = bits << taken | ((static_cast<unsigned int>(m_byte) >> shift) & ((1U << taken) - 1));
        m_bitIndex += taken;
        n -= taken;
    }
    value = bits;
    return 0;
}

int H264_SyntaxReader::ReadUE(unsigned int& value) {
    value = 0;
    int zeros = 0;
    if (CountGolombLength(zeros) != 0)
        return kFailed;
    const auto length = static_cast<unsigned int>(zeros);
    unsigned int bits = 0;
    if (ReadU(length, bits) != 0)
        return kFailed;
    value = bits + (length < kValueBits ? 1U << length : 0U) - 1U;
    return 0;
}

int H264_SyntaxReader::ReadSE(int& value) {
    unsigned int code = 0;
    if (ReadUE(code) != 0)
        return kFailed;
    const unsigned int half = code >> 1;
    value = static_cast<int>((code & 1U) != 0 ? half + 1 : 0U - half);
    return 0;
}

int read_scaling_list(H264_SyntaxReader& reader, unsigned int size) {
    unsigned int last = 8;
    for (unsigned int i = 0; i < size; ++i) {
        int delta = 0;
        if (reader.ReadSE(delta) != 0)
            return 0;
        // Modulo 256, which unsigned arithmetic keeps for negative deltas as well.
        const unsigned int next = (last + static_cast<unsigned int>(delta)) & 0xFFU;
        if (next == 0)
            return 1; // the rest of the list repeats the last value and is not in the stream
        last = next;
    }
    return 1;
}

} // namespace hascommon

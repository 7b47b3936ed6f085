// The bit reader and the bit builder, by sequences of operations against plain models.
#include <Hascommon/BitstreamBuilder.h>
#include <Hascommon/BitstreamReader.h>
#include <Hascommon/Packet.h>
#include <Input.h>
#include <support/ExactBytes.h>
#include <support/PlainBitReader.h>

namespace {

using fuzz::Input;
using fuzz::require;
using test::ExactBytes;
using test::PlainBitReader;

int count(Input& input) {
    const unsigned int n = input.byte();
    return n < 250 ? static_cast<int>(n % 70) - 1 : static_cast<int>(input.word() << 16);
}

void readOnce(Input& input, hascommon::BitstreamReader& reader, PlainBitReader& plain) {
    const unsigned int operation = input.byte() % 5;
    const int n = count(input);
    unsigned int expected = 7;
    unsigned int value = 7;
    int number = 7;
    unsigned long long wide = 7;
    switch (operation) {
    case 0:
        reader.GetBits(n, value);
        plain.get(n, expected);
        return require(value == expected);
    case 1:
        reader.GetBits(n, number);
        plain.get(n, expected);
        return require(number == static_cast<int>(expected));
    case 2:
        reader.GetBits(n, wide);
        plain.get(n, expected);
        return require(wide == static_cast<unsigned long long>(static_cast<int>(expected)));
    case 3:
        reader.SkipBits(n);
        return plain.skipBits(n);
    default:
        reader.SkipBytes(n);
        return plain.skipBytes(n);
    }
}

void read(Input input) {
    const ExactBytes bytes(input.bytes(input.byte() % 64));
    hascommon::BitstreamReader reader;
    reader.Reset(bytes.data(), bytes.intSize());
    PlainBitReader plain(bytes);
    while (!input.empty())
        readOnce(input, reader, plain);
}

/// A model of the builder, bit by bit, for values that fit their fields.
class PlainBuilder {
public:
    explicit PlainBuilder(const ExactBytes& bytes)
        : m_bytes(bytes.copy()) {}

    void add(unsigned int value, int n) {
        if (n < 0 || m_at >= m_bytes.size() * 8)
            return;
        if (!m_begun && !m_bytes.empty())
            m_bytes[0] = 0;
        m_begun = true;
        for (int64_t i = int64_t{n} - 1; i >= 0 && m_at < m_bytes.size() * 8; --i, ++m_at)
            set(i < 32 ? value >> i & 1U : 0);
    }
    const std::vector<unsigned char>& bytes() const { return m_bytes; }

private:
    void set(unsigned int bit) {
        const unsigned int mask = 0x80U >> m_at % 8;
        unsigned char& byte = m_bytes[m_at / 8];
        byte = static_cast<unsigned char>(bit != 0 ? byte | mask : byte & ~mask);
    }

    std::vector<unsigned char> m_bytes;
    size_t m_at = 0;
    bool m_begun = false;
};

void build(Input input) {
    const ExactBytes bytes(input.bytes(input.byte() % 64));
    PlainBuilder plain(bytes);
    hascommon::BitstreamBuilder builder;
    builder.Reset(bytes.data(), bytes.intSize());
    while (!input.empty()) {
        const int n = count(input);
        unsigned int value = input.word() << 16 | input.word();
        if (n < 32)
            value = n <= 0 ? 0 : value & ((1U << n) - 1);
        builder.AddBits(value, n);
        plain.add(value, n);
    }
    require(bytes.copy() == plain.bytes());
}

/// A packet's reads must stay inside its buffer and agree with its positions, whatever these are
/// set to.
void readPacket(Input input) {
    const ExactBytes bytes(input.bytes(input.byte() % 64));
    hascommon::Packet packet;
    packet.SetPtr(bytes.data(), bytes.uintSize());
    unsigned int position = 0;
    while (!input.empty()) {
        const unsigned int operation = input.byte() % 4;
        const auto n = static_cast<unsigned int>(count(input));
        if (operation == 0) {
            const ExactBytes out(n < 1000 ? n : 0);
            const bool held = static_cast<uint64_t>(position) + n < bytes.size();
            require((packet.GetByte(out.data(), n) == 0) == held);
            position += held ? n : 0;
        } else if (operation == 1) {
            packet.UngetByte(n);
            position -= n;
        } else if (operation == 2) {
            packet.ResetPos();
            position = 0;
        } else {
            packet.MoveDataPos(static_cast<int>(n));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Input input(data, size);
    read(input);
    build(input);
    readPacket(input);
    return 0;
}

#include <tools/hastool/TsBuilder.h>

#include <hastool/media/PesPayload.h>

#include <gtest/gtest.h>

using test::Bytes;
using test::Packet;

namespace {

Bytes payloadOf(const std::vector<Packet>& packets) {
    Bytes result;
    hastool::PesPayload payload([&result](const unsigned char* data, size_t size) {
        result.insert(result.end(), data, data + size);
    });
    for (const Packet& packet : packets)
        payload.push(test::unitOf(packet));
    return result;
}

Packet packet(const Bytes& payload, bool start = false) {
    Packet result;
    result.payload = payload;
    result.start = start;
    return result;
}

const Bytes kHeader = {0, 0, 1, 0xE0, 0, 0, 0x80, 0x80, 2, 0xAA, 0xBB};

} // namespace

TEST(PesPayload, TakesHeadersOff) {
    using test::operator+;
    EXPECT_EQ(payloadOf({packet(kHeader + Bytes{1, 2}, true), packet({3, 4}),
                         packet(kHeader + Bytes{5}, true)}),
              (Bytes{1, 2, 3, 4, 5}));
}

TEST(PesPayload, AHeaderMaySpanPackets) {
    using test::operator+;
    for (size_t cut = 1; cut < kHeader.size(); ++cut) {
        const auto middle = kHeader.begin() + static_cast<std::ptrdiff_t>(cut);
        EXPECT_EQ(payloadOf({packet(Bytes(kHeader.begin(), middle), true),
                             packet(Bytes(middle, kHeader.end()) + Bytes{7})}),
                  Bytes{7})
            << cut;
    }
}

TEST(PesPayload, DropsWhatIsNotVideoOrHasNoBegin) {
    using test::operator+;
    Bytes audio = kHeader;
    audio[3] = 0xC0;
    EXPECT_TRUE(payloadOf({packet({9, 9}), packet(audio + Bytes{1}, true), packet({2})}).empty());
}

TEST(PesPayload, DropsWhatIsScrambled) {
    using test::operator+;
    Packet scrambled = packet({3});
    scrambled.scrambling = 2;
    EXPECT_EQ(payloadOf({packet(kHeader + Bytes{1}, true), scrambled, packet({4})}), (Bytes{1, 4}));
}

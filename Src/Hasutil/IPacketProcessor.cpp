#include <Hasutil/IPacketProcessor.h>

namespace hascommon {

namespace {

constexpr unsigned int kFlagsOfByte1 = 0xE0;
constexpr unsigned int kFlagsOfByte3 = 0xF0;
constexpr unsigned int kCounter = 0x0F;
constexpr unsigned int kReservedOfPcr = 63;
constexpr unsigned long long kTicksPerBase = 300; // 27 MHz against 90 kHz

void writeCounter(CArray<unsigned char, 188>& packet, unsigned int counter) {
    packet[3] = static_cast<unsigned char>((packet[3] & kFlagsOfByte3) | (counter & kCounter));
}

} // namespace

void IPacketProcessor::ChangePid(CArray<unsigned char, 188>& packet, int pid) {
    const auto bits = static_cast<unsigned int>(pid);
    packet[1] = static_cast<unsigned char>((packet[1] & kFlagsOfByte1) | ((bits >> 8) & 0x1F));
    packet[2] = static_cast<unsigned char>(bits & 0xFF);
}

void IPacketProcessor::IncreaseCounter(CArray<unsigned char, 188>& packet) {
    writeCounter(packet, packet[3] + 1U);
}

void IPacketProcessor::UpdateCounter(CArray<unsigned char, 188>& packet, int& counter) {
    counter = static_cast<int>((static_cast<unsigned int>(counter) + 1U) & kCounter);
    writeCounter(packet, static_cast<unsigned int>(counter));
}

unsigned long long IPacketProcessor::ReadPcrField(BitstreamReader& reader) {
    // In two parts, because the reader is exact up to 32 bits only.
    unsigned int baseTop = 0;
    unsigned int base = 0;
    unsigned int reserved = 0;
    unsigned int extension = 0;
    reader.GetBits(1, baseTop);
    reader.GetBits(32, base);
    reader.GetBits(6, reserved);
    reader.GetBits(6, extension);
    if (reserved != kReservedOfPcr)
        return 0;
    return (static_cast<unsigned long long>(baseTop) << 32 | base) * kTicksPerBase + extension;
}

} // namespace hascommon

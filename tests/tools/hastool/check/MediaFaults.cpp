#include "MediaFaults.h"

#include <tools/hastool/FragmentBuilder.h>
#include <tools/hastool/ProgramBuilder.h>

#include <gtest/gtest.h>

namespace test {
namespace {

constexpr double kClock = 90000;

uint64_t timeAt(const unsigned char* at) {
    return uint64_t{at[0] & 0x0EU} << 29 | uint64_t{at[1]} << 22 | uint64_t{at[2] & 0xFEU} << 14 |
           uint64_t{at[3]} << 7 | uint64_t{at[4]} >> 1;
}

void setTime(unsigned char* at, uint64_t time) {
    at[0] = static_cast<unsigned char>((at[0] & 0xF1) | (time >> 29 & 0x0E));
    at[1] = static_cast<unsigned char>(time >> 22);
    at[2] = static_cast<unsigned char>((time >> 14 & 0xFE) | 1);
    at[3] = static_cast<unsigned char>(time >> 7);
    at[4] = static_cast<unsigned char>((time << 1 & 0xFE) | 1);
}

uint64_t moved(uint64_t time, double seconds) {
    return static_cast<uint64_t>(static_cast<int64_t>(time) +
                                 static_cast<int64_t>(seconds * kClock)) &
           ((uint64_t{1} << 33) - 1);
}

} // namespace

bool PacketAt::hasClock() const {
    return (m_bytes[3] & 0x20) != 0 && m_bytes[4] > 6 && (m_bytes[5] & 0x10) != 0;
}

void PacketAt::moveClock(double seconds) {
    if (!hasClock())
        return;
    unsigned char* const at = m_bytes + 6;
    const uint64_t base = uint64_t{at[0]} << 25 | uint64_t{at[1]} << 17 | uint64_t{at[2]} << 9 |
                          uint64_t{at[3]} << 1 | uint64_t{at[4]} >> 7;
    const uint64_t time = moved(base, seconds);
    at[0] = static_cast<unsigned char>(time >> 25);
    at[1] = static_cast<unsigned char>(time >> 17);
    at[2] = static_cast<unsigned char>(time >> 9);
    at[3] = static_cast<unsigned char>(time >> 1);
    at[4] = static_cast<unsigned char>((at[4] & 0x7F) | (time & 1) << 7);
}

unsigned char* PacketAt::payload() const {
    return m_bytes + ((m_bytes[3] & 0x20) != 0 ? 5 + m_bytes[4] : 4);
}

void PacketAt::moveTimes(double seconds) {
    unsigned char* const pes = payload();
    if (!isStart() || pes[0] != 0 || pes[1] != 0 || pes[2] != 1)
        return;
    if ((pes[7] & 0x80) != 0)
        setTime(pes + 9, moved(timeAt(pes + 9), seconds));
    if ((pes[7] & 0x40) != 0)
        setTime(pes + 14, moved(timeAt(pes + 14), seconds));
}

void eachPacket(std::string& segment, const std::function<bool(PacketAt packet)>& look) {
    std::string kept;
    for (size_t at = 0; at + kPacketBytes <= segment.size(); at += kPacketBytes) {
        if (look(PacketAt(segment.data() + at)))
            kept += segment.substr(at, kPacketBytes);
    }
    segment = kept;
}

void moveStream(std::string& segment, double seconds) {
    eachPacket(segment, [seconds](PacketAt packet) {
        packet.moveClock(seconds);
        packet.moveTimes(seconds);
        return true;
    });
}

void dropPacket(std::string& segment, int pid, size_t number) {
    size_t seen = 0;
    bool isDropped = false;
    eachPacket(segment, [&](PacketAt packet) {
        const bool isWanted = packet.pid() == pid && !packet.isStart() && !packet.hasClock();
        if (!isWanted || seen++ != number)
            return true;
        isDropped = true;
        return false;
    });
    EXPECT_TRUE(isDropped);
}

void replaceBytes(std::string& bytes, const std::string& from, const std::string& to) {
    const size_t at = bytes.find(from);
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at, from.size(), to);
}

uint64_t fieldOf(const std::string& bytes, const std::string& type, size_t offset, size_t size) {
    const size_t at = bytes.find(type);
    uint64_t value = 0;
    if (at == std::string::npos || at + 4 + offset + size > bytes.size()) {
        ADD_FAILURE() << "no " << type;
        return 0;
    }
    for (size_t i = 0; i < size; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + 4 + offset + i]);
    return value;
}

void setField(std::string& bytes, const std::string& type, size_t offset, size_t size,
              uint64_t value) {
    const size_t at = bytes.find(type);
    ASSERT_NE(at, std::string::npos) << type;
    bytes.replace(at + 4 + offset, size, be(value, size));
}

void hideBoxes(std::string& bytes, const std::string& type) {
    EXPECT_NE(bytes.find(type), std::string::npos) << type;
    for (size_t at = bytes.find(type); at != std::string::npos; at = bytes.find(type))
        bytes.replace(at, 4, "free");
}

void spoilKeyFrames(std::string& segment) {
    const std::string key("\x65\x88", 2);
    size_t at = segment.find(std::string("\0\0\1", 3) + key);
    at = at == std::string::npos ? segment.find(key, segment.find("mdat")) : at + 3;
    ASSERT_NE(at, std::string::npos);
    segment.replace(at, 2, "\x41\x9A");
}

CheckedFolder builtStream() {
    CheckedFolder folder;
    std::string& text = folder.file("v.m3u8");
    text = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXT-X-PLAYLIST-TYPE:VOD\n";
    for (int i = 0; i < 3; ++i) {
        const std::string name = std::to_string(i) + ".ts";
        folder.file(name) = goodProgram(90000 + i * 180000).text();
        text += "#EXTINF:2.000,\n" + name + "\n";
    }
    text += "#EXT-X-ENDLIST\n";
    return folder;
}

CheckedFolder builtFragments() {
    CheckedFolder folder;
    std::string& text = folder.file("v.m3u8");
    text = "#EXTM3U\n#EXT-X-VERSION:6\n#EXT-X-TARGETDURATION:4\n#EXT-X-PLAYLIST-TYPE:VOD\n"
           "#EXT-X-MAP:URI=\"i.mp4\"\n";
    folder.file("i.mp4") = videoInit();
    for (uint64_t i = 0; i < 3; ++i) {
        const std::string name = std::to_string(i) + ".m4s";
        FragmentPlan plan;
        plan.time = 4000 * i;
        plan.sequence = 2 * i + 1;
        folder.file(name) = fragment(plan);
        plan.time += 2000;
        plan.sequence += 1;
        folder.file(name) += fragment(plan);
        text += "#EXTINF:4.000,\n" + name + "\n";
    }
    text += "#EXT-X-ENDLIST\n";
    return folder;
}

} // namespace test

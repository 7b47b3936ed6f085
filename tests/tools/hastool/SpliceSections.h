// Makes cue messages (ANSI/SCTE 35).
#pragma once

#include <hastool/base/BoxBuilder.h>
#include <hastool/base/SectionChecksum.h>

#include <cstdint>
#include <string>

namespace test {

/// A splice_info_section of a command and descriptors.
inline std::string spliceSection(uint32_t type, const std::string& command,
                                 const std::string& descriptors = "", bool isEncrypted = false) {
    hastool::BoxBuilder body;
    body.u8(0).u8(isEncrypted ? 0x80 : 0).zeros(4).u8(0);
    body.u8(0xFF).u16(0xF000 | static_cast<uint32_t>(command.size())); // tier and length
    body.u8(type).bytes(command);
    body.u16(static_cast<uint32_t>(descriptors.size())).bytes(descriptors);
    hastool::BoxBuilder head;
    head.u8(0xFC).u16(0x3000 | static_cast<uint32_t>(body.text().size() + 4)).bytes(body.text());
    const std::string& bytes = head.text();
    const uint32_t checksum = hastool::sectionChecksum(
        reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return bytes + hastool::BoxBuilder().u32(checksum).text();
}

/// A splice_insert for the whole programme. @param seconds  0 for a break of no known duration
inline std::string spliceInsert(bool isOut, uint32_t seconds = 0) {
    hastool::BoxBuilder command;
    command.u32(7).u8(0x7F).u8((isOut ? 0x80U : 0U) | 0x40 | (seconds > 0 ? 0x20U : 0U));
    command.u8(0xFE).u32(900000);
    if (seconds > 0)
        command.u8(0xFE).u32(seconds * 90000);
    command.u16(1).u8(0).u8(0);
    return spliceSection(5, command.text());
}

/// A time_signal with one segmentation_descriptor of a type. @param seconds  0 for none
inline std::string timeSignal(uint32_t type, uint32_t seconds = 0) {
    hastool::BoxBuilder body;
    body.bytes("CUEI").u32(0x4800008E).u8(0x7F).u8(0xBF | (seconds > 0 ? 0x40U : 0U));
    if (seconds > 0)
        body.u8(0).u32(seconds * 90000);
    body.u8(0).u8(0).u8(type).u8(1).u8(1);
    hastool::BoxBuilder descriptor;
    descriptor.u8(2).u8(static_cast<uint32_t>(body.text().size())).bytes(body.text());
    return spliceSection(6, hastool::BoxBuilder().u8(0xFE).u32(900000).text(), descriptor.text());
}

/// An emsg box of version 0. @param delta  since the segment's begin, in units of the timescale
inline std::string emsg(const std::string& scheme, uint32_t id, uint32_t timescale, uint32_t delta,
                        uint32_t duration, const std::string& data) {
    const std::string zero(1, '\0');
    return hastool::BoxBuilder()
        .bytes(scheme + zero + "1" + zero)
        .u32(timescale)
        .u32(delta)
        .u32(duration)
        .u32(id)
        .bytes(data)
        .fullBox("emsg");
}

} // namespace test

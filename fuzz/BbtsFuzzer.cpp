// The broadband TS parser: it must agree with a plain one on a stream of packets, whole and cut.
#include <Hasutil/CBbtsParser.h>
#include <Input.h>
#include <support/ExactBytes.h>
#include <support/PlainBbts.h>

namespace {

using fuzz::Input;
using fuzz::require;
using test::ExactBytes;
using test::PlainBbts;

/// A packet from the input, mostly with a sync byte and a PID that the parser looks at.
ExactBytes nextPacket(Input& input, const PlainBbts& plain) {
    const unsigned int how = input.byte();
    ExactBytes packet(input.bytes(how == 255 ? input.byte() : 188));
    if ((how & 1U) == 0 || packet.size() < 3)
        return packet;
    const unsigned int pids[] = {0, 1, plain.pmtPid, plain.ecmPid};
    const unsigned int pid = pids[how >> 1 & 3U];
    packet[0] = 0x47;
    packet[1] = static_cast<unsigned char>(pid >> 8);
    packet[2] = static_cast<unsigned char>(pid);
    return packet;
}

void compareState(CBbtsParser& parser, const PlainBbts& plain) {
    require(parser.m_pmtPid == plain.pmtPid && parser.m_ecmPid == plain.ecmPid);
    const PlainBbts::Bytes data(parser.m_caPrivateData,
                                parser.m_caPrivateData + parser.m_caPrivateDataSize);
    require(data == plain.privateData);
    PlainBbts::Bytes out(188);
    require(parser.GetPmtData(out.data()) == (plain.pmtPid != 0 && !plain.pmt.empty()));
    require(plain.pmt.empty() || plain.pmtPid == 0 || out == plain.pmt);
    require(parser.GetEcmData(out.data()) == (plain.ecmPid != 0 && !plain.ecm.empty()));
    require(plain.ecm.empty() || plain.ecmPid == 0 || out == plain.ecm);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    CBbtsParser parser;
    PlainBbts plain;
    CBbtsParser::TS_HEADER header{};
    while (!input.empty()) {
        const ExactBytes packet = nextPacket(input, plain);
        const unsigned int kind = plain.parse(packet.data(), packet.size());
        const int parsed = parser.TsParser(packet.data(), packet.uintSize(), header);
        require(parsed == (kind != 0 ? 1 : 0));
        require(kind == 0 || header.packet_kind == kind);
        compareState(parser, plain);
    }
    parser.Final();
    return 0;
}

#include <Hasutil/CBbtsParser.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/ByteReader.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

using hascommon::detail::ByteReader;

constexpr unsigned int kPacket = 188;
constexpr unsigned char kSync = 0x47;
constexpr unsigned int kHeader = 4;
constexpr unsigned int kPid = 0x1FFF;    // the bits of a PID, of the two bytes that hold it
constexpr unsigned int kLength = 0x0FFF; // those of a length
constexpr unsigned int kPatPid = 0;
constexpr unsigned int kCatPid = 1;
constexpr unsigned int kCaTag = 9;
constexpr unsigned int kCaPrivate = 1;     // the kind of private data that is kept
constexpr unsigned int kTableHead = 8;     // from the section's start to a PAT's or CAT's entries
constexpr unsigned int kPmtHead = 12;      // to a PMT's program descriptors
constexpr unsigned int kHeadAndCrc = 9;    // counted in the section length beside the entries
constexpr unsigned int kCaPrivateHead = 8; // from a CA descriptor's start to its private data

enum Kind : unsigned int { kPat = 1, kCat = 2, kPmt = 3, kEcm = 4, kOther = 5 };

void keepPacket(unsigned char (&copy)[kPacket + 1], const unsigned char* packet,
                unsigned int size) {
    memcpy(copy, packet, size);
    memset(copy + size, 0, sizeof(copy) - size);
}

/// The header's fields, without its kind; zeros for a packet cut in its header.
CBbtsParser::TS_HEADER headerOf(ByteReader packet) {
    CBbtsParser::TS_HEADER header{0, 0, 0, 0, kOther};
    unsigned int pid = 0;
    unsigned int control = 0;
    if (!packet.skip(1) || !packet.u16(pid) || !packet.u8(control))
        return header;
    header.PID = pid & kPid;
    header.transport_scrambling_control = static_cast<unsigned char>(control >> 6);
    header.adaptation_field_control = static_cast<unsigned char>((control >> 4) & 3);
    if (header.adaptation_field_control >= 2)
        packet.u8(header.adaptation_field_length);
    return header;
}

/// The table section of a packet, as far as the packet goes; empty where it has no section.
ByteReader sectionOf(ByteReader packet, const CBbtsParser::TS_HEADER& header) {
    unsigned int pointer = 0;
    if (!packet.skip(kHeader + header.adaptation_field_length) || !packet.u8(pointer))
        return {};
    // One byte earlier than the pointer says, see the class.
    if (pointer > 1 && !packet.skip(pointer - 1))
        return {};
    return packet.rest();
}

/// A length at `at`; 0 where the section does not hold it.
unsigned int lengthAt(ByteReader section, unsigned int at) {
    unsigned int length = 0;
    return section.skip(at) && section.u16(length) ? length & kLength : 0;
}

/// Where the entries of a PAT or a CAT end.
unsigned int entriesEnd(const ByteReader& section) {
    const unsigned int all = lengthAt(section, 1);
    return kTableHead + (all > kHeadAndCrc ? all - kHeadAndCrc : 0);
}

} // namespace

CBbtsParser::CBbtsParser() = default;

CBbtsParser::~CBbtsParser() = default;

int CBbtsParser::Init() {
    m_caPrivateData = nullptr;
    m_caPrivateDataSize = 0;
    m_pmtPid = 0;
    m_ecmPid = 0;
    memset(m_pmtPacket, 0, sizeof(m_pmtPacket));
    memset(m_ecmPacket, 0, sizeof(m_ecmPacket));
    return 0;
}

int CBbtsParser::Final() {
    delete[] m_caPrivateData;
    m_caPrivateData = nullptr;
    m_caPrivateDataSize = 0;
    return 0;
}

int CBbtsParser::TsParser(unsigned char* packet, unsigned int size, TS_HEADER& header) {
    if (size == 0 || packet == nullptr)
        return 0;
    header.packet_kind = kOther;
    if (packet[0] != kSync) {
        HAS_LOG_HIGHLIGHTED(" [* ERROR] SYNC_BYTE error! ");
        return 0;
    }
    size = std::min(size, kPacket);
    const ByteReader bytes(packet, size);
    header = headerOf(bytes);
    if (size < kHeader)
        return 1;
    header.packet_kind = kindOf(header.PID);
    const ByteReader section = sectionOf(bytes, header);
    if (header.packet_kind == kPat)
        readPat(section);
    if (header.packet_kind == kCat)
        readCat(section);
    if (header.packet_kind == kPmt) {
        keepPacket(m_pmtPacket, packet, size);
        readPmt(section);
    }
    if (header.packet_kind == kEcm)
        keepPacket(m_ecmPacket, packet, size);
    return 1;
}

unsigned int CBbtsParser::kindOf(unsigned int pid) const {
    if (pid == kPatPid)
        return kPat;
    if (pid == kCatPid)
        return kCat;
    if (pid == m_pmtPid)
        return kPmt;
    return pid == m_ecmPid ? kEcm : kOther;
}

void CBbtsParser::readPat(ByteReader section) {
    const unsigned int end = entriesEnd(section);
    if (!section.skip(kTableHead))
        return;
    unsigned int program = 0;
    unsigned int pid = 0;
    while (section.at() < end && section.u16(program) && section.u16(pid)) {
        if (program != 0) // program 0 is the network
            m_pmtPid = pid & kPid;
    }
}

void CBbtsParser::readCat(ByteReader section) {
    const unsigned int end = entriesEnd(section);
    if (!section.skip(kTableHead))
        return;
    while (section.at() < end) {
        ByteReader descriptor = section.rest();
        unsigned int tag = 0;
        unsigned int length = 0;
        if (!descriptor.u8(tag) || !descriptor.skip(1) || !descriptor.u8(length))
            return;
        const unsigned int step = tag == kCaTag ? readCaDescriptor(section.rest(), length) : length;
        if (step == 0 || !section.skip(step)) // a step of 0 would never end
            return;
    }
}

void CBbtsParser::readPmt(ByteReader section) {
    // The elementary streams behind the program descriptors tell nothing that is kept.
    const unsigned int end = kPmtHead + lengthAt(section, 10);
    if (!section.skip(kPmtHead))
        return;
    while (section.at() < end) {
        ByteReader descriptor = section.rest();
        unsigned int tag = 0;
        unsigned int length = 0;
        if (!descriptor.u8(tag) || !descriptor.u8(length))
            return;
        if (!section.skip(tag == kCaTag ? readCaDescriptor(section.rest(), length) : 2 + length))
            return;
    }
}

unsigned int CBbtsParser::readCaDescriptor(ByteReader descriptor, unsigned int length) {
    unsigned int pid = 0;
    unsigned int kind = 0;
    unsigned int size = 0;
    if (!descriptor.skip(4) || !descriptor.u16(pid))
        return 2 + length;
    m_ecmPid = pid & kPid;
    if (length == 4 || !descriptor.u8(kind) || !descriptor.u8(size) || kind != kCaPrivate)
        return 2 + length;
    if (descriptor.left() >= size)
        keepPrivateData(descriptor.here(), size);
    return kCaPrivateHead + size;
}

void CBbtsParser::keepPrivateData(const unsigned char* bytes, unsigned int size) {
    Final();
    if (size == 0)
        return;
    m_caPrivateData = new (std::nothrow) unsigned char[size];
    if (m_caPrivateData == nullptr)
        return;
    memcpy(m_caPrivateData, bytes, size);
    m_caPrivateDataSize = size;
}

bool CBbtsParser::IsPmtReady() {
    return m_pmtPid != 0 && m_pmtPacket[0] == kSync;
}

bool CBbtsParser::IsEcmReady() {
    return m_ecmPid != 0 && m_ecmPacket[0] == kSync;
}

bool CBbtsParser::GetPmtData(unsigned char* out) {
    if (!IsPmtReady())
        return false;
    memcpy(out, m_pmtPacket, kPacket);
    return true;
}

bool CBbtsParser::GetEcmData(unsigned char* out) {
    if (!IsEcmReady())
        return false;
    memcpy(out, m_ecmPacket, kPacket);
    return true;
}

bool CBbtsParser::UpdateNoScramblingControl(unsigned char* packet, unsigned char clear) {
    if (packet == nullptr)
        return false;
    if (clear != 0)
        packet[3] &= 0x3F;
    return true;
}

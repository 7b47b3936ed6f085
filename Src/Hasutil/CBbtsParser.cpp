#include <Hasutil/CBbtsParser.h>

#include <Hascommon/detail/Log.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr unsigned int kPacket = 188;
constexpr unsigned char kSync = 0x47;
constexpr unsigned int kHeader = 4;
constexpr unsigned int kPatPid = 0;
constexpr unsigned int kCatPid = 1;
constexpr unsigned int kCaTag = 9;
constexpr unsigned int kTableHead = 8;     // from the section's start to a PAT's or CAT's entries
constexpr unsigned int kPmtHead = 12;      // to a PMT's program descriptors
constexpr unsigned int kHeadAndCrc = 9;    // counted in the section length beside the entries
constexpr unsigned int kCaPrivateHead = 8; // from a CA descriptor's start to its private data

enum Kind : unsigned int { kPat = 1, kCat = 2, kPmt = 3, kEcm = 4, kOther = 5 };

unsigned int pidOf(unsigned int high, unsigned int low) {
    return ((high & 0x1F) << 8) | low;
}

void keepPacket(unsigned char (&copy)[kPacket + 1], const unsigned char* packet,
                unsigned int size) {
    memcpy(copy, packet, size);
    memset(copy + size, 0, sizeof(copy) - size);
}

/// The header's fields, without its kind; zeros for a packet cut in its header.
CBbtsParser::TS_HEADER headerOf(const unsigned char* packet, unsigned int size) {
    CBbtsParser::TS_HEADER header{0, 0, 0, 0, kOther};
    if (size < kHeader)
        return header;
    header.PID = pidOf(packet[1], packet[2]);
    header.transport_scrambling_control = static_cast<unsigned char>(packet[3] >> 6);
    header.adaptation_field_control = static_cast<unsigned char>((packet[3] >> 4) & 3);
    if (header.adaptation_field_control >= 2 && size > kHeader)
        header.adaptation_field_length = packet[kHeader];
    return header;
}

} // namespace

/// The table section of a packet, as far as the packet goes.
class CBbtsParser::Section {
public:
    Section(const unsigned char* packet, unsigned int size, const TS_HEADER& header)
        : m_packet(packet)
        , m_size(size)
        , m_start(size) {
        const unsigned int pointerAt = kHeader + header.adaptation_field_length;
        if (pointerAt >= size)
            return;
        const unsigned int pointer = packet[pointerAt];
        m_start = pointer != 0 ? pointerAt + pointer : pointerAt + 1;
    }

    bool holds(unsigned int at, unsigned int count) const { return m_start + at + count <= m_size; }
    /// A byte that it holds.
    unsigned int operator[](unsigned int at) const { return m_packet[m_start + at]; }
    const unsigned char* bytes(unsigned int at) const { return m_packet + m_start + at; }
    /// A length of 12 bits at `at`; 0 where it is not held.
    unsigned int length(unsigned int at) const {
        return holds(at, 2) ? (((*this)[at] & 0x0F) << 8) | (*this)[at + 1] : 0;
    }
    /// Bytes of the entries of a PAT or a CAT.
    unsigned int entries() const {
        const unsigned int all = length(1);
        return all > kHeadAndCrc ? all - kHeadAndCrc : 0;
    }

private:
    const unsigned char* m_packet;
    unsigned int m_size;
    unsigned int m_start;
};

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
    header = headerOf(packet, size);
    if (size < kHeader)
        return 1;
    header.packet_kind = kindOf(header.PID);
    const Section section(packet, size, header);
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

void CBbtsParser::readPat(const Section& section) {
    const unsigned int end = kTableHead + section.entries();
    for (unsigned int at = kTableHead; at < end && section.holds(at, 4); at += 4) {
        const bool isProgram = (section[at] | section[at + 1]) != 0; // program 0 is the network
        if (isProgram)
            m_pmtPid = pidOf(section[at + 2], section[at + 3]);
    }
}

void CBbtsParser::readCat(const Section& section) {
    const unsigned int end = kTableHead + section.entries();
    unsigned int at = kTableHead;
    while (at < end && section.holds(at, 3)) {
        const unsigned int length = section[at + 2];
        const unsigned int step =
            section[at] == kCaTag ? readCaDescriptor(section, at, length) : length;
        if (step == 0) // it would stand here for ever
            return;
        at += step;
    }
}

void CBbtsParser::readPmt(const Section& section) {
    // The elementary streams behind the program descriptors tell nothing that is kept.
    const unsigned int end = kPmtHead + section.length(10);
    unsigned int at = kPmtHead;
    while (at < end && section.holds(at, 2)) {
        const unsigned int length = section[at + 1];
        at += section[at] == kCaTag ? readCaDescriptor(section, at, length) : 2 + length;
    }
}

unsigned int CBbtsParser::readCaDescriptor(const Section& section, unsigned int at,
                                           unsigned int length) {
    if (section.holds(at + 4, 2))
        m_ecmPid = pidOf(section[at + 4], section[at + 5]);
    const bool hasPrivate = length != 4 && section.holds(at + 6, 2) && section[at + 6] == 1;
    if (!hasPrivate)
        return 2 + length;
    const unsigned int size = section[at + 7];
    if (section.holds(at + kCaPrivateHead, size))
        keepPrivateData(section.bytes(at + kCaPrivateHead), size);
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

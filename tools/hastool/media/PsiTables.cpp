#include "PsiTables.h"

#include <algorithm>
#include <cstddef>

namespace hastool {
namespace {

constexpr size_t kHeader = 8;
constexpr size_t kChecksum = 4;
constexpr unsigned int kCaDescriptor = 9;

/// Reads bytes one after the other; behind the end it reads zeros.
class Span {
public:
    Span(const unsigned char* data, size_t size)
        : m_at(data)
        , m_left(size) {}

    size_t left() const { return m_left; }
    unsigned int byte() {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_at++;
    }
    int pid() {
        const unsigned int high = byte() & 0x1F;
        return static_cast<int>(high << 8 | byte());
    }
    unsigned int word() {
        const unsigned int high = byte();
        return high << 8 | byte();
    }
    size_t length12() { return word() & 0x0FFF; }
    Span take(size_t size) {
        const size_t taken = std::min(size, m_left);
        const Span result(m_at, taken);
        m_at += taken;
        m_left -= taken;
        return result;
    }
    Bytes bytes() const { return {m_at, m_at + m_left}; }

private:
    const unsigned char* m_at;
    size_t m_left;
};

Span bodyOf(const Bytes& section) {
    return {section.data() + kHeader, section.size() - kHeader - kChecksum};
}

bool isTable(const Bytes& section, unsigned int id) {
    return section.size() >= kHeader + kChecksum && section[0] == id;
}

int versionOf(const Bytes& section) {
    return section[5] >> 1 & 0x1F;
}

bool isCurrent(const Bytes& section) {
    return (section[5] & 1) != 0;
}

int extensionOf(const Bytes& section) {
    return section[3] << 8 | section[4];
}

std::vector<CaInfo> caOf(Span descriptors) {
    std::vector<CaInfo> result;
    while (descriptors.left() >= 2) {
        const unsigned int tag = descriptors.byte();
        const size_t size = descriptors.byte();
        Span body = descriptors.take(size);
        if (tag != kCaDescriptor || body.left() < 4)
            continue;
        CaInfo ca;
        ca.systemId = body.word();
        ca.pid = body.pid();
        ca.privateData = body.bytes();
        result.push_back(std::move(ca));
    }
    return result;
}

} // namespace

std::optional<PatSection> parsePat(const Bytes& section) {
    if (!isTable(section, kTableIdPat))
        return std::nullopt;
    PatSection pat{extensionOf(section), versionOf(section), isCurrent(section), {}};
    Span body = bodyOf(section);
    while (body.left() >= 4) {
        const int number = static_cast<int>(body.word());
        pat.programs.push_back({number, body.pid()});
    }
    return pat;
}

std::optional<PmtSection> parsePmt(const Bytes& section) {
    if (!isTable(section, kTableIdPmt))
        return std::nullopt;
    Span body = bodyOf(section);
    if (body.left() < 4)
        return std::nullopt;
    PmtSection pmt;
    pmt.program = extensionOf(section);
    pmt.version = versionOf(section);
    pmt.isCurrent = isCurrent(section);
    pmt.pcrPid = body.pid();
    const size_t infoSize = body.length12();
    pmt.ca = caOf(body.take(infoSize));
    while (body.left() >= 5) {
        PmtStream stream;
        stream.type = body.byte();
        stream.pid = body.pid();
        const size_t size = body.length12();
        stream.ca = caOf(body.take(size));
        pmt.streams.push_back(std::move(stream));
    }
    return pmt;
}

std::optional<std::vector<CaInfo>> parseCat(const Bytes& section) {
    if (!isTable(section, kTableIdCat))
        return std::nullopt;
    return caOf(bodyOf(section));
}

std::string streamTypeName(unsigned int type) {
    switch (type) {
    case 0x01:
        return "MPEG-1 video";
    case 0x02:
        return "MPEG-2 video";
    case 0x03:
        return "MPEG-1 audio";
    case 0x04:
        return "MPEG-2 audio";
    case 0x05:
        return "private sections";
    case 0x06:
        return "private data";
    case 0x0B:
        return "DSM-CC";
    case 0x0F:
        return "AAC audio";
    case 0x10:
        return "MPEG-4 video";
    case 0x11:
        return "AAC audio (LATM)";
    case 0x15:
        return "metadata";
    case kStreamTypeH264:
        return "H.264 video";
    case 0x24:
        return "H.265 video";
    case 0x81:
        return "AC-3 audio";
    case 0x86:
        return "SCTE-35";
    case 0x87:
        return "E-AC-3 audio";
    default:
        return type < 0x80 ? "reserved" : "user private";
    }
}

} // namespace hastool

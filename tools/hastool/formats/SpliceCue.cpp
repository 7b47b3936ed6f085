#include "SpliceCue.h"

#include <hastool/base/BoxView.h>
#include <hastool/base/Quantities.h>
#include <hastool/base/SectionChecksum.h>

#include <cstdint>

namespace hastool {
namespace {

constexpr uint64_t kTableId = 0xFC;
constexpr size_t kChecksumSize = 4;
constexpr uint64_t kUnknownLength = 0xFFF; // of a command, as old encoders write it
constexpr uint64_t kSpliceInsert = 5;
constexpr uint64_t kTimeSignal = 6;
constexpr uint64_t kSegmentation = 2;
constexpr uint64_t kCueIdentifier = 0x43554549; // "CUEI"
constexpr uint64_t k33Bits = (uint64_t{1} << 33) - 1;

std::string hexText(uint64_t value) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits;
    do {
        digits.insert(digits.begin(), kDigits[value & 15]);
        value >>= 4;
    } while (value > 0);
    return "0x" + digits;
}

const char* wordOf(TimedEvent::Break adBreak) {
    switch (adBreak) {
    case TimedEvent::Break::Begins:
        return ", a break begins";
    case TimedEvent::Break::Ends:
        return ", a break ends";
    case TimedEvent::Break::None:
        break;
    }
    return "";
}

/// Reads the command and the descriptors of one section.
class Reader {
public:
    /// @return whether the fields fit
    bool read(std::string_view section);

    SpliceCue cue;

private:
    bool readCommand(ByteReader& bytes, uint64_t length);
    bool readInsert(ByteReader& bytes);
    static bool skipTime(ByteReader& bytes);
    static bool skipComponents(ByteReader& bytes, bool isImmediate);
    bool readDuration(ByteReader& bytes);
    bool readDescriptors(ByteReader& bytes);
    bool readSegmentation(ByteReader bytes);
    void mean(TimedEvent::Break adBreak);
    void add(const std::string& text) { cue.text += (cue.text.empty() ? "" : "; ") + text; }
};

bool Reader::read(std::string_view section) {
    ByteReader bytes(section);
    if (!bytes.skip(3 + 1)) // up to the length, which the caller knows, and the version
        return false;
    const auto flags = bytes.number(5); // and the adjustment of times
    if (!flags || !bytes.skip(1))       // the control word
        return false;
    const auto lengths = bytes.number(3); // the tier and the length of the command
    if (!lengths)
        return false;
    const bool isEncrypted = (*flags >> 39 & 1) != 0;
    if (isEncrypted) {
        add("an encrypted cue");
        return true;
    }
    return readCommand(bytes, *lengths & 0xFFF) && readDescriptors(bytes);
}

bool Reader::readCommand(ByteReader& bytes, uint64_t length) {
    const auto type = bytes.number(1);
    if (!type)
        return false;
    const bool isKnown = *type == kSpliceInsert || *type == kTimeSignal;
    if (length == kUnknownLength && !isKnown && *type != 0)
        return false;
    if (length == kUnknownLength)
        length = 0;
    const auto body = isKnown ? std::nullopt : bytes.bytes(static_cast<size_t>(length));
    if (*type == kSpliceInsert)
        return readInsert(bytes);
    if (*type == kTimeSignal) {
        add("time signal");
        return skipTime(bytes);
    }
    add(*type == 0 ? "splice null" : "splice command " + std::to_string(*type));
    return body.has_value();
}

bool Reader::readInsert(ByteReader& bytes) {
    const auto id = bytes.number(4);
    const auto cancel = bytes.number(1);
    if (!id || !cancel)
        return false;
    add("splice insert " + hexText(*id));
    if ((*cancel & 0x80) != 0) {
        cue.text += ", cancelled";
        return true;
    }
    const auto flags = bytes.number(1);
    if (!flags)
        return false;
    const bool isOut = (*flags & 0x80) != 0;
    const bool isProgram = (*flags & 0x40) != 0;
    const bool isImmediate = (*flags & 0x10) != 0;
    mean(isOut ? TimedEvent::Break::Begins : TimedEvent::Break::Ends);
    if (isProgram && !isImmediate && !skipTime(bytes))
        return false;
    if (!isProgram && !skipComponents(bytes, isImmediate))
        return false;
    if ((*flags & 0x20) != 0 && !readDuration(bytes))
        return false;
    return bytes.skip(4); // the programme and its place among the avails
}

bool Reader::skipTime(ByteReader& bytes) {
    const auto first = bytes.number(1);
    return first && ((*first & 0x80) == 0 || bytes.skip(4));
}

bool Reader::skipComponents(ByteReader& bytes, bool isImmediate) {
    const auto count = bytes.number(1);
    if (!count)
        return false;
    for (uint64_t i = 0; i < *count; ++i) {
        if (!bytes.skip(1) || (!isImmediate && !skipTime(bytes)))
            return false;
    }
    return true;
}

bool Reader::readDuration(ByteReader& bytes) {
    const auto field = bytes.number(5);
    if (!field)
        return false;
    cue.seconds = static_cast<double>(*field & k33Bits) / kSpliceClock;
    cue.text += ", " + secondsText(*cue.seconds);
    return true;
}

bool Reader::readDescriptors(ByteReader& bytes) {
    const auto length = bytes.number(2);
    const auto loop = length ? bytes.bytes(static_cast<size_t>(*length)) : std::nullopt;
    if (!loop)
        return false;
    ByteReader rest(*loop);
    while (!rest.rest().empty()) {
        const auto tag = rest.number(1);
        const auto size = rest.number(1);
        const auto body = size ? rest.bytes(static_cast<size_t>(*size)) : std::nullopt;
        if (!body)
            return false;
        if (*tag == kSegmentation && !readSegmentation(ByteReader(*body)))
            return false;
    }
    return true;
}

bool Reader::readSegmentation(ByteReader bytes) {
    if (bytes.number(4) != kCueIdentifier)
        return true; // another's descriptor
    const auto id = bytes.number(4);
    const auto cancel = bytes.number(1);
    if (!id || !cancel)
        return false;
    if ((*cancel & 0x80) != 0) {
        add("segmentation " + hexText(*id) + ", cancelled");
        return true;
    }
    const auto flags = bytes.number(1);
    if (!flags)
        return false;
    if ((*flags & 0x80) == 0) {
        constexpr size_t kComponent = 6;
        const auto count = bytes.number(1);
        if (!count || !bytes.skip(static_cast<size_t>(*count) * kComponent))
            return false;
    }
    std::optional<uint64_t> duration;
    if ((*flags & 0x40) != 0 && !(duration = bytes.number(5)))
        return false;
    const auto upidSize = bytes.skip(1) ? bytes.number(1) : std::nullopt;
    if (!upidSize || !bytes.skip(static_cast<size_t>(*upidSize)))
        return false;
    const auto type = bytes.number(1);
    if (!type)
        return false;
    add("segmentation " + hexText(*id) + " of type " + hexText(*type));
    if (duration) {
        const double seconds = static_cast<double>(*duration) / kSpliceClock;
        cue.text += ", " + secondsText(seconds);
        if (breakOfSegmentation(static_cast<unsigned>(*type)) == TimedEvent::Break::Begins)
            cue.seconds = seconds;
    }
    mean(breakOfSegmentation(static_cast<unsigned>(*type)));
    return true;
}

/// Of several statements the first counts: encoders that send two kinds of them mean the same.
void Reader::mean(TimedEvent::Break adBreak) {
    cue.text += wordOf(adBreak);
    if (cue.adBreak == TimedEvent::Break::None)
        cue.adBreak = adBreak;
}

} // namespace

TimedEvent::Break breakOfSegmentation(unsigned type) {
    switch (type) {
    case 0x22: // break
    case 0x30: // provider advertisement
    case 0x32: // distributor advertisement
    case 0x34: // provider placement opportunity
    case 0x36: // distributor placement opportunity
    case 0x44: // provider advertisement block
    case 0x46: // distributor advertisement block
        return TimedEvent::Break::Begins;
    case 0x23:
    case 0x31:
    case 0x33:
    case 0x35:
    case 0x37:
    case 0x45:
    case 0x47:
        return TimedEvent::Break::Ends;
    default:
        return TimedEvent::Break::None;
    }
}

std::optional<SpliceCue> parseSpliceSection(std::string_view section) {
    ByteReader head(section);
    const auto table = head.number(1);
    const auto length = head.number(2);
    if (table != kTableId || !length)
        return std::nullopt;
    const auto body = head.bytes(static_cast<size_t>(*length & 0xFFF));
    if (!body || body->size() < kChecksumSize)
        return std::nullopt;
    section = section.substr(0, 3 + body->size());
    // char may alias every object.
    const auto* const bytes = reinterpret_cast<const unsigned char*>(section.data());
    if (sectionChecksum(bytes, section.size()) != 0)
        return std::nullopt;
    Reader reader;
    if (!reader.read(section.substr(0, section.size() - kChecksumSize)))
        return std::nullopt;
    return std::move(reader.cue);
}

bool isSpliceScheme(const std::string& scheme) {
    return scheme.rfind("urn:scte:scte35:", 0) == 0;
}

void addSpliceCue(TimedEvent& event, const SpliceCue& cue) {
    event.adBreak = cue.adBreak;
    event.text = cue.text;
    if (!event.end && cue.seconds)
        event.end = event.start + *cue.seconds;
}

void addSpliceCue(TimedEvent& event, std::string_view section) {
    if (const auto cue = parseSpliceSection(section))
        addSpliceCue(event, *cue);
    else
        event.text = "a cue message that cannot be read";
}

} // namespace hastool

#include "WebVtt.h"

#include <hastool/base/Number.h>

#include <algorithm>
#include <cstdio>

namespace hastool {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kArrow = "-->";
constexpr std::string_view kTimestampMap = "X-TIMESTAMP-MAP=";
constexpr size_t kMaxHourDigits = 7;
constexpr uint64_t kClockWrap = uint64_t{1} << 33; // MPEG-2 time stamps have 33 bits

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool isBlank(char letter) {
    return letter == ' ' || letter == '\t';
}

std::string_view trimmedBlanks(std::string_view text) {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Takes the next line, which ends with CR, LF or both. @return whether there was one
bool takeLine(std::string_view& rest, std::string_view& line) {
    if (rest.empty())
        return false;
    const size_t end = std::min(rest.find_first_of("\r\n"), rest.size());
    line = rest.substr(0, end);
    rest.remove_prefix(end);
    if (startsWith(rest, "\r\n"))
        rest.remove_prefix(2);
    else if (!rest.empty())
        rest.remove_prefix(1);
    return true;
}

bool hasArrow(std::string_view line) {
    return line.find(kArrow) != std::string_view::npos;
}

std::optional<uint64_t> digits(std::string_view text, size_t least, size_t most) {
    if (text.size() < least || text.size() > most)
        return std::nullopt;
    return parseUnsigned(text);
}

/// "MM:SS.TTT" or "HH:MM:SS.TTT", in ticks.
std::optional<int64_t> parseTime(std::string_view text) {
    uint64_t hours = 0;
    const size_t first = text.find(':');
    const size_t last = text.rfind(':');
    if (first == std::string_view::npos)
        return std::nullopt;
    if (first != last) {
        const auto value = digits(text.substr(0, first), 1, kMaxHourDigits);
        if (!value)
            return std::nullopt;
        hours = *value;
        text.remove_prefix(first + 1);
    }
    constexpr size_t kLength = 9; // of "MM:SS.TTT"
    if (text.size() != kLength || text[2] != ':' || text[5] != '.')
        return std::nullopt;
    const auto minutes = digits(text.substr(0, 2), 2, 2);
    const auto seconds = digits(text.substr(3, 2), 2, 2);
    const auto milliseconds = digits(text.substr(6), 3, 3);
    if (!minutes || !seconds || !milliseconds || *minutes > 59 || *seconds > 59)
        return std::nullopt;
    const uint64_t all = ((hours * 60 + *minutes) * 60 + *seconds) * 1000 + *milliseconds;
    return static_cast<int64_t>(all) * (kCueClock / 1000);
}

class Parser {
public:
    explicit Parser(std::string_view text)
        : m_rest(text) {}

    std::optional<VttDocument> parse() {
        if (startsWith(m_rest, kByteOrderMark))
            m_rest.remove_prefix(kByteOrderMark.size());
        std::string_view line;
        if (!takeLine(m_rest, line) || !isHeader(line))
            return std::nullopt;
        readHeader();
        while (readBlock()) {
        }
        return std::move(m_document);
    }

private:
    static bool isHeader(std::string_view line) {
        constexpr std::string_view kName = "WEBVTT";
        return startsWith(line, kName) && (line.size() == kName.size() || isBlank(line[6]));
    }
    void readHeader();
    void readMap(std::string_view text);
    bool readBlock();
    void readCue(std::string_view id, std::string_view timing);
    std::string takeText();

    std::string_view m_rest;
    VttDocument m_document;
};

void Parser::readHeader() {
    std::string_view line;
    std::string_view ahead = m_rest;
    while (takeLine(ahead, line) && !line.empty() && !hasArrow(line)) {
        m_rest = ahead;
        if (startsWith(line, kTimestampMap))
            readMap(line.substr(kTimestampMap.size()));
    }
}

/// "LOCAL:00:00:00.000,MPEGTS:900000", in any order.
void Parser::readMap(std::string_view text) {
    std::optional<int64_t> local;
    std::optional<uint64_t> clock;
    while (!text.empty()) {
        const size_t end = std::min(text.find(','), text.size());
        const std::string_view part = trimmedBlanks(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (startsWith(part, "LOCAL:"))
            local = parseTime(part.substr(6));
        else if (startsWith(part, "MPEGTS:"))
            clock = parseUnsigned(part.substr(7));
    }
    if (local && clock)
        m_document.clockOffset = static_cast<int64_t>(*clock % kClockWrap) - *local;
}

/// A block ends before a blank line, and before the time of another cue.
bool Parser::readBlock() {
    std::string_view line;
    do {
        if (!takeLine(m_rest, line))
            return false;
    } while (line.empty());
    if (hasArrow(line)) {
        readCue({}, line);
        return true;
    }
    const std::string_view first = line;
    std::string_view ahead = m_rest;
    if (takeLine(ahead, line) && hasArrow(line)) {
        m_rest = ahead;
        readCue(first, line);
        return true;
    }
    const std::string_view name = trimmedBlanks(first);
    std::string block = std::string(name) + "\n" + takeText();
    const bool isKept = name == "STYLE" || name == "REGION";
    if (isKept && block.size() <= kMaxCueBytes && m_document.blocks.size() < kMaxVttBlocks)
        m_document.blocks.push_back(std::move(block));
    return true;
}

std::string Parser::takeText() {
    std::string text;
    std::string_view line;
    std::string_view ahead = m_rest;
    while (takeLine(ahead, line) && !line.empty() && !hasArrow(line)) {
        m_rest = ahead;
        if (text.size() <= kMaxCueBytes)
            text.append(text.empty() ? "" : "\n").append(line);
    }
    return text;
}

void Parser::readCue(std::string_view id, std::string_view timing) {
    const size_t arrow = timing.find(kArrow);
    const std::string_view begin = trimmedBlanks(timing.substr(0, arrow));
    const std::string_view rest = trimmedBlanks(timing.substr(arrow + kArrow.size()));
    const size_t behind = std::min(rest.find_first_of(" \t"), rest.size());
    const auto start = parseTime(begin);
    const auto end = parseTime(rest.substr(0, behind));
    VttCue cue;
    cue.id = trimmedBlanks(id);
    cue.settings = trimmedBlanks(rest.substr(behind));
    cue.text = takeText();
    const size_t size = cue.id.size() + cue.settings.size() + cue.text.size();
    if (!start || !end || *end <= *start || size > kMaxCueBytes || hasArrow(cue.settings)) {
        ++m_document.dropped;
        return;
    }
    cue.start = *start;
    cue.end = *end;
    m_document.cues.push_back(std::move(cue));
}

/// The text as lines without blank ones, and without arrows.
std::string cleanLines(std::string_view text) {
    std::string result;
    std::string_view line;
    while (takeLine(text, line)) {
        if (line.empty())
            continue;
        result += result.empty() ? "" : "\n";
        for (size_t at = line.find(kArrow); at != std::string_view::npos; at = line.find(kArrow)) {
            result.append(line.substr(0, at)).append("--&gt;");
            line.remove_prefix(at + kArrow.size());
        }
        result.append(line);
    }
    return result;
}

std::string onOneLine(std::string_view text) {
    std::string result = cleanLines(text);
    std::replace(result.begin(), result.end(), '\n', ' ');
    return std::string(trimmedBlanks(result));
}

} // namespace

std::optional<VttDocument> parseWebVtt(std::string_view text) {
    return Parser(text).parse();
}

VttCue cleanCue(VttCue cue) {
    cue.id = onOneLine(cue.id);
    cue.settings = onOneLine(cue.settings);
    cue.text = cleanLines(cue.text);
    return cue;
}

std::string vttTime(int64_t ticks) {
    const auto all = static_cast<uint64_t>(std::max<int64_t>(ticks, 0)) * 1000 / kCueClock;
    const uint64_t seconds = all / 1000;
    char text[40];
    std::snprintf(text, sizeof text, "%02llu:%02u:%02u.%03u",
                  static_cast<unsigned long long>(seconds / 3600),
                  static_cast<unsigned>(seconds / 60 % 60), static_cast<unsigned>(seconds % 60),
                  static_cast<unsigned>(all % 1000));
    return text;
}

} // namespace hastool

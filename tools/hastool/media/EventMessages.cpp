#include "EventMessages.h"

#include "MediaClock.h"
#include "WebVtt.h"
#include <hastool/base/BoxView.h>
#include <hastool/formats/SpliceCue.h>

#include <optional>
#include <string>
#include <utility>

namespace hastool {
namespace {

constexpr size_t kMaxText = 200; // longer messages hide the rest of the line

/// Takes a version off the front, and passes over the flags.
std::optional<uint64_t> takeVersion(ByteReader& bytes) {
    const auto version = bytes.number(1);
    return bytes.skip(3) ? version : std::nullopt;
}

/// Takes a text that ends with a zero.
std::optional<std::string> takeText(ByteReader& bytes) {
    const size_t size = bytes.rest().find('\0');
    if (size == std::string_view::npos)
        return std::nullopt;
    const auto text = bytes.bytes(size);
    bytes.skip(1);
    return std::string(*text);
}

/// When a segment begins on the clock of its media, in seconds.
std::optional<double> mediaTime(std::string_view init, const std::string& segment) {
    const auto ticks = init.empty() ? std::nullopt : firstTimestamp(init, segment);
    return ticks ? std::optional(static_cast<double>(*ticks) / kCueClock) : std::nullopt;
}

/// An emsg box as it is written.
struct Message {
    std::string scheme;
    std::string value;
    uint64_t timescale = 0;
    uint64_t time = 0; ///< since the segment's begin, or since the media's
    bool isAbsolute = false;
    uint64_t duration = 0;
    uint64_t id = 0;
    std::string_view data;
};

/// Reads the numbers; the texts stand behind them in version 1 and before them in version 0.
bool readNumbers(ByteReader& bytes, Message& message) {
    const auto timescale = bytes.number(4);
    const auto time = bytes.number(message.isAbsolute ? 8 : 4);
    const auto duration = bytes.number(4);
    const auto id = bytes.number(4);
    message.timescale = timescale.value_or(0);
    message.time = time.value_or(0);
    message.duration = duration.value_or(0);
    message.id = id.value_or(0);
    return id.has_value() && message.timescale > 0;
}

bool readTexts(ByteReader& bytes, Message& message) {
    auto scheme = takeText(bytes);
    auto value = scheme ? takeText(bytes) : std::nullopt;
    if (!value)
        return false;
    message.scheme = std::move(*scheme);
    message.value = std::move(*value);
    return true;
}

std::optional<Message> readMessage(std::string_view content) {
    ByteReader bytes(content);
    Message message;
    const auto version = takeVersion(bytes);
    if (!version || *version > 1)
        return std::nullopt;
    message.isAbsolute = *version == 1;
    const bool isWhole = message.isAbsolute
                             ? readNumbers(bytes, message) && readTexts(bytes, message)
                             : readTexts(bytes, message) && readNumbers(bytes, message);
    message.data = bytes.rest();
    return isWhole ? std::optional(std::move(message)) : std::nullopt;
}

TimedEvent eventOf(const Message& message, double start, double mediaStart) {
    constexpr uint64_t kUnknownDuration = 0xFFFFFFFF;
    const auto timescale = static_cast<double>(message.timescale);
    const double time = static_cast<double>(message.time) / timescale;
    TimedEvent event;
    event.origin = "emsg";
    event.scheme = message.scheme;
    event.id = message.value + "/" + std::to_string(message.id);
    event.start = start + time - (message.isAbsolute ? mediaStart : 0);
    if (message.duration > 0 && message.duration != kUnknownDuration)
        event.end = event.start + static_cast<double>(message.duration) / timescale;
    event.text = message.data.substr(0, kMaxText);
    if (isSpliceScheme(message.scheme))
        addSpliceCue(event, message.data);
    return event;
}

} // namespace

std::vector<TimedEvent> eventMessages(std::string_view init, const std::string& segment,
                                      double start) {
    std::vector<TimedEvent> events;
    std::optional<double> mediaStart; // looked up for the first message only
    for (std::string_view rest = segment; events.size() < kMaxSegmentEvents;) {
        const auto box = takeBox(rest);
        if (!box)
            break;
        if (box->type != "emsg")
            continue;
        const auto message = readMessage(box->content);
        if (!message)
            continue;
        if (message->isAbsolute && !mediaStart)
            mediaStart = mediaTime(init, segment);
        const double own =
            static_cast<double>(message->time) / static_cast<double>(message->timescale);
        events.push_back(eventOf(*message, start, mediaStart.value_or(own)));
    }
    return events;
}

} // namespace hastool

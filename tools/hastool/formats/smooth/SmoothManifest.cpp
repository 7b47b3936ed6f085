#include "SmoothManifest.h"

#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace hastool {
namespace {

using hascommon::XmlElement;

constexpr uint64_t kDefaultTimescale = 10'000'000;
constexpr uint64_t kMaxTime = std::numeric_limits<uint64_t>::max() / 2;

std::optional<unsigned> hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    return std::nullopt;
}

/// Nothing for text that is not pairs of digits.
std::optional<std::string> fromHex(const std::string& text) {
    if (text.size() % 2 != 0)
        return std::nullopt;
    std::string bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        const auto high = hexDigit(text[i]);
        const auto low = hexDigit(text[i + 1]);
        if (!high || !low)
            return std::nullopt;
        bytes += static_cast<char>(*high << 4 | *low);
    }
    return bytes;
}

/// Attribute names differ in case between servers.
std::string readCustomAttributes(const XmlElement& quality) {
    std::string result;
    for (XmlElement list = quality.FirstChild(); list; list = list.Next()) {
        if (list.Name() != "CustomAttributes")
            continue;
        for (XmlElement it = list.FirstChild(); it; it = it.Next()) {
            result += result.empty() ? "" : ",";
            result += it.Attribute("Name") + "=" + it.Attribute("Value");
        }
    }
    return result;
}

class Parser {
public:
    explicit Parser(const std::string& url)
        : m_url(url) {}

    SmoothManifest parse(const XmlElement& root);

private:
    /// A chunk as written.
    struct Entry {
        std::optional<uint64_t> time;
        std::optional<uint64_t> duration;
        uint64_t count = 1;
    };

    template<typename T>
    T number(const XmlElement& element, const char* name) const;
    void readProtection(const XmlElement& element);
    void readStream(const XmlElement& element);
    SmoothQuality readQuality(const XmlElement& element) const;
    Entry readChunk(const XmlElement& element) const;
    void listChunks(const std::vector<Entry>& entries, SmoothStream& stream);
    uint64_t durationOf(const std::vector<Entry>& entries, size_t i, uint64_t time) const;

    const std::string& m_url;
    SmoothManifest m_manifest;
    size_t m_chunks = 0;
};

SmoothManifest Parser::parse(const XmlElement& root) {
    const XmlAttributes attributes(root, m_url);
    m_manifest.isLive = lowered(attributes.text("IsLive")) == "true";
    m_manifest.timescale = attributes.number("TimeScale").value_or(kDefaultTimescale);
    if (m_manifest.timescale == 0)
        attributes.fail("TimeScale");
    m_manifest.duration = attributes.number("Duration").value_or(0);
    m_manifest.window = parseUnsigned(attributes.text("DVRWindowLength")).value_or(0);
    for (XmlElement it = root.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "Protection")
            readProtection(it);
        else if (it.Name() == "StreamIndex")
            readStream(it);
    }
    if (m_manifest.streams.empty())
        throw ToolError(m_url, "a Smooth Streaming manifest without a stream");
    return std::move(m_manifest);
}

/// 0 where there is no such attribute.
template<typename T>
T Parser::number(const XmlElement& element, const char* name) const {
    const XmlAttributes attributes(element, m_url);
    const uint64_t value = attributes.number(name).value_or(0);
    if (value > static_cast<uint64_t>(std::numeric_limits<int>::max()))
        attributes.fail(name);
    return static_cast<T>(value);
}

void Parser::readProtection(const XmlElement& element) {
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "ProtectionHeader")
            m_manifest.protections.push_back(
                {trimmed(it.Attribute("SystemID")), withoutBlanks(it.Text())});
    }
}

void Parser::readStream(const XmlElement& element) {
    const XmlAttributes attributes(element, m_url);
    SmoothStream stream;
    stream.type = lowered(attributes.text("Type"));
    stream.name = attributes.text("Name");
    stream.language = attributes.text("Language");
    stream.url = attributes.text("Url");
    stream.timescale = attributes.number("TimeScale").value_or(m_manifest.timescale);
    if (stream.timescale == 0)
        attributes.fail("TimeScale");
    std::vector<Entry> entries;
    for (XmlElement it = element.FirstChild(); it; it = it.Next()) {
        if (it.Name() == "QualityLevel")
            stream.qualities.push_back(readQuality(it));
        else if (it.Name() == "c")
            entries.push_back(readChunk(it));
    }
    if (stream.qualities.empty())
        return;
    std::stable_sort(
        stream.qualities.begin(), stream.qualities.end(),
        [](const auto& left, const auto& right) { return left.bitrate < right.bitrate; });
    listChunks(entries, stream);
    m_manifest.streams.push_back(std::move(stream));
}

SmoothQuality Parser::readQuality(const XmlElement& element) const {
    const XmlAttributes attributes(element, m_url);
    SmoothQuality quality;
    quality.bitrate = number<int>(element, "Bitrate");
    quality.fourCC = attributes.text("FourCC");
    quality.width = number<int>(element, "MaxWidth");
    quality.height = number<int>(element, "MaxHeight");
    quality.samplingRate = number<unsigned>(element, "SamplingRate");
    quality.channels = number<unsigned>(element, "Channels");
    quality.bitsPerSample = number<unsigned>(element, "BitsPerSample");
    const auto data = fromHex(attributes.text("CodecPrivateData"));
    if (!data)
        attributes.fail("CodecPrivateData");
    quality.codecPrivateData = *data;
    quality.customAttributes = readCustomAttributes(element);
    return quality;
}

Parser::Entry Parser::readChunk(const XmlElement& element) const {
    const XmlAttributes attributes(element, m_url);
    Entry entry;
    entry.time = attributes.number("t");
    entry.duration = attributes.number("d");
    entry.count = attributes.number("r").value_or(1); // counts the first one too, unlike in DASH
    if (entry.count == 0)
        attributes.fail("r");
    return entry;
}

void Parser::listChunks(const std::vector<Entry>& entries, SmoothStream& stream) {
    uint64_t time = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        time = entries[i].time.value_or(time);
        const uint64_t duration = durationOf(entries, i, time);
        if (entries[i].count > kMaxSmoothChunks - m_chunks)
            throw ToolError(m_url, "more than " + std::to_string(kMaxSmoothChunks) + " chunks");
        m_chunks += static_cast<size_t>(entries[i].count);
        if (duration > kMaxTime / entries[i].count || time > kMaxTime - duration * entries[i].count)
            throw ToolError(m_url, "chunk times that overflow");
        for (uint64_t n = 0; n < entries[i].count; ++n, time += duration)
            stream.chunks.push_back({time, duration});
    }
}

uint64_t Parser::durationOf(const std::vector<Entry>& entries, size_t i, uint64_t time) const {
    if (entries[i].duration)
        return *entries[i].duration;
    const bool isLast = i + 1 == entries.size();
    const uint64_t end = isLast ? m_manifest.duration : entries[i + 1].time.value_or(time);
    return end > time ? (end - time) / entries[i].count : 0;
}

} // namespace

bool looksLikeSmooth(const std::string& text) {
    return outermostElement(text) == "SmoothStreamingMedia";
}

SmoothManifest parseSmoothManifest(const std::string& text, const std::string& url) {
    XmlDocument document(text, url);
    const XmlElement root = document.root();
    if (root.Name() != "SmoothStreamingMedia")
        throw ToolError(url, "not a Smooth Streaming manifest: " + inQuotes(root.Name()));
    return Parser(url).parse(root);
}

std::string expandSmoothTemplate(const std::string& text, const SmoothQuality& quality,
                                 uint64_t time, const std::string& where) {
    std::string result;
    std::string_view rest = text;
    for (size_t at = rest.find('{'); at != std::string_view::npos; at = rest.find('{')) {
        const size_t end = rest.find('}', at);
        if (end == std::string_view::npos)
            throw ToolError(where, "a URL template with a single \"{\": " + inQuotes(text));
        const std::string name = lowered(std::string(rest.substr(at + 1, end - at - 1)));
        result.append(rest.substr(0, at));
        if (name == "bitrate")
            result += std::to_string(quality.bitrate);
        else if (name == "start time" || name == "start_time")
            result += std::to_string(time);
        else if (name == "customattributes")
            result += quality.customAttributes;
        else
            throw ToolError(where, "a URL template with an unknown name: " + inQuotes(text));
        rest.remove_prefix(end + 1);
    }
    return result.append(rest);
}

} // namespace hastool

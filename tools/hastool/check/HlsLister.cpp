#include "HlsLister.h"

#include "CodecKinds.h"
#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace hastool {
namespace {

using Clock = TimeSource::Steady;
using Kind = CheckedRendition::Kind;

constexpr double kMinReload = 0.5; // seconds; no server deserves more

int numberOf(const std::string& text) {
    const uint64_t value = parseUnsigned(text).value_or(0);
    return value <= static_cast<uint64_t>(std::numeric_limits<int>::max()) ? static_cast<int>(value)
                                                                           : 0;
}

/// What is known of the encryption of a segment or an initialisation; nothing where the tool cannot
/// undo it.
std::optional<Encryption> encryptionOf(const HlsKey& key, const std::string& base,
                                       std::optional<uint64_t> sequence) {
    if (key.method != "AES-128" || key.format != HlsKey().format)
        return std::nullopt;
    auto iv = parseIvAttribute(key.iv);
    if (!iv && sequence)
        iv = ivOfSequence(*sequence);
    if (!iv)
        return std::nullopt;
    return Encryption{resolveHttpUrl(base, key.uri, base), *iv};
}

/// Whether samples are encrypted, not whole segments.
bool protectsSamples(const HlsKey& key) {
    return key.method.compare(0, 10, "SAMPLE-AES") == 0;
}

CheckedRendition describe(const HlsVariant& variant) {
    CheckedRendition rendition;
    rendition.bandwidth = static_cast<uint64_t>(std::max(variant.bandwidth, 0));
    rendition.averageBandwidth = variant.averageBandwidth;
    rendition.codecs = variant.codecs;
    rendition.frameRate = variant.frameRate;
    const size_t middle = variant.resolution.find_first_of("xX");
    if (middle != std::string::npos) {
        rendition.width = numberOf(variant.resolution.substr(0, middle));
        rendition.height = numberOf(variant.resolution.substr(middle + 1));
    }
    const bool hasVideo = !variant.resolution.empty() || variant.codecs.empty() ||
                          !codecsOf(variant.codecs, CodecKind::Video).empty();
    rendition.kind = hasVideo ? Kind::Video : Kind::Audio;
    return rendition;
}

} // namespace

void HlsLister::list() {
    CheckedDocument& document = m_evidence.documents.front();
    const std::string& url = document.answer.finalUrl;
    try {
        HlsPlaylist playlist = parseHlsPlaylist(document.text, url);
        m_evidence.hasMaster = playlist.isMaster();
        if (m_evidence.hasMaster) {
            m_evidence.master = std::move(playlist);
            listMaster();
        } else {
            CheckedRendition rendition;
            rendition.kind = Kind::Video;
            rendition.url = url;
            nameRendition(m_evidence, rendition, "the playlist");
            m_evidence.renditions.push_back(std::move(rendition));
            m_readings.emplace_back();
            CheckedPlaylist state;
            static_cast<CheckedDocument&>(state) = std::move(document);
            state.playlist = std::move(playlist);
            m_evidence.documents.clear();
            take(0, std::move(state));
        }
    } catch (const ToolError& error) {
        document.trouble = error.what();
    }
    sumUp();
}

void HlsLister::listMaster() {
    const HlsPlaylist& master = m_evidence.master;
    for (const HlsVariant& variant : master.variants)
        addVariant(variant, false);
    addRenditions(master.video, Kind::Video);
    addRenditions(master.audio, Kind::Audio);
    addRenditions(master.subtitles, Kind::Text);
    for (const HlsVariant& variant : master.iFrames)
        addVariant(variant, true);
    std::vector<Resource> wanted;
    for (const CheckedRendition& rendition : m_evidence.renditions) {
        if (rendition.trouble.empty())
            wanted.push_back({rendition.url, std::nullopt});
    }
    m_source.expect(wanted);
    for (size_t i = 0; i < m_evidence.renditions.size(); ++i)
        load(i);
}

void HlsLister::addVariant(const HlsVariant& variant, bool isTrick) {
    const auto isSeparate = [](const std::vector<HlsRendition>& all, const std::string& group) {
        return !group.empty() && std::any_of(all.begin(), all.end(), [&](const HlsRendition& it) {
            return it.group == group && !it.uri.empty();
        });
    };
    CheckedRendition rendition = describe(variant);
    rendition.isTrick = isTrick;
    rendition.set = isTrick ? 1 : 0;
    const bool hasAudioBeside = isSeparate(m_evidence.master.audio, variant.audioGroup);
    rendition.isBandwidthShared =
        hasAudioBeside || isSeparate(m_evidence.master.video, variant.videoGroup);
    if (hasAudioBeside && rendition.kind == Kind::Video)
        rendition.codecs = codecsOf(variant.codecs, CodecKind::Video);
    std::string name = qualityName(rendition.width, rendition.height, rendition.bandwidth);
    if (isTrick)
        name = "key frames " + name;
    add(variant.uri, std::move(rendition), name);
}

void HlsLister::addRenditions(const std::vector<HlsRendition>& renditions, Kind kind) {
    for (size_t i = 0; i < renditions.size(); ++i) {
        const HlsRendition& it = renditions[i];
        if (it.uri.empty())
            continue; // it comes with the variants
        CheckedRendition rendition;
        rendition.kind = kind;
        rendition.set = 2 + i;
        rendition.language = it.language;
        std::string name = kind == Kind::Audio ? "audio" : "subtitles";
        if (kind == Kind::Video)
            name = "video";
        for (const HlsVariant& variant : m_evidence.master.variants) {
            if (kind == Kind::Audio && variant.audioGroup == it.group && rendition.codecs.empty())
                rendition.codecs = codecsOf(variant.codecs, CodecKind::Audio);
        }
        add(it.uri, std::move(rendition), name + " " + it.name);
    }
}

void HlsLister::add(const std::string& uri, CheckedRendition rendition, const std::string& name) {
    const std::string& base = m_evidence.documents.front().answer.finalUrl;
    rendition.id = uri;
    try {
        rendition.url = resolveHttpUrl(base, uri, base);
    } catch (const ToolError& error) {
        rendition.trouble = error.what();
    }
    const auto& known = m_evidence.renditions;
    const bool isKnown = std::any_of(known.begin(), known.end(), [&](const CheckedRendition& it) {
        return it.trouble.empty() && rendition.trouble.empty() && it.url == rendition.url;
    });
    if (isKnown)
        return;
    nameRendition(m_evidence, rendition, name);
    m_evidence.renditions.push_back(std::move(rendition));
    m_readings.emplace_back();
}

void HlsLister::load(size_t number) {
    CheckedRendition& rendition = m_evidence.renditions[number];
    if (rendition.url.empty())
        return;
    CheckSource::Fetched fetched = m_source.fetch({rendition.url, std::nullopt});
    CheckedPlaylist state;
    state.answer = std::move(fetched.answer);
    state.text = std::move(fetched.bytes);
    try {
        if (state.answer.ok)
            state.playlist =
                parseHlsPlaylist(state.text, state.answer.finalUrl, &m_evidence.master.variables);
        if (state.playlist.isMaster())
            throw ToolError(state.answer.finalUrl,
                            "a master playlist where a media playlist should be");
    } catch (const ToolError& error) {
        state.trouble = error.what();
    }
    take(number, std::move(state));
}

void HlsLister::take(size_t number, CheckedPlaylist loaded) {
    CheckedRendition& rendition = m_evidence.renditions[number];
    Reading& reading = m_readings[number];
    const bool isUsable = loaded.answer.ok && loaded.trouble.empty();
    const bool isOver = isUsable ? loaded.playlist.ended : rendition.playlists.empty();
    const double target = isUsable ? loaded.playlist.targetSeconds : kMinReload;
    reading.due = Clock::time_point::max();
    if (!isOver)
        reading.due =
            m_time.steady() +
            std::chrono::milliseconds(static_cast<long long>(std::max(target, kMinReload) * 1000));
    rendition.playlists.push_back(std::move(loaded));
    if (isUsable)
        addNew(number, rendition.playlists.back());
}

void HlsLister::addNew(size_t number, const CheckedPlaylist& state) {
    CheckedRendition& rendition = m_evidence.renditions[number];
    Reading& reading = m_readings[number];
    for (const HlsSegment& segment : state.playlist.segments) {
        if (reading.hasSegments && segment.sequence < reading.next)
            continue;
        if (rendition.segments.size() == kMaxCheckedSegments)
            return;
        CheckedSegment next = segmentOf(rendition, state, segment);
        next.start = reading.end;
        reading.end += segment.seconds;
        reading.next = segment.sequence + 1;
        reading.hasSegments = true;
        rendition.segments.push_back(std::move(next));
    }
}

CheckedSegment HlsLister::segmentOf(CheckedRendition& rendition, const CheckedPlaylist& state,
                                    const HlsSegment& segment) const {
    const std::string& base = state.answer.finalUrl;
    CheckedSegment next;
    next.name = "segment " + std::to_string(segment.sequence);
    next.number = segment.sequence;
    next.seconds = segment.seconds;
    next.discontinuity = segment.discontinuity;
    next.gap = segment.gap;
    try {
        next.answer.resource = {resolveHttpUrl(base, segment.uri, base), segment.range};
        if (segment.key)
            next.encryption = encryptionOf(*segment.key, base, segment.sequence);
        if (segment.map)
            next.init = initOf(rendition, state, *segment.map);
    } catch (const ToolError& error) {
        next.gap = true; // there is nothing to fetch
        rendition.trouble = error.what();
    }
    next.isEncrypted = segment.key != nullptr && segment.key->method == "AES-128";
    if (segment.key && protectsSamples(*segment.key))
        rendition.isProtected = true;
    return next;
}

size_t HlsLister::initOf(CheckedRendition& rendition, const CheckedPlaylist& state,
                         const HlsMap& map) {
    const std::string& base = state.answer.finalUrl;
    CheckedInit init;
    init.answer.resource = {resolveHttpUrl(base, map.uri, base), map.range};
    if (map.key)
        init.encryption = encryptionOf(*map.key, base, std::nullopt);
    auto& known = rendition.inits;
    const auto found = std::find_if(known.begin(), known.end(), [&](const CheckedInit& it) {
        return it.answer.resource == init.answer.resource;
    });
    if (found != known.end())
        return static_cast<size_t>(found - known.begin());
    known.push_back(std::move(init));
    return known.size() - 1;
}

/// What the playlists together say of the presentation.
void HlsLister::sumUp() {
    m_evidence.isLive = false;
    for (size_t i = 0; i < m_evidence.renditions.size(); ++i) {
        CheckedRendition& rendition = m_evidence.renditions[i];
        const bool isLive = m_readings[i].due != Clock::time_point::max();
        m_evidence.isLive = m_evidence.isLive || isLive;
        if (!isLive && m_readings[i].hasSegments)
            rendition.duration = m_readings[i].end;
        if (rendition.duration && !rendition.isTrick)
            m_evidence.duration = std::max(m_evidence.duration.value_or(0), *rendition.duration);
    }
}

void HlsLister::follow() {
    for (size_t i = 0; i < m_readings.size(); ++i) {
        if (m_readings[i].due <= m_time.steady())
            load(i);
    }
    sumUp();
}

TimeSource::Steady::time_point HlsLister::due() const {
    Clock::time_point due = Clock::time_point::max();
    for (const Reading& reading : m_readings)
        due = std::min(due, reading.due);
    return due;
}

std::unique_ptr<Lister> makeHlsLister(Evidence& evidence, CheckSource& source,
                                      const TimeSource& time) {
    return std::make_unique<HlsLister>(evidence, source, time);
}

} // namespace hastool

#include "DashLister.h"

#include "CodecKinds.h"
#include <hastool/base/ToolError.h>
#include <hastool/formats/dash/DashPieces.h>
#include <hastool/formats/dash/DashReadout.h>
#include <hastool/info/KeyIds.h>
#include <hastool/net/HttpUrl.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace hastool {
namespace {

using Clock = TimeSource::Steady;
using Kind = CheckedRendition::Kind;

constexpr double kMinLook = 0.5; // seconds between looks at a live presentation
constexpr double kMaxLook = 10;

Kind kindOf(const DashAdaptationSet& set, const DashRepresentation& representation) {
    if (set.contentType == "video" || !codecsOf(representation.codecs, CodecKind::Video).empty())
        return Kind::Video;
    if (set.contentType == "audio")
        return Kind::Audio;
    return set.contentType == "text" ? Kind::Text : Kind::Other;
}

CheckedRendition describe(const DashAdaptationSet& set, const DashRepresentation& representation) {
    CheckedRendition rendition;
    rendition.kind = kindOf(set, representation);
    rendition.id = representation.id;
    rendition.bandwidth = static_cast<uint64_t>(std::max(representation.bandwidth, 0));
    rendition.codecs = representation.codecs;
    rendition.mimeType = representation.mimeType;
    rendition.width = representation.width;
    rendition.height = representation.height;
    rendition.frameRate = frameRateOf(representation);
    rendition.language = set.language;
    rendition.isTrick = set.isTrick;
    rendition.isProtected = !representation.protections.empty();
    for (const DashProtection& it : representation.protections) {
        for (std::string& id : keyIdsOfList(it.defaultKid)) {
            auto& all = rendition.keyIds;
            if (std::find(all.begin(), all.end(), id) == all.end())
                all.push_back(std::move(id));
        }
    }
    return rendition;
}

std::string nameOf(const CheckedRendition& rendition, size_t periods) {
    std::string name = qualityName(rendition.width, rendition.height, rendition.bandwidth);
    const bool hasLanguage = !rendition.language.empty() && rendition.language != "und";
    const std::string language = hasLanguage ? rendition.language + ", " : "";
    if (rendition.kind == Kind::Audio)
        name = "audio " + language + name;
    else if (rendition.kind == Kind::Text)
        name = "subtitles " + language + name;
    else if (name.empty())
        name = "representation " + rendition.id;
    if (periods > 1)
        name = "period " + std::to_string(rendition.period + 1) + ": " + name;
    return name;
}

} // namespace

void DashLister::list() {
    CheckedDocument& document = m_evidence.documents.front();
    m_evidence.format = CheckedFormat::Dash;
    keepTree(m_evidence.documents);
    try {
        m_loader.emplace(
            Document{document.text, document.answer.finalUrl},
            [this](const Resource& resource) { return fetch(resource); }, m_time);
    } catch (const ToolError& error) {
        document.trouble = error.what();
        return;
    }
    m_timeline.emplace(*m_loader, RenditionChoice(), false);
    m_evidence.dash.push_back(m_loader->manifest());
    listAll();
}

/// Anything that the manifest needs, or the manifest itself again.
Document DashLister::fetch(const Resource& resource) {
    CheckSource::Fetched fetched = m_source.fetch(resource);
    const Answer answer = fetched.answer;
    if (resource.url == m_reloaded) {
        m_evidence.documents.push_back({std::move(fetched.answer), fetched.bytes, ""});
        keepTree(m_evidence.documents);
    }
    if (!answer.ok)
        throw ToolError(resource.url, answer.failure);
    return {std::move(fetched.bytes), answer.finalUrl};
}

void DashLister::listAll() {
    const auto& periods = m_loader->manifest().periods;
    for (size_t period = 0; period < periods.size(); ++period) {
        for (size_t set = 0; set < periods[period].sets.size(); ++set) {
            for (const DashRepresentation& it : periods[period].sets[set].representations)
                listRepresentation(period, set, it);
        }
    }
    sumUp();
}

void DashLister::listRepresentation(size_t period, size_t set,
                                    const DashRepresentation& representation) {
    const DashPeriod& itsPeriod = m_loader->manifest().periods[period];
    Reading& reading = readingOf(period, set, representation);
    std::string& trouble = m_evidence.renditions[reading.rendition].trouble;
    if (hasOpenEnd(m_loader->manifest(), itsPeriod, representation)) {
        trouble = "nothing says how many segments there are";
        return;
    }
    try {
        DashFound found;
        found.period = period;
        found.representation = &representation;
        addNew(reading, found, m_timeline->segments(itsPeriod, representation));
    } catch (const ToolError& error) {
        trouble = error.what();
    }
}

DashLister::Reading& DashLister::readingOf(size_t period, size_t set,
                                           const DashRepresentation& representation) {
    const DashPeriod& itsPeriod = m_loader->manifest().periods[period];
    const std::string key =
        (itsPeriod.id.empty() ? std::to_string(itsPeriod.start) : "id " + itsPeriod.id) + "/" +
        std::to_string(set) + "/" + representation.id;
    const auto [place, isNew] = m_readings.try_emplace(key);
    if (!isNew)
        return place->second;
    CheckedRendition rendition = describe(itsPeriod.sets[set], representation);
    rendition.period = period;
    rendition.set = set;
    rendition.duration = itsPeriod.duration;
    nameRendition(m_evidence, rendition, nameOf(rendition, m_loader->manifest().periods.size()));
    place->second.rendition = m_evidence.renditions.size();
    m_evidence.renditions.push_back(std::move(rendition));
    return place->second;
}

/// Adds the segments that can be had by now, behind those that are known.
void DashLister::addNew(Reading& reading, const DashFound& found, const DashSegmentList& list) {
    CheckedRendition& rendition = m_evidence.renditions[reading.rendition];
    const DashWindow window = m_timeline->window();
    DashFound next = found;
    constexpr double kBegin = -1e12; // before any time that a manifest can write
    auto segment = reading.last ? list.behind(*reading.last, window) : list.at(kBegin, window);
    while (segment && rendition.segments.size() < kMaxCheckedSegments) {
        next.segment = *segment;
        add(rendition, next);
        reading.last = segment;
        segment = list.behind(*segment, window);
    }
}

void DashLister::add(CheckedRendition& rendition, const DashFound& found) {
    const MediaPiece piece =
        dashPiece(m_loader->manifest(), found, rendition.kind == Kind::Audio, m_loader->url());
    CheckedSegment segment;
    segment.name = "segment " + std::to_string(found.segment.number);
    segment.answer.resource = piece.media.resource;
    segment.number = found.segment.number;
    segment.start = piece.start;
    segment.seconds = found.segment.seconds;
    segment.timeOffset = piece.timeOffset.value_or(0);
    if (piece.init)
        segment.init = initOf(rendition, piece.init->resource);
    segment.makeInit = piece.makeInit;
    rendition.segments.push_back(std::move(segment));
}

size_t DashLister::initOf(CheckedRendition& rendition, const Resource& resource) const {
    auto& known = rendition.inits;
    const auto found = std::find_if(known.begin(), known.end(), [&](const CheckedInit& it) {
        return it.answer.resource == resource;
    });
    if (found != known.end())
        return static_cast<size_t>(found - known.begin());
    known.emplace_back();
    known.back().answer.resource = resource;
    return known.size() - 1;
}

void DashLister::sumUp() {
    const DashManifest& manifest = m_loader->manifest();
    m_evidence.isLive = manifest.isDynamic;
    m_evidence.duration = manifest.duration;
    const DashPeriod& last = manifest.periods.back();
    if (!m_evidence.duration && last.duration)
        m_evidence.duration = last.start + *last.duration;
    m_due = Clock::time_point::max();
    if (!manifest.isDynamic)
        return;
    double look = kMaxLook;
    for (const CheckedRendition& rendition : m_evidence.renditions) {
        if (!rendition.segments.empty())
            look = std::min(look, rendition.segments.back().seconds);
    }
    m_due = m_time.steady() +
            std::chrono::milliseconds(static_cast<long long>(std::max(look, kMinLook) * 1000));
    if (const auto reload = m_loader->reloadDue())
        m_due = std::min(m_due, *reload);
}

void DashLister::follow() {
    const DashManifest& manifest = m_loader->manifest();
    const auto reload = m_loader->reloadDue();
    if (reload && *reload <= m_time.steady()) {
        try {
            const std::string& url = m_loader->url();
            m_reloaded =
                manifest.location.empty() ? url : resolveHttpUrl(url, manifest.location, url);
            m_loader->reload();
            m_evidence.dash.push_back(m_loader->manifest());
        } catch (const ToolError& error) {
            if (!m_evidence.documents.empty() && m_evidence.documents.back().answer.ok)
                m_evidence.documents.back().trouble = error.what();
        }
        m_timeline->forget();
        m_reloaded.clear();
    }
    listAll();
}

TimeSource::Steady::time_point DashLister::due() const {
    return m_due;
}

std::unique_ptr<Lister> makeDashLister(Evidence& evidence, CheckSource& source,
                                       const TimeSource& time) {
    return std::make_unique<DashLister>(evidence, source, time);
}

} // namespace hastool

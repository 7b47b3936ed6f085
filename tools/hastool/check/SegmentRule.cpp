#include "SegmentRule.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace hastool {
namespace {

/// Whether a segment has to go on where another ends.
bool follows(const Evidence& evidence, const CheckedSegment& before, const CheckedSegment& next) {
    constexpr double kSame = 0.1; // seconds; lists of times round
    if (!isRead(before) || !isRead(next) || next.discontinuity)
        return false;
    if (evidence.format == CheckedFormat::Hls)
        return next.number == before.number + 1;
    return std::abs(next.start - before.start - before.seconds) < kSame;
}

} // namespace

bool isRead(const CheckedSegment& segment) {
    const SegmentFacts& facts = segment.facts;
    return segment.isFetched && segment.answer.ok && segment.decryptTrouble.empty() &&
           facts.trouble.empty() && facts.kind != SegmentFacts::Kind::Unknown &&
           !(segment.isEncrypted && facts.transport.strayBytes > 0);
}

std::string placeOf(const Answer& answer) {
    const std::string& url = answer.finalUrl.empty() ? answer.resource.url : answer.finalUrl;
    return answer.resource.range ? url + " bytes " + rangeText(*answer.resource.range) : url;
}

void RenditionLook::add(const std::string& text) const {
    findings.add(card, {rendition.name, "", rendition.url}, text);
}

const InitFacts* SegmentLook::init() const {
    if (!segment.init || *segment.init >= rendition.inits.size())
        return nullptr;
    const CheckedInit& init = rendition.inits[*segment.init];
    const bool isRead = init.isFetched && init.answer.ok && init.decryptTrouble.empty() &&
                        init.facts.trouble.empty();
    return isRead ? &init.facts : nullptr;
}

void SegmentLook::add(const std::string& text, const std::string& box) const {
    const std::string place = placeOf(segment.answer);
    findings.add(card, {rendition.name, segment.name, box.empty() ? place : place + " " + box},
                 text);
}

const StreamFacts* PairLook::earlier(const StreamFacts& stream) const {
    const auto& all = before.facts.streams;
    const auto found = std::find_if(all.begin(), all.end(), [&](const StreamFacts& it) {
        return it.id == stream.id && it.kind == stream.kind;
    });
    return found == all.end() ? nullptr : &*found;
}

double PairLook::step(double from, double to) const {
    const double step = to - from;
    if (facts().kind == SegmentFacts::Kind::Fragments)
        return step;
    return std::remainder(step, kTransportClockPeriod);
}

void RenditionRule::check(const Evidence& evidence, Findings& findings) const {
    for (const CheckedRendition& rendition : evidence.renditions)
        look(RenditionLook{m_card, evidence, rendition, findings});
}

void SegmentRule::look(const RenditionLook& it) const {
    if (it.rendition.isTrick)
        return;
    for (const CheckedSegment& segment : it.rendition.segments) {
        if (isRead(segment))
            look(SegmentLook{it, segment});
    }
}

void PairRule::look(const RenditionLook& it) const {
    const auto& segments = it.rendition.segments;
    for (size_t i = 1; i < segments.size() && !it.rendition.isTrick; ++i) {
        if (follows(it.evidence, segments[i - 1], segments[i]))
            look(PairLook{{it, segments[i]}, segments[i - 1]});
    }
}

std::optional<double> lengthOf(const CheckedRendition& rendition, StreamFacts::Kind kind) {
    double length = 0;
    const StreamFacts* last = nullptr;
    for (const CheckedSegment& segment : rendition.segments) {
        if (!isRead(segment))
            return std::nullopt;
        const StreamFacts* const stream = segment.facts.stream(kind);
        if (stream == nullptr || stream->seconds <= 0)
            return std::nullopt;
        if (last != nullptr) {
            const bool areTimed =
                last->decodeStart && stream->decodeStart && !segment.discontinuity;
            const double step = areTimed ? std::remainder(*stream->decodeStart - *last->decodeStart,
                                                          kTransportClockPeriod)
                                         : last->seconds;
            const bool isGap = std::abs(step - last->seconds) > 1; // another rule's concern
            length += isGap ? last->seconds : step;
        }
        last = stream;
    }
    return last != nullptr ? std::optional(length + last->seconds) : std::nullopt;
}

const DashRepresentation* representationOf(const Evidence& evidence,
                                           const CheckedRendition& rendition) {
    for (const DashManifest& manifest : evidence.dash) {
        if (rendition.period >= manifest.periods.size())
            continue;
        const auto& sets = manifest.periods[rendition.period].sets;
        if (rendition.set >= sets.size())
            continue;
        for (const DashRepresentation& it : sets[rendition.set].representations) {
            if (it.id == rendition.id)
                return &it;
        }
    }
    return nullptr;
}

bool hasExactTimes(const Evidence& evidence, const CheckedRendition& rendition) {
    if (evidence.format != CheckedFormat::Dash)
        return true;
    const DashRepresentation* const representation = representationOf(evidence, rendition);
    return representation != nullptr && !representation->addressing.duration;
}

} // namespace hastool

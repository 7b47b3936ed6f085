// What rules about segments' media have in common.
#pragma once

#include "Rule.h"

#include <optional>
#include <string>

namespace hastool {

/// Whether a segment's media was had and could be read. A segment that decrypts to a stream whose
/// begin is spoilt counts as one that could not.
bool isRead(const CheckedSegment& segment);
/// "http://host/a.mp4 bytes 10-19": what was fetched.
std::string placeOf(const Answer& answer);

/// One look at a rendition: what there is, and where to put what is found.
struct RenditionLook {
    const RuleCard& card;
    const Evidence& evidence;
    const CheckedRendition& rendition;
    Findings& findings;

    /// A finding about the rendition as a whole.
    void add(const std::string& text) const;
};

/// One look at a segment that could be read.
struct SegmentLook : RenditionLook {
    const CheckedSegment& segment;

    const SegmentFacts& facts() const { return segment.facts; }
    /// The initialisation, where it was fetched and could be read; else null.
    const InitFacts* init() const;
    /// A finding about the segment. @param box  where in it; may be empty
    void add(const std::string& text, const std::string& box = {}) const;
};

/// One look at a segment and the one before it, which it has to go on from.
struct PairLook : SegmentLook {
    const CheckedSegment& before;

    /// The same stream of the segment before; null when it had no such stream.
    const StreamFacts* earlier(const StreamFacts& stream) const;
    /// How much later one time of the media's clock is than another, in seconds; a transport
    /// stream's clock may have begun anew.
    double step(double from, double to) const;
};

/// Looks at every rendition.
class RenditionRule : public Rule {
public:
    explicit RenditionRule(const RuleCard& card)
        : m_card(card) {}

    const RuleCard& card() const final { return m_card; }
    void check(const Evidence& evidence, Findings& findings) const final;

protected:
    virtual void look(const RenditionLook& look) const = 0;

private:
    const RuleCard& m_card;
};

/// Looks at every segment that could be read, but for those of key frames alone, which are cut out
/// of others.
class SegmentRule : public RenditionRule {
public:
    using RenditionRule::RenditionRule;

protected:
    void look(const RenditionLook& look) const final;
    virtual void look(const SegmentLook& look) const = 0;
};

/// Looks at segments side by side, both of which could be read, between which nothing is missing
/// and no break is announced.
class PairRule : public RenditionRule {
public:
    using RenditionRule::RenditionRule;

protected:
    void look(const RenditionLook& look) const final;
    virtual void look(const PairLook& look) const = 0;
};

/// How long the first stream of a kind is in all segments together, in seconds; nothing where some
/// could not be read, or have no such stream. From segment to segment times are compared, as the
/// last frames of a segment may only be estimated.
std::optional<double> lengthOf(const CheckedRendition& rendition, StreamFacts::Kind kind);

/// What a DASH manifest says of a rendition; null in other formats, and when it is gone.
const DashRepresentation* representationOf(const Evidence& evidence,
                                           const CheckedRendition& rendition);
/// Whether the manifest tells each segment's time and length, and not one length for all of them.
bool hasExactTimes(const Evidence& evidence, const CheckedRendition& rendition);

} // namespace hastool

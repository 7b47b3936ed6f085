#include <hastool/base/IsoTime.h>
#include <hastool/base/Quantities.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <cmath>

namespace hastool {
namespace {

constexpr double kBits = 8;
constexpr double kTolerance = 1.1; // of declared bitrates
constexpr double kLeastSeconds = 0.001;
constexpr size_t kMostTogether = 200; // segments in one and a half target durations

bool isMeasured(const CheckedSegment& segment) {
    return segment.isFetched && segment.answer.ok && segment.seconds >= kLeastSeconds;
}

double bitsOf(const CheckedSegment& segment) {
    return static_cast<double>(segment.answer.bytes) * kBits;
}

/// A stretch of segments without a gap between them.
struct Stretch {
    double bits = 0;
    double seconds = 0;
    double rate() const { return seconds > 0 ? bits / seconds : 0; }
};

/// The largest bitrate of adjoining segments that last between half a target duration and one and
/// a half (RFC 8216, 4.1).
double peakOf(const CheckedRendition& rendition, double target) {
    double peak = 0;
    const auto& all = rendition.segments;
    for (size_t first = 0; first < all.size(); ++first) {
        Stretch stretch;
        const size_t end = std::min(all.size(), first + kMostTogether);
        for (size_t i = first; i < end && isMeasured(all[i]); ++i) {
            stretch.bits += bitsOf(all[i]);
            stretch.seconds += all[i].seconds;
            if (stretch.seconds > 1.5 * target && i > first)
                break;
            if (stretch.seconds >= 0.5 * target)
                peak = std::max(peak, stretch.rate());
        }
    }
    return peak;
}

Stretch sumOf(const CheckedRendition& rendition) {
    Stretch sum;
    for (const CheckedSegment& it : rendition.segments) {
        if (!isMeasured(it))
            continue;
        sum.bits += bitsOf(it);
        sum.seconds += it.seconds;
    }
    return sum;
}

double targetOf(const CheckedRendition& rendition) {
    double target = 0;
    for (const CheckedPlaylist& it : rendition.playlists)
        target = std::max(target, it.playlist.targetSeconds);
    return target;
}

std::string comparison(const std::string& what, double measured, double declared) {
    return what + " is " + rateText(measured) + ", declared is " + rateText(declared) + ": " +
           std::to_string(std::lround(std::min(measured / declared, 1e6) * 100)) + " %";
}

constexpr RuleCard kPeak = {
    "hls-peak-bandwidth", Severity::Error, "RFC 8216, 4.1 and 4.3.4.2",
    "A variant needs more than its BANDWIDTH",
    "Players choose this variant on lines that cannot carry it, and stall. Declare the highest "
    "bitrate of its segments, or let the encoder keep to its limit."};

class PeakBandwidth : public RenditionRule {
public:
    PeakBandwidth()
        : RenditionRule(kPeak) {}

protected:
    void look(const RenditionLook& look) const override {
        const auto declared = static_cast<double>(look.rendition.bandwidth);
        if (look.evidence.format != CheckedFormat::Hls || declared <= 0 || look.rendition.isTrick)
            return;
        const double peak = peakOf(look.rendition, targetOf(look.rendition));
        if (peak > declared * kTolerance)
            look.add(comparison("the peak", peak, declared));
    }
};

constexpr RuleCard kLoosePeak = {
    "hls-loose-bandwidth", Severity::Note, "RFC 8216, 4.3.4.2",
    "A variant needs far less than its BANDWIDTH",
    "Viewers whose line could carry this variant are given a worse one. Declare the highest "
    "bitrate of its segments."};

class LoosePeak : public RenditionRule {
public:
    LoosePeak()
        : RenditionRule(kLoosePeak) {}

protected:
    void look(const RenditionLook& look) const override {
        constexpr double kFar = 0.5;
        const auto declared = static_cast<double>(look.rendition.bandwidth);
        if (look.evidence.format != CheckedFormat::Hls || look.evidence.isLive ||
            look.rendition.isBandwidthShared || look.rendition.isTrick || !look.rendition.isWhole())
            return;
        const double peak = peakOf(look.rendition, targetOf(look.rendition));
        if (peak > 0 && peak < declared * kFar)
            look.add(comparison("the peak", peak, declared));
    }
};

constexpr RuleCard kAverage = {
    "hls-average-exceeded", Severity::Error, "RFC 8216, 4.1 and 4.3.4.2",
    "A variant needs more than its AVERAGE-BANDWIDTH",
    "Players that plan by the average choose this variant on lines that cannot carry it. Declare "
    "the mean bitrate of all its segments."};

class AverageBandwidth : public RenditionRule {
public:
    AverageBandwidth()
        : RenditionRule(kAverage) {}

protected:
    void look(const RenditionLook& look) const override {
        const auto declared = static_cast<double>(look.rendition.averageBandwidth);
        if (look.evidence.format != CheckedFormat::Hls || declared <= 0 || look.evidence.isLive ||
            look.rendition.isTrick || !look.rendition.isWhole())
            return;
        const double mean = sumOf(look.rendition).rate();
        if (mean > declared * kTolerance)
            look.add(comparison("the mean", mean, declared));
    }
};

/// The minBufferTime of a manifest.
double minBufferOf(const Evidence& evidence) {
    constexpr double kUsual = 2;
    constexpr std::string_view kName = "minBufferTime=";
    for (const CheckedDocument& it : evidence.documents) {
        const size_t at = it.text.find(kName);
        if (at == std::string::npos || at + kName.size() >= it.text.size())
            continue;
        const size_t begin = at + kName.size() + 1;
        const size_t end = it.text.find(it.text[begin - 1], begin);
        if (end == std::string::npos || end - begin > 64)
            continue;
        if (const auto seconds = parseIsoDuration(it.text.substr(begin, end - begin)))
            return *seconds;
    }
    return kUsual;
}

constexpr RuleCard kBucket = {
    "dash-bandwidth", Severity::Warning, "ISO/IEC 23009-1, 5.3.5.2",
    "A line of the declared bandwidth cannot play a representation without a stall",
    "Players choose it on lines that cannot carry it. Declare a higher bandwidth or minBufferTime, "
    "or let the encoder keep to its limit."};

/// Plays from each segment on over a line of the declared bandwidth, beginning when as much is
/// there as minBufferTime stands for.
class LeakyBucket : public RenditionRule {
public:
    LeakyBucket()
        : RenditionRule(kBucket) {}

protected:
    void look(const RenditionLook& look) const override {
        const double rate = static_cast<double>(look.rendition.bandwidth) * kTolerance;
        if (look.evidence.format != CheckedFormat::Dash || rate <= 0 || look.rendition.isTrick)
            return;
        double late = 0; // seconds that a stretch that ends here comes too late at worst
        double worst = 0;
        for (const CheckedSegment& it : look.rendition.segments) {
            late = isMeasured(it) ? std::max(late, 0.0) + bitsOf(it) / rate - it.seconds : 0;
            worst = std::max(worst, late);
        }
        if (worst > minBufferOf(look.evidence))
            look.add("at " + rateText(static_cast<double>(look.rendition.bandwidth)) +
                     " segments come up to " + exactSeconds(worst) + " late, minBufferTime is " +
                     exactSeconds(minBufferOf(look.evidence)) + "; the mean is " +
                     rateText(sumOf(look.rendition).rate()));
    }
};

constexpr RuleCard kSmoothRate = {
    "smooth-bitrate-exceeded", Severity::Warning, "[MS-SSTR] 2.2.2.5",
    "A quality level needs more than its Bitrate",
    "Players choose this quality on lines that cannot carry it, and stall. Bitrate is the mean of "
    "what the level needs."};

class SmoothBitrate : public RenditionRule {
public:
    SmoothBitrate()
        : RenditionRule(kSmoothRate) {}

protected:
    void look(const RenditionLook& look) const override {
        const auto declared = static_cast<double>(look.rendition.bandwidth);
        if (look.evidence.format != CheckedFormat::Smooth || declared <= 0)
            return;
        const Stretch sum = sumOf(look.rendition);
        constexpr double kEnough = 10; // seconds; less is no mean
        if (sum.seconds >= kEnough && sum.rate() > declared * 1.25)
            look.add(comparison("the mean", sum.rate(), declared));
    }
};

} // namespace

void addRateRules(Rules& rules) {
    rules.push_back(std::make_unique<PeakBandwidth>());
    rules.push_back(std::make_unique<LoosePeak>());
    rules.push_back(std::make_unique<AverageBandwidth>());
    rules.push_back(std::make_unique<LeakyBucket>());
    rules.push_back(std::make_unique<SmoothBitrate>());
}

} // namespace hastool

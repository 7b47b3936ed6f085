#include <hastool/base/Quantities.h>
#include <hastool/check/CodecKinds.h>
#include <hastool/check/CodecMatch.h>
#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <vector>

namespace hastool {
namespace {

using Kind = StreamFacts::Kind;

bool hasText(const std::vector<CheckedDocument>& documents, const std::string& text) {
    return std::any_of(documents.begin(), documents.end(), [&](const CheckedDocument& it) {
        return it.text.find(text) != std::string::npos;
    });
}

/// Whether the manifest promises that every segment begins with a key frame.
bool promisesKeys(const Evidence& evidence, const CheckedRendition& rendition) {
    constexpr const char* kTag = "#EXT-X-INDEPENDENT-SEGMENTS";
    switch (evidence.format) {
    case CheckedFormat::Hls:
        return hasText(evidence.documents, kTag) ||
               std::any_of(rendition.playlists.begin(), rendition.playlists.end(),
                           [](const auto& it) { return it.text.find(kTag) != std::string::npos; });
    case CheckedFormat::Dash:
        return hasText(evidence.documents, "tartWithSAP=\"1") ||
               hasText(evidence.documents, "tartWithSAP=\"2") ||
               hasText(evidence.documents, "tartsWithSAP=\"1") ||
               hasText(evidence.documents, "tartsWithSAP=\"2");
    default:
        return true;
    }
}

/// Looks at segments whose video does not begin with a key frame.
class KeyFrameRule : public SegmentRule {
public:
    KeyFrameRule(const RuleCard& card, bool isPromised)
        : SegmentRule(card)
        , m_isPromised(isPromised) {}

protected:
    void look(const SegmentLook& look) const final {
        const StreamFacts* const video = look.facts().stream(Kind::Video);
        if (video == nullptr || video->beginsWithKey.value_or(true) ||
            promisesKeys(look.evidence, look.rendition) != m_isPromised)
            return;
        look.add(video->keyFrames > 0 ? "its first picture needs others before it"
                                      : "it has no picture that needs none before it");
    }

private:
    const bool m_isPromised;
};

constexpr RuleCard kPromisedKey = {
    "video-key-frame", Severity::Error,
    "RFC 8216, 4.3.5.1; ISO/IEC 23009-1, 5.3.3.2; [MS-SSTR] 2.2.4",
    "A segment does not begin with a key frame although the manifest says so",
    "After a seek or a switch to this rendition viewers see broken pictures or a still one. Let "
    "the encoder put an IDR picture at each segment's begin, without scene cuts in between."};

class PromisedKeyFrame : public KeyFrameRule {
public:
    PromisedKeyFrame()
        : KeyFrameRule(kPromisedKey, true) {}
};

constexpr RuleCard kUsualKey = {
    "video-key-frame-late", Severity::Warning, "RFC 8216, 3",
    "A segment does not begin with a key frame",
    "Players that begin here, after a seek or a switch, have nothing to show up to the next key "
    "frame. Cut segments at IDR pictures."};

class UsualKeyFrame : public KeyFrameRule {
public:
    UsualKeyFrame()
        : KeyFrameRule(kUsualKey, false) {}
};

constexpr RuleCard kSyncFlag = {
    "video-sync-flag", Severity::Warning, "ISO/IEC 14496-12, 8.8.3.1",
    "A segment begins with a key frame that its boxes do not mark as one",
    "Players that go by the boxes do not seek or switch to this segment. The first sample's flags "
    "have to say that it is a sync sample."};

class SyncFlag : public SegmentRule {
public:
    SyncFlag()
        : SegmentRule(kSyncFlag) {}

protected:
    void look(const SegmentLook& look) const override {
        const StreamFacts* const video = look.facts().stream(Kind::Video);
        const auto& tracks = look.facts().boxes.tracks;
        const auto track = video != nullptr ? tracks.find(video->id) : tracks.end();
        if (track != tracks.end() && video->beginsWithKey == true && !track->second.isFirstSync)
            look.add("the first sample is marked as one that needs others", "moof/traf/trun");
    }
};

/// The codecs of a list.
std::vector<std::string> codecsIn(const std::string& list) {
    std::vector<std::string> codecs;
    std::istringstream text(list);
    for (std::string codec; std::getline(text, codec, ',') && codecs.size() < 100;) {
        const size_t begin = codec.find_first_not_of(" \t\"");
        if (begin != std::string::npos)
            codecs.push_back(codec.substr(begin, codec.find_last_not_of(" \t\"") - begin + 1));
    }
    return codecs;
}

CodecKind kindOf(const StreamFacts& stream) {
    return stream.kind == Kind::Video   ? CodecKind::Video
           : stream.kind == Kind::Audio ? CodecKind::Audio
                                        : CodecKind::Unknown;
}

/// The declared codecs that a stream's codec has to be among; empty where that cannot be told.
std::vector<std::string> rivalsOf(const CheckedRendition& rendition, const StreamFacts& stream) {
    std::vector<std::string> rivals = codecsIn(rendition.codecs);
    const CodecKind kind = kindOf(stream);
    const bool isJudged = kind != CodecKind::Unknown && !stream.codec.empty();
    rivals.erase(std::remove_if(rivals.begin(), rivals.end(),
                                [&](const std::string& it) { return kindOfCodec(it) != kind; }),
                 rivals.end());
    // Dolby Vision is declared by codecs of its own, and its base layer is found.
    const bool isLayered = std::any_of(rivals.begin(), rivals.end(), [](const std::string& it) {
        return it.compare(0, 2, "dv") == 0 || it.compare(0, 4, "dav1") == 0;
    });
    return isJudged && !isLayered ? rivals : std::vector<std::string>();
}

constexpr RuleCard kCodec = {
    "media-codec", Severity::Error, "RFC 6381, 3.3; RFC 8216, 4.3.4.2; ISO/IEC 23009-1, 5.3.7.2",
    "The media has another codec, profile or a higher level than declared",
    "Players choose by what is declared: devices that cannot decode the media take it and fail, "
    "others leave it though they could. Declare what the parameter sets say."};

class DeclaredCodec : public RenditionRule {
public:
    DeclaredCodec()
        : RenditionRule(kCodec) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedSegment& segment : look.rendition.segments) {
            if (!isRead(segment))
                continue;
            for (const StreamFacts& stream : segment.facts.streams) {
                const auto rivals = rivalsOf(look.rendition, stream);
                const bool isCovered =
                    std::any_of(rivals.begin(), rivals.end(),
                                [&](const std::string& it) { return covers(it, stream.codec); });
                if (rivals.empty() || isCovered)
                    continue;
                SegmentLook{look, segment}.add("it is " + stream.codec + ", declared is " +
                                               look.rendition.codecs);
                return; // the others are the same
            }
        }
    }
};

constexpr RuleCard kCodecMissing = {
    "media-codec-undeclared", Severity::Warning, "RFC 8216, 4.3.4.2; ISO/IEC 23009-1, 5.3.7.2",
    "The media has video or audio that the declared codecs do not name",
    "Players make no decoder ready for it: the sound or the picture is missing, or playing fails. "
    "Name the codecs of all that the segments hold."};

class UndeclaredCodec : public RenditionRule {
public:
    UndeclaredCodec()
        : RenditionRule(kCodecMissing) {}

protected:
    void look(const RenditionLook& look) const override {
        const std::string& declared = look.rendition.codecs;
        for (const CheckedSegment& segment : look.rendition.segments) {
            if (!isRead(segment) || declared.empty())
                continue;
            for (const StreamFacts& stream : segment.facts.streams) {
                const CodecKind kind = kindOf(stream);
                if (kind == CodecKind::Unknown || !codecsOf(declared, kind).empty() ||
                    !codecsOf(declared, CodecKind::Unknown).empty())
                    continue;
                SegmentLook{look, segment}.add(
                    std::string("there is ") + (kind == CodecKind::Video ? "video" : "audio") +
                    (stream.codec.empty() ? "" : " (" + stream.codec + ")") +
                    ", declared is only " + declared);
                return;
            }
        }
    }
};

constexpr RuleCard kResolution = {
    "video-resolution", Severity::Warning,
    "RFC 8216, 4.3.4.2; ISO/IEC 23009-1, 5.3.7.2; [MS-SSTR] 2.2.2.5",
    "The pictures have another size than declared",
    "Players choose a rendition too large or too small for the screen. Declare the size that the "
    "sequence parameter set has after cropping."};

std::string sizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

class DeclaredResolution : public RenditionRule {
public:
    DeclaredResolution()
        : RenditionRule(kResolution) {}

protected:
    void look(const RenditionLook& look) const override {
        const int width = look.rendition.width;
        const int height = look.rendition.height;
        if (width <= 0 || height <= 0 || look.rendition.isTrick)
            return;
        for (const CheckedSegment& it : look.rendition.segments) {
            const StreamFacts* const video = isRead(it) ? it.facts.stream(Kind::Video) : nullptr;
            if (video == nullptr || video->height <= 0 || fits(*video, width, height))
                continue;
            SegmentLook{look, it}.add("its pictures are " + sizeText(video->width, video->height) +
                                      ", declared is " + sizeText(width, height));
            return;
        }
    }

private:
    /// Pixels that are not square let the width differ, and macroblocks both by a little.
    static bool fits(const StreamFacts& video, int width, int height) {
        constexpr int kMacroblock = 16;
        constexpr double kWidest = 2.2;
        const double stretch = static_cast<double>(width) / video.width;
        return std::abs(video.height - height) < kMacroblock && stretch < kWidest &&
               stretch > 1 / kWidest;
    }
};

constexpr RuleCard kFrameRate = {
    "video-frame-rate", Severity::Warning, "RFC 8216, 4.3.4.2; ISO/IEC 23009-1, 5.3.7.2",
    "The video has another frame rate than declared",
    "Players and screens that choose by the frame rate choose wrongly. Declare the rate that the "
    "pictures' times have."};

class DeclaredFrameRate : public RenditionRule {
public:
    DeclaredFrameRate()
        : RenditionRule(kFrameRate) {}

protected:
    void look(const RenditionLook& look) const override {
        const double declared = look.rendition.frameRate;
        if (declared <= 0 || look.rendition.isTrick)
            return;
        double frames = 0;
        double seconds = 0;
        for (const CheckedSegment& it : look.rendition.segments) {
            const StreamFacts* const video = isRead(it) ? it.facts.stream(Kind::Video) : nullptr;
            if (video == nullptr)
                continue;
            frames += static_cast<double>(video->frames);
            seconds += video->seconds;
        }
        constexpr double kEnough = 20; // frames
        if (frames < kEnough || seconds <= 0)
            return;
        const double rate = frames / seconds;
        // Pictures may be repeated or dropped, and fields come in pairs.
        constexpr double kAbove = 1.05;
        constexpr double kBelow = 0.6;
        const bool isFields = std::abs(rate / declared - 2) < 0.02;
        if ((rate > declared * kAbove && !isFields) || rate < declared * kBelow)
            look.add("it has " + rateText(rate) + " frames a second, declared are " +
                     rateText(declared));
    }

private:
    static std::string rateText(double rate) {
        const std::string text = exactSeconds(rate);
        return text.substr(0, text.find(' '));
    }
};

} // namespace

void addVideoRules(Rules& rules) {
    rules.push_back(std::make_unique<PromisedKeyFrame>());
    rules.push_back(std::make_unique<UsualKeyFrame>());
    rules.push_back(std::make_unique<SyncFlag>());
    rules.push_back(std::make_unique<DeclaredCodec>());
    rules.push_back(std::make_unique<UndeclaredCodec>());
    rules.push_back(std::make_unique<DeclaredResolution>());
    rules.push_back(std::make_unique<DeclaredFrameRate>());
}

} // namespace hastool

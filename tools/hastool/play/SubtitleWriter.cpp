#include "SubtitleWriter.h"

#include <hastool/base/BoxView.h>
#include <hastool/base/XmlDocument.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace hastool {
namespace {

constexpr char kOther[] = "subtitles of another kind than those before";
constexpr double kMostSeconds = 1e9; // of a time offset; more is no time

bool isPlainTag(const std::string& language) {
    constexpr size_t kMost = 35; // RFC 5646, 4.4.1
    constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
    return !language.empty() && language.size() <= kMost &&
           language.find_first_not_of(kLetters) == std::string::npos;
}

int64_t inTicks(double seconds) {
    return std::llround(std::clamp(seconds, -kMostSeconds, kMostSeconds) * kCueClock);
}

} // namespace

SubtitleWriter::SubtitleWriter(std::string output, std::string language,
                               const MediaTimeline& timeline)
    : m_output(std::move(output))
    , m_language(std::move(language))
    , m_timeline(timeline) {}

std::string SubtitleWriter::write(const MediaPiece& piece, const std::string& init,
                                  const std::string& media, size_t stretch) {
    if (media.empty())
        return {}; // Nothing is said in this segment.
    if (!init.empty())
        return writeBoxes(piece, init, media, stretch);
    if (const auto document = parseWebVtt(media)) {
        if (!become(Kind::Cues, "vtt"))
            return kOther;
        addCues(*document, piece, stretch, false);
        return {};
    }
    if (outermostElement(media) != "tt")
        return "neither WebVTT nor TTML";
    if (!become(Kind::Ttml, "ttml"))
        return kOther;
    m_ttml.add(media);
    return {};
}

std::string SubtitleWriter::writeBoxes(const MediaPiece& piece, const std::string& init,
                                       const std::string& media, size_t stretch) {
    if (!findBox(init, "moov") || !findBox(media, "moof"))
        return "not a fragment of MP4";
    if (init != m_init)
        m_reader = WvttReader::open(init);
    m_init = init;
    if (m_reader) {
        const auto document = m_reader->read(media);
        if (!document)
            return "a fragment that cannot be read";
        if (!become(Kind::Cues, "vtt"))
            return kOther;
        addCues(*document, piece, stretch, true);
        return {};
    }
    if (!become(Kind::Mp4, "mp4"))
        return kOther;
    if (!m_boxes)
        m_boxes.emplace(m_path);
    m_boxes->setInit(init);
    m_boxes->write(media);
    return {};
}

/// @return false when the subtitles are already something else
bool SubtitleWriter::become(Kind kind, const char* extension) {
    if (m_kind == Kind::None && !m_output.empty())
        m_path = subtitleOutput(m_output, m_language, extension);
    if (m_kind == Kind::None)
        m_kind = kind;
    return m_kind == kind;
}

/// What the presentation says of the times holds; where it says nothing, the media's clock does.
void SubtitleWriter::addCues(const VttDocument& document, const MediaPiece& piece, size_t stretch,
                             bool isCutUp) {
    CuePlace place;
    place.isMediaClock = !piece.timeOffset;
    place.stretch = stretch;
    place.offset =
        piece.timeOffset ? inTicks(*piece.timeOffset - m_timeline.start()) : document.clockOffset;
    place.isCutUp = isCutUp;
    m_cues.add(document, place);
}

void SubtitleWriter::commit() {
    if (m_path.empty())
        return;
    if (m_kind == Kind::Mp4) {
        m_boxes->commit();
        return;
    }
    const auto clockStart = [this](size_t stretch) { return m_timeline.clockStart(stretch); };
    OutputFile file(m_path, OutputFile::Mode::Replace);
    file.write(m_kind == Kind::Cues ? m_cues.text(clockStart) : m_ttml.text());
    file.commit();
}

std::string subtitleOutput(const std::string& output, const std::string& language,
                           const std::string& extension) {
    const size_t slash = output.rfind('/');
    const size_t name = slash == std::string::npos ? 0 : slash + 1;
    const size_t dot = output.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > name;
    return output.substr(0, hasExtension ? dot : output.size()) + "." +
           (isPlainTag(language) ? language : "subtitles") + "." + extension;
}

} // namespace hastool

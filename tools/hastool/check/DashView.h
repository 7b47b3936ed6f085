// What the elements of an MPD say together: what rules about DASH look at.
#pragma once

#include "Evidence.h"
#include "ManifestTree.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hastool {

struct DashPeriodView {
    const ManifestElement* element = nullptr;
    double start = 0;
    std::optional<double> duration; ///< nothing where it has no end
    bool isStated = false;          ///< its own attribute says the start
    bool isRemote = false;          ///< it stands in a document of its own
};

/// Segments of the same duration in a timeline, in units of its timescale.
struct DashStretch {
    const ManifestElement* element = nullptr;
    uint64_t time = 0;
    uint64_t duration = 0;
    uint64_t count = 0;    ///< 0 for one that lasts up to an end which is not known
    uint64_t number = 0;   ///< of its first segment
    bool isStated = false; ///< its own attribute says the time

    /// Where the last one ends.
    uint64_t end() const { return time + duration * count; }
};

/// How the segments of a representation are told, by all levels together.
struct DashSegmenting {
    enum class Kind { None, Template, List, Base };
    Kind kind = Kind::None;
    const ManifestElement* element = nullptr;  ///< the innermost; null without one
    const ManifestElement* timeline = nullptr; ///< null without one
    const ManifestElement* list = nullptr;     ///< the SegmentList with the URLs
    std::optional<std::string> media;
    std::optional<std::string> initialization;
    uint64_t timescale = 1;
    uint64_t timeOffset = 0;
    uint64_t startNumber = 1;
    std::optional<uint64_t> duration;
    std::optional<uint64_t> endNumber;

    double seconds(uint64_t ticks) const {
        return static_cast<double>(ticks) / static_cast<double>(timescale);
    }
    /// The timeline's stretches; nothing for values that cannot be read or counted.
    std::optional<std::vector<DashStretch>> stretches() const;
};

struct DashRepresentationView {
    const ManifestElement* element = nullptr;
    const ManifestElement* set = nullptr;
    size_t period = 0;

    std::string id() const { return element->value("id"); }
    /// Of its own or of its set.
    std::string inherited(const char* name) const;
    const ManifestElement* inheritedElement(const char* name) const;
    bool isVideo() const { return type() == "video"; }
    bool isAudio() const { return type() == "audio"; }
    /// "video", "audio", "text", "image" or another, by MIME type or else contentType.
    std::string type() const;
    DashSegmenting segmenting() const;
    /// All BaseURLs from the outermost on, one of each level.
    std::vector<const ManifestElement*> bases() const;
};

/// One state of a manifest.
class DashView {
public:
    /// @param document  with a tree; both are borrowed
    explicit DashView(const CheckedDocument& document);

    const CheckedDocument& document() const { return m_document; }
    const ManifestElement& mpd() const { return *m_document.tree; }
    bool isDynamic() const { return mpd().value("type") == "dynamic"; }
    std::optional<double> duration(const char* name) const;
    const std::vector<DashPeriodView>& periods() const { return m_periods; }
    const std::vector<DashRepresentationView>& representations() const { return m_all; }
    /// Those of one set.
    std::vector<DashRepresentationView> of(const ManifestElement& set) const;
    std::vector<const ManifestElement*> sets() const;

private:
    void addPeriod(const ManifestElement& element);
    void completeTimes();

    const CheckedDocument& m_document;
    std::vector<DashPeriodView> m_periods;
    std::vector<DashRepresentationView> m_all;
};

/// Whether a namespace is that of MPDs; the first edition wrote it with capitals.
bool isDashNameSpace(const std::string& nameSpace);
/// Whether an element is to be read from a document of its own.
bool isRemoteElement(const ManifestElement& element);
/// A number of an attribute; nothing where there is none or it is none.
std::optional<uint64_t> dashNumber(const ManifestElement& element, const char* name);
std::optional<double> dashSeconds(const ManifestElement& element, const char* name);

} // namespace hastool

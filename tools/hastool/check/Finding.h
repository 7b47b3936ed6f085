// What a check has found.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace hastool {

enum class Severity {
    Note,    ///< worth knowing
    Warning, ///< some players or viewers will suffer
    Error    ///< against a standard, or it will not play
};

/// "error", "warning" or "note".
const char* nameOf(Severity severity);

/// What a rule is about: all that is said of it, in one place.
struct RuleCard {
    const char* code; ///< stable: "hls-target-duration"
    Severity severity;
    const char* clause; ///< what it rests on: "RFC 8216, 4.3.3.1"
    const char*
        title; ///< what is wrong, on one line: "A segment is longer than the target duration"
    const char* advice; ///< what viewers notice, and what mends it; whole sentences
};

/// Where in a presentation something is.
struct FindingPlace {
    std::string rendition; ///< CheckedRendition::name; empty for what is about the presentation
    std::string segment;   ///< CheckedSegment::name; empty for what is about no segment
    std::string where;     ///< a URL with a line ("http://host/a.m3u8:12"), an element or a box
};

/// One thing that is wrong.
struct Finding {
    const RuleCard* rule = nullptr;
    FindingPlace place;
    std::string text; ///< what is wrong here, with its figures: "6.4 s, the target is 6 s"
};

/// Takes findings. Of one rule in one rendition the first ones are kept, the others counted.
class Findings {
public:
    static constexpr size_t kMostAlike = 10;

    void add(const RuleCard& rule, FindingPlace place, std::string text);

    /// The worst first, those of the same severity in the order of the rules' codes, then as found.
    std::vector<Finding> sorted() const;
    const std::vector<Finding>& all() const { return m_findings; }
    /// Those of a severity, with those that were only counted.
    size_t count(Severity severity) const;
    /// By rule and rendition, how many more there are than are kept.
    using Key = std::pair<std::string, std::string>;
    size_t more(const RuleCard& rule, const std::string& rendition) const;

private:
    std::vector<Finding> m_findings;
    std::map<Key, size_t> m_counts;
    std::map<Severity, size_t> m_bySeverity;
};

} // namespace hastool

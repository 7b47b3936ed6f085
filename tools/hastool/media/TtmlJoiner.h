// TTML documents of several segments in one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace hastool {

/// Joins TTML documents (W3C TTML) whose times count from the same moment: what is in the bodies of
/// those that follow goes into the body of the first. Documents with another head, whose styles and
/// regions the first one does not have, are left out and counted.
class TtmlJoiner {
public:
    void add(std::string_view document);
    size_t leftOut() const { return m_leftOut; }
    /// The document; empty before the first.
    std::string text() const { return m_head + m_content + m_tail; }

    static constexpr size_t kMaxBytes = 64u << 20; ///< of the whole document

private:
    std::string m_head; ///< up to the begin of the body's content
    std::string m_content;
    std::string m_tail;
    std::string m_last; ///< content of the last document, which a live server may repeat
    bool m_hasBody = false;
    size_t m_leftOut = 0;
};

} // namespace hastool

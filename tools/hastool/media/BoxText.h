// How boxes are shown.
#pragma once

#include "BoxWalk.h"

#include <string>

namespace hastool {

/// One line: "  moof  954 +188  ...", with what is wrong behind "!!".
std::string toText(const BoxInfo& box);

/// Writes boxes piece by piece as a JSON array of objects, whose own boxes are their "children".
class BoxJson {
public:
    /// What the next box adds to the text.
    std::string add(const BoxInfo& box);
    /// What ends the text.
    std::string finish();

private:
    std::string closeTo(unsigned depth);

    bool m_isOpen = false; ///< the last box's object is not closed
    bool m_isFirst = true;
    unsigned m_depth = 0;
};

} // namespace hastool

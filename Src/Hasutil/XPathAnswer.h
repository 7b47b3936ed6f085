/// @file
/// What an XPath expression comes to.
#pragma once

#include <string>
#include <vector>

namespace hascommon {

/// The value of an XPath 1.0 expression (W3C XPath 1.0, section 1), see HssXPathReader::Evaluate().
/// Plain data of the caller's own: it outlives the reader and its document.
struct XPathAnswer {
    /// The four types of XPath 1.0, and a failure.
    enum class Kind {
        Error,   ///< no value; `text` says why, in libxml2's words
        Nodes,   ///< a node set, which may be empty
        Boolean, ///< a truth value
        Number,  ///< a number, which may be infinite or NaN
        Text,    ///< a string
    };

    /// Which of the members below holds the value; the others are as they are initialised here.
    Kind kind = Kind::Error;
    /// The string-values of the nodes in document order: of an element all text inside it, of an
    /// attribute its value, of a text itself.
    std::vector<std::string> nodes;
    /// The value of a Boolean.
    bool boolean = false;
    /// The value of a Number, in double precision as XPath has it.
    double number = 0;
    /// What XPath's string() makes of the value; of an Error the reason.
    std::string text;
};

} // namespace hascommon

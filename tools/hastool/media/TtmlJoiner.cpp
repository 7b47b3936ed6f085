#include "TtmlJoiner.h"

#include <algorithm>
#include <optional>

namespace hastool {
namespace {

/// Where the content of the outermost body begins and ends.
struct Body {
    size_t begin = 0;
    size_t end = 0;
};

/// The place behind a text, from a place on; the end where the text does not come.
size_t behind(std::string_view text, std::string_view what, size_t from) {
    const size_t at = text.find(what, from);
    return at == std::string_view::npos ? text.size() : at + what.size();
}

/// The place behind a tag, whose attributes may hold ">" in quotation marks.
size_t behindTag(std::string_view text, size_t from) {
    char quote = 0;
    for (size_t i = from; i < text.size(); ++i) {
        const char letter = text[i];
        if (quote != 0)
            quote = letter == quote ? 0 : quote;
        else if (letter == '"' || letter == '\'')
            quote = letter;
        else if (letter == '>')
            return i + 1;
    }
    return text.size();
}

/// Whether a tag is of an element with this local name. @param at  behind its "<" or "</"
bool isNamed(std::string_view text, size_t at, std::string_view name) {
    const size_t end = std::min(text.find_first_of(" \t\r\n/>", at), text.size());
    std::string_view whole = text.substr(at, end - at);
    whole.remove_prefix(whole.find(':') == std::string_view::npos ? 0 : whole.find(':') + 1);
    return whole == name;
}

std::optional<Body> findBody(std::string_view text) {
    std::optional<Body> body;
    for (size_t at = text.find('<'); at < text.size(); at = text.find('<', at)) {
        const std::string_view rest = text.substr(at);
        if (rest.substr(0, 4) == "<!--") {
            at = behind(text, "-->", at);
        } else if (rest.substr(0, 9) == "<![CDATA[") {
            at = behind(text, "]]>", at);
        } else if (rest.substr(0, 2) == "</") {
            if (body && isNamed(text, at + 2, "body"))
                return Body{body->begin, at};
            at = behindTag(text, at);
        } else {
            const size_t next = behindTag(text, at);
            if (!body && isNamed(text, at + 1, "body")) {
                if (text[next - 1] != '>' || text[next - 2] == '/')
                    return std::nullopt;
                body = Body{next, next};
            }
            at = next;
        }
    }
    return std::nullopt;
}

} // namespace

void TtmlJoiner::add(std::string_view document) {
    const auto body = findBody(document);
    if (!m_hasBody) {
        // Until there is one with a body, a document is kept as it is.
        const size_t begin = body ? body->begin : document.size();
        const size_t end = body ? body->end : document.size();
        if (!body && !m_head.empty())
            return;
        m_hasBody = body.has_value();
        m_head = document.substr(0, begin);
        m_content = m_last = document.substr(begin, end - begin);
        m_tail = document.substr(end);
        return;
    }
    if (!body)
        return; // Nothing is said in it.
    const std::string_view content = document.substr(body->begin, body->end - body->begin);
    if (document.substr(0, body->begin) != m_head ||
        m_content.size() + content.size() > kMaxBytes) {
        ++m_leftOut;
    } else if (content != m_last) {
        m_content += content;
        m_last = content;
    }
}

} // namespace hastool

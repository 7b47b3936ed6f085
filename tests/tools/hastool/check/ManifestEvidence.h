// Evidence of manifests alone, for rules that look at nothing else.
#pragma once

#include <hastool/base/ToolError.h>
#include <hastool/check/Evidence.h>
#include <hastool/check/Rule.h>

#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// A manifest at a time, read as the check itself reads it.
inline hastool::CheckedDocument checkedDocument(const std::string& text, const std::string& url,
                                                hastool::CheckedFormat format, double begun = 0) {
    hastool::CheckedDocument document;
    document.text = text;
    document.answer.resource.url = url;
    document.answer.finalUrl = url;
    document.answer.ok = true;
    document.answer.isLocal = true;
    document.answer.begun = begun;
    document.tree = hastool::readManifestTree(text);
    try {
        if (format == hastool::CheckedFormat::Dash)
            hastool::parseDashManifest(text, url);
        else if (format == hastool::CheckedFormat::Smooth)
            hastool::parseSmoothManifest(text, url);
    } catch (const hastool::ToolError& error) {
        document.trouble = error.what();
    }
    return document;
}

/// Puts a text in the place of another, which has to be there exactly once.
inline std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    if (at == std::string::npos || text.find(from, at + 1) != std::string::npos)
        throw std::runtime_error("not there once: " + from);
    return text.replace(at, from.size(), to);
}

/// The codes of findings, those of the wanted severities only.
inline std::set<std::string> codesOf(const hastool::Findings& findings, bool withNotes) {
    std::set<std::string> codes;
    for (const hastool::Finding& it : findings.all()) {
        if (withNotes || it.rule->severity != hastool::Severity::Note)
            codes.insert(it.rule->code);
    }
    return codes;
}

/// Of a rule's name in kebab case, a name that a test can have.
inline std::string testName(std::string code) {
    for (char& c : code)
        c = c == '-' || c == '.' ? '_' : c;
    return code;
}

} // namespace test

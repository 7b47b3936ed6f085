// What rules say of a manifest alone.
#pragma once

#include <hastool/check/Rule.h>

#include <cstdlib>
#include <string>
#include <utility>

/// Lets all rules look at two states of a live manifest, divided by an empty comment; without one
/// the same text is both. Whatever they find has a place and is one line.
inline void judgeManifest(hastool::CheckedFormat format, const std::string& text,
                          const std::string& url) {
    hastool::Evidence evidence;
    evidence.format = format;
    evidence.url = url;
    evidence.isLive = true;
    const size_t divider = text.find("<!---->");
    for (const std::string& state :
         {text.substr(0, divider), divider == std::string::npos ? text : text.substr(divider)}) {
        hastool::CheckedDocument document;
        document.answer.ok = true;
        document.answer.finalUrl = url;
        document.answer.begun = static_cast<double>(evidence.documents.size()) * 3600;
        document.tree = hastool::readManifestTree(state);
        document.text = state;
        evidence.documents.push_back(std::move(document));
    }
    const hastool::Findings findings = hastool::judge(evidence);
    for (const hastool::Finding& it : findings.all()) {
        if (it.place.where.empty() || it.text.empty() ||
            it.text.find_first_of("\r\n") != std::string::npos)
            abort();
    }
}

#include "RenditionChoice.h"

#include <hastool/base/XmlDocument.h>

#include <algorithm>

namespace hastool {
namespace {

constexpr size_t kMostListed = 20; // more would fill the terminal

/// "\"en\" (\"English\")".
std::string textOf(const RenditionLabel& label) {
    const auto name = std::find_if(label.names.begin(), label.names.end(),
                                   [](const std::string& it) { return !it.empty(); });
    if (name == label.names.end())
        return label.language.empty() ? "one without a name" : inQuotes(label.language);
    return label.language.empty() ? inQuotes(*name)
                                  : inQuotes(label.language) + " (" + inQuotes(*name) + ")";
}

std::string listOf(const std::vector<RenditionLabel>& labels) {
    std::vector<std::string> all;
    for (const RenditionLabel& label : labels) {
        std::string text = textOf(label);
        if (std::find(all.begin(), all.end(), text) == all.end())
            all.push_back(std::move(text));
    }
    std::string list;
    for (size_t i = 0; i < std::min(all.size(), kMostListed); ++i)
        list += (i == 0 ? "" : ", ") + all[i];
    if (all.size() > kMostListed)
        list += " and " + std::to_string(all.size() - kMostListed) + " more";
    return list;
}

} // namespace

bool matchesLanguage(const std::string& range, const std::string& tag) {
    if (range == "*")
        return !tag.empty();
    const bool isPrefix = !range.empty() && lowered(tag.substr(0, range.size())) == lowered(range);
    return isPrefix && (tag.size() == range.size() || tag[range.size()] == '-');
}

std::optional<size_t> findRendition(const std::string& wanted,
                                    const std::vector<RenditionLabel>& labels) {
    std::optional<size_t> best;
    if (wanted.empty())
        return best;
    const auto consider = [&](size_t i, bool fits) {
        if (fits && (!best || labels[i].rank > labels[*best].rank))
            best = i;
    };
    for (size_t i = 0; i < labels.size(); ++i) {
        const auto& names = labels[i].names;
        consider(i, std::find(names.begin(), names.end(), wanted) != names.end());
    }
    if (best)
        return best;
    for (size_t i = 0; i < labels.size(); ++i)
        consider(i, matchesLanguage(wanted, labels[i].language));
    return best;
}

ToolError noSuchRendition(const std::string& option, const std::string& wanted,
                          const std::vector<RenditionLabel>& labels, const std::string& more) {
    const std::string list = listOf(labels);
    return {option, "no such rendition: " + inQuotes(wanted) + "; " +
                        (list.empty() ? "there are none" : "there are " + list) +
                        (more.empty() ? "" : "; " + more)};
}

} // namespace hastool

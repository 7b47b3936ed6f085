#include "RuleText.h"

#include "Rule.h"

#include <algorithm>
#include <vector>

namespace hastool {
namespace {

constexpr char kHead[] = R"(# What `hastool check` looks for

<!-- Made of the rules themselves: scripts/update-check-docs.sh -->

A finding names its rule by the code below. An **error** is against a standard, or will not play; a
**warning** is what some players or viewers suffer from; a **note** is worth knowing. With errors the
exit status is 1, with `--strict` also with warnings.

| code | severity | what is wrong | rests on |
|---|---|---|---|
)";

/// Tags of playlists as code: a "#" begins a link for some readers of Markdown.
std::string withTags(const std::string& text) {
    constexpr char kTag[] = "#EXT";
    constexpr char kLetters[] = "#ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
    std::string result;
    size_t begin = 0;
    for (size_t at = text.find(kTag); at != std::string::npos; at = text.find(kTag, begin)) {
        const size_t end = std::min(text.find_first_not_of(kLetters, at), text.size());
        result += text.substr(begin, at - begin) + "`" + text.substr(at, end - at) + "`";
        begin = end;
    }
    return result + text.substr(begin);
}

} // namespace

std::string rulesAsMarkdown() {
    std::vector<const RuleCard*> cards;
    for (const auto& rule : allRules())
        cards.push_back(&rule->card());
    std::sort(cards.begin(), cards.end(),
              [](const RuleCard* a, const RuleCard* b) { return std::string(a->code) < b->code; });
    std::string table = kHead;
    std::string details = "\n## The rules one by one\n";
    for (const RuleCard* const card : cards) {
        const std::string code = card->code;
        table += "| `" + code + "` | " + nameOf(card->severity) + " | " + withTags(card->title) +
                 " | " + card->clause + " |\n";
        details += "\n### " + code + "\n\n**" + withTags(card->title) + ".** " +
                   withTags(card->advice) + "\n\n*" + nameOf(card->severity) + ", " + card->clause +
                   "*\n";
    }
    return table + details;
}

} // namespace hastool

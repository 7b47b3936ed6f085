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
        table += "| [" + code + "](#" + code + ") | " + nameOf(card->severity) + " | " +
                 card->title + " | " + card->clause + " |\n";
        details += "\n### " + code + "\n\n**" + card->title + ".** " + card->advice + "\n\n*" +
                   nameOf(card->severity) + ", " + card->clause + "*\n";
    }
    return table + details;
}

} // namespace hastool

#include "Lister.h"

#include <algorithm>
#include <string>

namespace hastool {

void keepTree(std::vector<CheckedDocument>& documents) {
    CheckedDocument& last = documents.back();
    const CheckedDocument* const before =
        documents.size() > 1 ? &documents[documents.size() - 2] : nullptr;
    if (before != nullptr && before->tree != nullptr && before->text == last.text)
        last.tree = before->tree;
    else if (last.answer.ok)
        last.tree = readManifestTree(last.text);
}

void nameRendition(Evidence& evidence, CheckedRendition& rendition, const std::string& name) {
    const auto isTaken = [&](const std::string& wanted) {
        return std::any_of(
            evidence.renditions.begin(), evidence.renditions.end(),
            [&](const CheckedRendition& it) { return &it != &rendition && it.name == wanted; });
    };
    rendition.name = name;
    for (int number = 2; isTaken(rendition.name); ++number)
        rendition.name = name + " (" + std::to_string(number) + ")";
}

std::string qualityName(int width, int height, uint64_t bitrate) {
    std::string name;
    if (width > 0 && height > 0)
        name = std::to_string(width) + "x" + std::to_string(height);
    if (bitrate > 0) {
        constexpr uint64_t kKilo = 1000;
        name +=
            (name.empty() ? "" : ", ") + std::to_string((bitrate + kKilo / 2) / kKilo) + " kbit/s";
    }
    return name;
}

} // namespace hastool

#include "SmoothRule.h"

#include "DashRule.h"
#include <hastool/base/Number.h>

#include <algorithm>
#include <limits>

namespace hastool {
namespace {

constexpr uint64_t kMaxTime = std::numeric_limits<uint64_t>::max() / 4;

} // namespace

bool SmoothLook::isLive() const {
    return lowered(manifest().value("IsLive")) == "true";
}

uint64_t SmoothLook::timescaleOf(const ManifestElement& stream) const {
    constexpr uint64_t kUsual = 10000000;
    const uint64_t whole = smoothNumber(manifest(), "TimeScale").value_or(kUsual);
    return std::max<uint64_t>(smoothNumber(stream, "TimeScale").value_or(whole), 1);
}

void SmoothLook::add(const ManifestElement& element, const std::string& text) const {
    findings.add(card, {{}, {}, placeInManifest(document, element)}, text);
}

void SmoothRule::check(const Evidence& evidence, Findings& findings) const {
    if (evidence.format != CheckedFormat::Smooth)
        return;
    const auto last = std::find_if(
        evidence.documents.rbegin(), evidence.documents.rend(), [](const CheckedDocument& it) {
            return it.tree != nullptr && it.tree->name == "SmoothStreamingMedia";
        });
    if (last != evidence.documents.rend())
        look({m_card, *last, findings});
}

std::optional<std::vector<SmoothRun>> smoothRuns(const ManifestElement& stream) {
    std::vector<SmoothRun> runs;
    const auto chunks = stream.all("c");
    uint64_t time = 0;
    for (size_t i = 0; i < chunks.size(); ++i) {
        const ManifestElement& it = *chunks[i];
        SmoothRun run;
        run.element = &it;
        run.time = smoothNumber(it, "t").value_or(time);
        run.duration = smoothNumber(it, "d");
        run.count = smoothNumber(it, "r").value_or(1); // counts the first one too
        if (!run.duration && i + 1 < chunks.size() && run.count == 1) {
            const auto next = smoothNumber(*chunks[i + 1], "t");
            if (next && *next > run.time)
                run.duration = *next - run.time;
        }
        const bool isReadable = (!it.has("t") || smoothNumber(it, "t")) &&
                                (!it.has("d") || smoothNumber(it, "d")) &&
                                (!it.has("r") || smoothNumber(it, "r"));
        if (!isReadable || run.count == 0 || run.time > kMaxTime ||
            run.duration.value_or(0) > kMaxTime / run.count)
            return std::nullopt;
        time = run.end();
        runs.push_back(run);
    }
    return runs;
}

std::string smoothType(const ManifestElement& stream) {
    return lowered(stream.value("Type"));
}

std::optional<uint64_t> smoothNumber(const ManifestElement& element, const char* name) {
    const std::string* const text = element.attribute(name);
    const auto number = text != nullptr ? parseUnsigned(*text) : std::nullopt;
    return number && *number <= kMaxTime ? number : std::nullopt;
}

} // namespace hastool

#include "Demo.h"

#include <hastool/base/Quantities.h>

#include "MediaCheck.h"
#include "SourceMedia.h"
#include <hastool/base/Interrupt.h>
#include <hastool/base/ToolError.h>
#include <hastool/origin/Origin.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <thread>
#include <utility>

namespace hastool {
namespace {

namespace fs = std::filesystem;

// A small buffer, so that changes of the line's rate soon have effects.
constexpr std::chrono::milliseconds kBufferGoal{10000};

/// A temporary folder, removed with the object.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = (fs::temp_directory_path() / "hastool-demo-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw ToolError(name, "cannot be made");
        m_path = name;
    }
    ~ScratchFolder() {
        std::error_code error;
        fs::remove_all(m_path, error);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const fs::path& path() const { return m_path; }

private:
    fs::path m_path;
};

std::vector<DemoItem> selectItems(const std::vector<std::string>& names) {
    std::vector<DemoItem> items;
    for (const DemoItem& item : demoItems()) {
        if (names.empty() || std::find(names.begin(), names.end(), item.name) != names.end())
            items.push_back(item);
    }
    for (const std::string& name : names) {
        const auto& all = demoItems();
        if (std::none_of(all.begin(), all.end(),
                         [&](const DemoItem& item) { return item.name == name; }))
            throw ToolError("--only", "no such presentation: " + inQuotes(name));
    }
    return items;
}

bool hasAudioTrack(const std::vector<TraceRow>& rows) {
    return std::any_of(rows.begin(), rows.end(), [](const TraceRow& row) { return row.isAudio; });
}

std::string trackText(const std::string& trouble, bool isAudio) {
    return (isAudio ? "audio: " : "") + trouble;
}

/// "2, 0.31 MB".
std::string givenUpText(const Summary& summary) {
    const std::string count = std::to_string(summary.givenUp);
    return summary.givenUp == 0 ? count
                                : count + ", " + sizeText(static_cast<double>(summary.wasted));
}

} // namespace

Demo::Demo(DemoOptions options)
    : m_options(std::move(options))
    , m_items(selectItems(m_options.only)) {}

std::vector<DemoResult> Demo::run(Terminal& terminal) {
    std::vector<std::string> names;
    for (const DemoItem& item : m_items)
        names.push_back(item.name);
    DemoBoard board(terminal, names);
    const ScratchFolder scratch;
    std::deque<DemoObserver> observers;
    std::vector<DemoResult> results(m_items.size());
    std::vector<std::thread> threads;
    for (size_t i = 0; i < m_items.size(); ++i)
        observers.emplace_back(board, i,
                               m_options.observerOf ? m_options.observerOf(m_items[i]) : nullptr);
    for (size_t i = 0; i < m_items.size(); ++i)
        threads.emplace_back(
            [&, i] { results[i] = play(m_items[i], scratch.path(), observers[i]); });
    for (std::thread& thread : threads)
        thread.join();
    terminal.clear();
    return results;
}

/// Runs on a thread of its own, which no exception may leave: a failure becomes part of the result.
DemoResult Demo::play(const DemoItem& item, const fs::path& folder, DemoObserver& observer) const {
    DemoResult result;
    result.name = item.name;
    try {
        OriginOptions line;
        line.root = m_options.media / item.folder;
        line.profile = RateProfile::parse(kDemoProfile, "the demo's profile");
        const Origin origin(line);
        PlayOptions options;
        options.url = origin.url("/" + item.manifest);
        options.output = (folder / (item.name + ".media")).string();
        options.duration = m_options.duration;
        options.bufferGoal = kBufferGoal;
        options.rule = item.rule;
        Player player(options, observer);
        try {
            player.play();
        } catch (const ToolError& error) {
            result.failures.push_back(error.what());
        }
        result.summary = player.summary();
        if (!isInterrupted())
            check(item, observer, options.output, result);
    } catch (const std::exception& error) {
        result.failures.push_back(error.what());
    }
    return result;
}

void Demo::check(const DemoItem& item, const DemoObserver& observer, const std::string& output,
                 DemoResult& result) const {
    const Summary& summary = result.summary;
    if (summary.skipped > 0)
        result.failures.push_back(std::to_string(summary.skipped) + " segments were skipped");
    if (m_options.duration <= 0 && (summary.switchesUp == 0 || summary.switchesDown == 0))
        result.failures.push_back("the bitrate did not follow the line up and down");
    const SourceMedia source(m_options.media / item.clear, item.manifest);
    for (const bool isAudio : {false, true}) {
        if (isAudio && !hasAudioTrack(observer.segments()))
            continue;
        TrackInfo track;
        track.isAudio = isAudio;
        const std::string trouble = checkMedia(item.media, trackOutput(output, track),
                                               source.segments(observer.segments(), isAudio));
        if (!trouble.empty())
            result.failures.push_back(trackText(trouble, isAudio));
    }
}

std::string toText(const std::vector<DemoResult>& results) {
    std::string text =
        "presentation  segments  mean bitrate   switches          stalls      given up  checks\n";
    std::string failures;
    for (const DemoResult& result : results) {
        const Summary& s = result.summary;
        text +=
            padded(result.name, 12) + padded(std::to_string(s.segments), 10, true) +
            padded(rateText(s.meanBitrate), 14, true) +
            padded(std::to_string(s.switchesUp) + " up " + std::to_string(s.switchesDown) + " down",
                   15, true) +
            padded(std::to_string(s.stalls) + ", " + secondsText(s.stallTime), 12, true) +
            padded(givenUpText(s), 14, true) + (result.failures.empty() ? "  ok\n" : "  failed\n");
        for (const std::string& failure : result.failures)
            failures.append(result.name).append(": ").append(failure).append("\n");
    }
    return text + failures;
}

} // namespace hastool

// All presentations at once.
#pragma once

#include "DemoObserver.h"
#include "DemoPlan.h"
#include <hastool/play/Player.h>
#include <hastool/play/Summary.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace hastool {

/// What the demo plays and how.
struct DemoOptions {
    std::filesystem::path media;   ///< the folder of the presentations
    std::vector<std::string> only; ///< names; empty for all
    double duration = 0;           ///< stop after so many seconds of media; 0 for all
    /// Gives an observer for a play before it begins, borrowed until run() returns. The function
    /// and what it gives may be null. Called on the thread that calls run().
    std::function<PlayObserver*(const DemoItem& item)> observerOf;
};

/// What came of one presentation.
struct DemoResult {
    std::string name;
    Summary summary;
    std::vector<std::string> failures; ///< what is wrong; empty when all checks hold
};

/// Plays presentations, each from an origin of its own over a line of its own, all at the same
/// time, and checks what comes out.
class Demo {
public:
    /// @throws ToolError for a name that no presentation has
    explicit Demo(DemoOptions options);

    /// What will be played.
    const std::vector<DemoItem>& items() const { return m_items; }
    /// Plays. @return the results in the order of items()
    std::vector<DemoResult> run(Terminal& terminal);

private:
    DemoResult play(const DemoItem& item, const std::filesystem::path& folder,
                    DemoObserver& observer) const;
    void check(const DemoItem& item, const DemoObserver& observer, const std::string& output,
               DemoResult& result) const;

    const DemoOptions m_options;
    std::vector<DemoItem> m_items;
};

/// The results as a table, and below it what failed.
std::string toText(const std::vector<DemoResult>& results);

} // namespace hastool

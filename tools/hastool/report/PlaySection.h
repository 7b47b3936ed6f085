// The part of a report about one play.
#pragma once

#include "PlayRecord.h"

#include <hastool/play/Summary.h>

#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// A play that a report shows.
struct ReportedPlay {
    std::string title;
    PlayRecord record;
    Summary summary;
    std::string failure; ///< why it ended early; empty when it did not
};

/// The figures of a play with their names, in reading order: {"Stalls", "2, 1.5 s"}.
std::vector<std::pair<std::string, std::string>> playFigures(const Summary& summary);

/// What the charts are drawn from.
nlohmann::ordered_json playData(const ReportedPlay& play);

/// The play's section of the page.
/// @param id  its anchor, unique in the page
std::string playSection(const ReportedPlay& play, const std::string& id);

} // namespace hastool

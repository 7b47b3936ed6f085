#include "Report.h"

#include "Templates.h"
#include <hastool/base/PageTemplate.h>
#include <hastool/base/Quantities.h>
#include <hastool/base/ShownUrl.h>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

std::string idOf(size_t number) {
    return "play-" + std::to_string(number + 1);
}

/// The overview's columns for a play, name and value: the page shows a name before its value where
/// it is too narrow for a table.
ordered_json overviewCells(const Summary& s) {
    const auto cell = [](const char* column, const std::string& text) {
        return ordered_json{{"column", column}, {"text", text}};
    };
    return ordered_json::array(
        {cell("played", secondsText(s.played)), cell("to start", secondsText(s.startupTime)),
         cell("stalls", std::to_string(s.stalls) + ", " + secondsText(s.stallTime)),
         cell("mean bitrate", rateText(s.meanBitrate)),
         cell("switches",
              std::to_string(s.switchesUp) + " up, " + std::to_string(s.switchesDown) + " down"),
         cell("segments", std::to_string(s.segments)), cell("skipped", std::to_string(s.skipped)),
         cell("retries", std::to_string(s.retries))});
}

} // namespace

nlohmann::ordered_json Report::overviewRows() const {
    auto rows = ordered_json::array();
    for (size_t i = 0; i < m_plays.size(); ++i)
        rows.push_back({{"id", idOf(i)},
                        {"title", withoutSecrets(m_plays[i].title)},
                        {"failed", !m_plays[i].failure.empty()},
                        {"cells", overviewCells(m_plays[i].summary)}});
    return rows;
}

std::string Report::html() const {
    std::string sections;
    for (size_t i = 0; i < m_plays.size(); ++i)
        sections += playSection(m_plays[i], idOf(i));
    return renderPage(kPageHtml, {{"title", m_title},
                                  {"style", std::string(kReportCss)},
                                  {"overview", m_plays.size() > 1},
                                  {"columns", overviewCells(Summary())},
                                  {"rows", overviewRows()},
                                  {"plays", sections},
                                  {"script", std::string(kChartsJs) + kReportJs}});
}

} // namespace hastool

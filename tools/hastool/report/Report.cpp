#include "Report.h"

#include <hastool/base/Quantities.h>

#include "Templates.h"
#include <hastool/base/HtmlText.h>
#include <hastool/base/ShownUrl.h>

namespace hastool {
namespace {

constexpr char kOverviewHead[] =
    "<nav aria-label=\"Plays\">\n<div class=\"wide\"><table class=\"overview\">\n<thead><tr>"
    "<th>play</th><th>result</th><th>played</th><th>to start</th><th>stalls</th><th>mean bitrate"
    "</th><th>switches</th><th>segments</th><th>skipped</th><th>retries</th></tr></thead>\n"
    "<tbody>\n";

std::string idOf(size_t number) {
    return "play-" + std::to_string(number + 1);
}

/// Its column's name stands before it where the page is too narrow for a table.
std::string number(const char* column, const std::string& text) {
    return std::string("<td class=\"number\" data-column=\"") + column + "\">" + text + "</td>";
}

std::string overviewRow(const ReportedPlay& play, const std::string& id) {
    const Summary& s = play.summary;
    return "<tr><td><a href=\"#" + id + "\">" + escapeHtml(withoutSecrets(play.title)) +
           "</a></td>" +
           (play.failure.empty() ? "<td>whole</td>" : "<td class=\"failure\">ended early</td>") +
           number("played", secondsText(s.played)) +
           number("to start", secondsText(s.startupTime)) +
           number("stalls", std::to_string(s.stalls) + ", " + secondsText(s.stallTime)) +
           number("mean bitrate", rateText(s.meanBitrate)) +
           number("switches", std::to_string(s.switchesUp) + " up, " +
                                  std::to_string(s.switchesDown) + " down") +
           number("segments", std::to_string(s.segments)) +
           number("skipped", std::to_string(s.skipped)) +
           number("retries", std::to_string(s.retries)) + "</tr>\n";
}

} // namespace

std::string Report::overview() const {
    if (m_plays.size() < 2)
        return "";
    std::string text = kOverviewHead;
    for (size_t i = 0; i < m_plays.size(); ++i)
        text += overviewRow(m_plays[i], idOf(i));
    return text + "</tbody></table></div>\n</nav>\n";
}

std::string Report::html() const {
    std::string sections;
    for (size_t i = 0; i < m_plays.size(); ++i)
        sections += playSection(m_plays[i], idOf(i));
    return fillTemplate(kPageHtml, {{"title", escapeHtml(m_title)},
                                    {"style", kReportCss},
                                    {"overview", overview()},
                                    {"plays", sections},
                                    {"script", kReportJs}});
}

} // namespace hastool

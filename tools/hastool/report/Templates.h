// The files of a report's page, as they are built in.
#pragma once

namespace hastool {

extern const char kPageHtml[];   ///< the page around the plays
extern const char kPlayHtml[];   ///< one play
extern const char kChartsHtml[]; ///< its charts, which the script draws
extern const char kReportCss[];  ///< the page's styles
extern const char kReportJs[];   ///< draws the charts

} // namespace hastool

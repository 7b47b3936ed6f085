// The files of a report's page, as they are built in.
#pragma once

namespace hastool {

extern const char kPageHtml[];   ///< the page around the plays
extern const char kPlayHtml[];   ///< one play
extern const char kChartsHtml[]; ///< its charts, which the script draws
extern const char kReportCss[];  ///< the page's styles
extern const char kChartsJs[];   ///< what the charts of all pages are drawn with
extern const char kReportJs[];   ///< draws the charts of plays
extern const char kCheckHtml[];  ///< the page of a check
extern const char kCheckCss[];   ///< its styles beside the report's
extern const char kCheckJs[];    ///< draws its charts
extern const char kStudyHtml[];  ///< the page of a study
extern const char kStudyCss[];   ///< its styles beside the report's
extern const char kStudyJs[];    ///< draws its charts

} // namespace hastool

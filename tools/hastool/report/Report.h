// A page about plays.
#pragma once

#include "PlaySection.h"

#include <deque>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace hastool {

/// Makes one HTML page of one or several plays, with charts. The page holds all that it needs and
/// loads nothing from anywhere.
class Report {
public:
    /// @param title  of the page
    explicit Report(std::string title)
        : m_title(std::move(title)) {}

    void add(ReportedPlay play) { m_plays.push_back(std::move(play)); }
    /// The page, with an overview in front when there are several plays.
    std::string html() const;

private:
    nlohmann::ordered_json overviewRows() const;

    std::string m_title;
    std::deque<ReportedPlay> m_plays;
};

} // namespace hastool

#include "StudyText.h"

#include "StudyMeans.h"
#include <hastool/base/HtmlText.h>
#include <hastool/base/Quantities.h>

#include <algorithm>

namespace hastool {
namespace {

/// Cells in columns as wide as they need, those behind the first `left` ones to the right.
class Table {
public:
    explicit Table(size_t left)
        : m_left(left) {}

    void add(std::vector<std::string> cells) {
        m_widths.resize(std::max(m_widths.size(), cells.size()));
        for (size_t i = 0; i < cells.size(); ++i)
            m_widths[i] = std::max(m_widths[i], cells[i].size());
        m_rows.push_back(std::move(cells));
    }
    std::string text() const {
        std::string text;
        for (const auto& row : m_rows) {
            for (size_t i = 0; i < row.size(); ++i)
                text += (i > 0 ? "  " : "") + padded(row[i], m_widths[i], i >= m_left);
            text += "\n";
        }
        return text;
    }

private:
    const size_t m_left;
    std::vector<size_t> m_widths;
    std::vector<std::vector<std::string>> m_rows;
};

/// Names are of files: what could control a terminal does not get there.
std::string plain(std::string name) {
    const auto controls = [](char letter) {
        const auto code = static_cast<unsigned char>(letter);
        return code < 0x20 || code == 0x7F;
    };
    std::replace_if(name.begin(), name.end(), controls, '?');
    return name;
}

std::vector<std::string> headings(std::vector<std::string> first) {
    for (const StudyColumn& it : studyColumns())
        first.emplace_back(it.name);
    return first;
}

void addFigures(std::vector<std::string>& cells, const std::vector<double>& figures) {
    for (size_t i = 0; i < figures.size(); ++i)
        cells.push_back(fixedText(figures[i], studyColumns()[i].digits));
}

std::string meansTable(const SetMeans& set) {
    Table table(1);
    table.add(headings({"rule", "traces"}));
    for (const RuleMeans& it : set.rules) {
        std::vector<std::string> cells = {plain(it.rule), std::to_string(it.traces)};
        addFigures(cells, it.figures);
        table.add(std::move(cells));
    }
    return table.text();
}

std::string runsTable(const SetMeans& set) {
    Table table(2);
    table.add(headings({"trace", "rule"}));
    for (const StudyRun* const run : set.runs) {
        std::vector<double> figures;
        for (const StudyColumn& it : studyColumns())
            figures.push_back(it.value(*run));
        std::vector<std::string> cells = {plain(run->run.trace), plain(run->run.rule)};
        addFigures(cells, figures);
        table.add(std::move(cells));
    }
    return table.text();
}

} // namespace

std::string studyText(const std::vector<StudyRun>& runs, bool perTrace) {
    const std::vector<SetMeans> sets = meansOf(runs);
    std::string text;
    for (const SetMeans& it : sets) {
        text += (text.empty() ? "" : "\n") + plain(it.set.empty() ? "traces" : it.set) + ", " +
                plain(it.movie) + ":\n" + (perTrace ? runsTable(it) + "\n" : "") + meansTable(it);
    }
    if (sets.size() > 1)
        text +=
            "\nmean of the " + std::to_string(sets.size()) + " sets:\n" + meansTable(overall(sets));
    return text;
}

} // namespace hastool

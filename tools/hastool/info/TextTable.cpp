#include "TextTable.h"

#include "ShownText.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace hastool {
namespace {

constexpr size_t kWidth = 80;
constexpr size_t kIndent = 2;
constexpr size_t kBetween = 2;
constexpr size_t kLeastText = 8; // of a text that is cut

/// A list with commas in lines of a width; what has no comma stays whole.
std::vector<std::string> brokenUp(const std::string& list, size_t width) {
    std::vector<std::string> lines(1);
    for (size_t at = 0; at < list.size();) {
        const size_t comma = list.find(',', at);
        const size_t end = comma == std::string::npos ? list.size() : comma + 1;
        std::string item = list.substr(at, end - at);
        if (!lines.back().empty() && shownWidth(lines.back() + item) > width)
            lines.emplace_back();
        if (lines.back().empty())
            item.erase(0, item.find_first_not_of(' '));
        lines.back() += item;
        at = end;
    }
    return lines;
}

/// What a line takes with all its columns.
size_t widthOf(const std::vector<size_t>& widths) {
    const auto used = std::count_if(widths.begin(), widths.end(), [](size_t it) { return it > 0; });
    return std::accumulate(widths.begin(), widths.end(), kIndent) +
           kBetween * static_cast<size_t>(std::max<std::ptrdiff_t>(used - 1, 0));
}

} // namespace

TextTable::TextTable(std::vector<Column> columns)
    : m_columns(std::move(columns)) {}

void TextTable::add(std::vector<std::string> cells) {
    m_rows.push_back(std::move(cells));
}

/// 0 for a column that is left out.
std::vector<size_t> TextTable::widths() const {
    std::vector<size_t> widths(m_columns.size());
    for (const auto& row : m_rows) {
        for (size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], shownWidth(row[i]));
    }
    for (size_t i = 0; i < widths.size(); ++i) {
        if (widths[i] > 0)
            widths[i] = std::max(widths[i], m_columns[i].head.size());
    }
    size_t item = std::min(widths.back(), m_columns.back().head.size());
    for (const auto& row : m_rows) {
        for (const std::string& line : brokenUp(row.back(), 1))
            item = std::max(item, shownWidth(line));
    }
    const auto tooMuch = [&] { return widthOf(widths) - std::min(widthOf(widths), kWidth); };
    widths.back() = std::max(item, widths.back() - std::min(widths.back(), tooMuch()));
    for (size_t excess = tooMuch(); excess > 0; excess = tooMuch()) {
        size_t widest = widths.size();
        for (size_t i = 0; i + 1 < widths.size(); ++i) {
            if (!m_columns[i].isNumber && (widest == widths.size() || widths[i] > widths[widest]))
                widest = i;
        }
        if (widest == widths.size() || widths[widest] <= kLeastText)
            break;
        widths[widest] = std::max(kLeastText, widths[widest] - std::min(widths[widest], excess));
    }
    return widths;
}

std::string TextTable::line(const std::vector<std::string>& cells,
                            const std::vector<size_t>& widths) const {
    std::string line(kIndent, ' ');
    for (size_t i = 0; i < cells.size(); ++i) {
        if (widths[i] > 0)
            line += fitted(cells[i], widths[i], m_columns[i].isNumber) + std::string(kBetween, ' ');
    }
    return line.erase(line.find_last_not_of(' ') + 1) + "\n";
}

std::string TextTable::text() const {
    const std::vector<size_t> all = widths();
    std::vector<std::string> heads;
    for (const Column& column : m_columns)
        heads.push_back(column.head);
    std::string text = line(heads, all);
    for (std::vector<std::string> cells : m_rows) {
        for (const std::string& part : brokenUp(cells.back(), std::max<size_t>(all.back(), 1))) {
            cells.back() = part;
            text += line(cells, all);
            cells.assign(cells.size(), "");
        }
    }
    return text;
}

} // namespace hastool

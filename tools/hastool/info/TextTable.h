// Tables for people.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace hastool {

/// A table that fits into 80 columns where it can: columns without a text are left out, the last
/// one is broken at its commas, and the widest text is cut.
class TextTable {
public:
    struct Column {
        std::string head;
        bool isNumber = false; ///< stands at its right
    };

    explicit TextTable(std::vector<Column> columns);

    /// @param cells  one per column, as shownText() makes them
    void add(std::vector<std::string> cells);
    /// All lines, each indented.
    std::string text() const;

private:
    std::vector<size_t> widths() const;
    std::string line(const std::vector<std::string>& cells,
                     const std::vector<size_t>& widths) const;

    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace hastool

#include "host/terminal/TableLayout.h"

#include "host/terminal/TextLayout.h"

#include <algorithm>
#include <numeric>

namespace kvn::host {

namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 2; // a wide character

using Row = std::vector<std::string>;
using Widths = std::vector<std::size_t>;

void measure(const Row& row, std::size_t widest, Widths& widths) {
    widths.resize(std::max(widths.size(), row.size()), kNarrowest);
    for (std::size_t column = 0; column < row.size(); ++column) {
        for (const std::string& line : wrapped(row[column], widest)) {
            widths[column] = std::max(widths[column], displayWidth(line));
        }
    }
}

/// Takes from the widest column until all fit.
void fit(Widths& widths, std::size_t width) {
    std::size_t total = std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
    while (total > width) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kNarrowest) {
            return;
        }
        --*widest;
        --total;
    }
}

void addRow(const Row& row, const Widths& widths, std::vector<std::string>& lines) {
    std::vector<std::vector<std::string>> cells;
    std::size_t height = 1;
    for (std::size_t column = 0; column < row.size(); ++column) {
        cells.push_back(wrapped(row[column], widths[column]));
        height = std::max(height, cells.back().size());
    }
    for (std::size_t index = 0; index < height; ++index) {
        std::string line;
        std::size_t begin = 0;
        for (std::size_t column = 0; column < row.size(); ++column) {
            if (index < cells[column].size() && !cells[column][index].empty()) {
                line = padded(std::move(line), begin) + cells[column][index];
            }
            begin += widths[column] + kGap;
        }
        lines.push_back(std::move(line));
    }
}

} // namespace

std::vector<std::string> tableLines(const DialogTable& table, std::size_t width) {
    Widths widths;
    measure(table.titles, width, widths);
    for (const Row& row : table.rows) {
        measure(row, width, widths);
    }
    if (widths.empty()) {
        return {};
    }
    fit(widths, width);
    Row rule;
    for (const std::size_t column : widths) {
        rule.emplace_back(column, '-');
    }
    std::vector<std::string> lines;
    addRow(table.titles, widths, lines);
    addRow(rule, widths, lines);
    for (const Row& row : table.rows) {
        addRow(row, widths, lines);
    }
    return lines;
}

} // namespace kvn::host

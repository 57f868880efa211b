// SPDX-License-Identifier: MIT

#include "host/terminal/DialogLayout.h"

#include "host/terminal/DialogControls.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace kvn::host {

namespace {

/// Returns true if the line's text labels a value, which is printed behind it in a column of its own.
bool isLabelled(const DialogLine& line) {
    return std::holds_alternative<DialogValue>(line.control) ||
           std::holds_alternative<DialogFolder>(line.control) ||
           std::holds_alternative<DialogDate>(line.control);
}

std::string labelText(const std::string& label) {
    std::string text = harmless(label);
    return text.empty() || endsInColon(text) ? text : text + ":";
}

std::vector<std::string_view> rowsOf(std::string_view text) {
    std::vector<std::string_view> rows;
    for (auto end = text.find('\n'); end != text.npos; end = text.find('\n')) {
        rows.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    rows.push_back(text);
    return rows;
}

/// Builds the text of the dialog line by line.
class DialogDrawing {
public:
    DialogDrawing(const DialogLines& lines, const Style& style) : style_(style) {
        const auto controls = std::count_if(lines.begin(), lines.end(), hasNumber);
        numberWidth_ = controls > 0 ? std::to_string(controls).size() : 0;
        for (const DialogLine& line : lines) {
            const std::size_t width = isLabelled(line) ? displayWidth(labelText(line.text)) + 1 : 0;
            if (width <= style_.width / 2) { // a longer label is printed above its value
                labelWidth_ = std::max(labelWidth_, width);
            }
        }
    }

    void draw(const DialogLine& line) {
        if (!isLabelled(line) &&
            (!line.text.empty() || std::holds_alternative<std::monostate>(line.control))) {
            block("", line.text, true);
        }
        if (hasNumber(line)) {
            number_ = std::to_string(++controls_);
        }
        std::visit([&](const auto& control) { drawControl(line, control); }, line.control);
    }

    std::string text;

private:
    void drawControl(const DialogLine&, std::monostate) {}
    void drawControl(const DialogLine& line, const DialogValue& value) {
        labelled(line.text, value.text, true);
    }
    void drawControl(const DialogLine&, const DialogTable& table) {
        for (const std::string& line : tableLines(table, style_.width - indentation())) {
            addLine(std::string(indentation(), ' ') + line, true);
        }
    }
    void drawControl(const DialogLine&, const DialogCheckBox& box) {
        block(box.checked ? "[x] " : "[ ] ", box.label, box.enabled);
    }
    void drawControl(const DialogLine& line, const DialogFolder& folder) {
        labelled(line.text, folder.path, folder.enabled);
    }
    void drawControl(const DialogLine& line, const DialogDate& date) {
        labelled(line.text, localMinuteText(date.date), date.enabled);
    }
    void drawControl(const DialogLine&, const DialogButton& button) {
        block("", "<" + button.title + ">", true);
    }

    void labelled(const std::string& label, const std::string& value, bool enabled) {
        const std::string lead = labelText(label);
        if (displayWidth(lead) < labelWidth_) {
            block(padded(lead, labelWidth_), value, enabled);
        } else {
            block("", lead, enabled);
            block(std::string(labelWidth_, ' '), value, enabled);
        }
    }

    /// Adds the control's number, the lead, and behind it the content in as many lines as it needs.
    void block(const std::string& lead, const std::string& content, bool enabled) {
        const std::size_t left = indentation() + displayWidth(lead);
        // Each digit takes one column.
        const std::string number = std::string(1 + numberWidth_ - number_.size(), ' ') + number_;
        std::string before = padded(number, indentation()) + lead;
        for (const std::string& line :
             wrapped(content + (enabled ? "" : " (" + style_.disabled + ")"), style_.width - left)) {
            addLine(std::exchange(before, std::string(left, ' ')) + line, enabled);
        }
        number_.clear();
    }

    void addLine(std::string line, bool enabled) {
        line.resize(line.find_last_not_of(' ') + 1); // removes blanks at the end
        text += "\n" + (enabled || line.empty() ? line : inColour(line, Colour::Grey, style_));
    }

    std::size_t indentation() const { return numberWidth_ == 0 ? 2 : numberWidth_ + 3; }

    const Style style_;
    std::size_t numberWidth_ = 0;
    std::size_t labelWidth_ = 2;
    std::size_t controls_ = 0;
    std::string number_; // the number of the present control, until its first line is added
};

// MARK: Tables

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowestColumn = 2; // a wide character

using Row = std::vector<std::string>;
using Widths = std::vector<std::size_t>;

void measure(const Row& row, std::size_t widest, Widths& widths) {
    widths.resize(std::max(widths.size(), row.size()), kNarrowestColumn);
    for (std::size_t column = 0; column < row.size(); ++column) {
        for (const std::string& line : wrapped(row[column], widest)) {
            widths[column] = std::max(widths[column], displayWidth(line));
        }
    }
}

/// Narrows the widest column until all columns fit.
void fit(Widths& widths, std::size_t width) {
    std::size_t total = std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
    while (total > width) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kNarrowestColumn) {
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

std::string dialogText(const std::string& title, const DialogLines& lines, const Style& style) {
    DialogDrawing drawing(lines, style);
    for (const DialogLine& line : lines) {
        drawing.draw(line);
    }
    return "== " + harmless(title) + " ==" + drawing.text;
}

std::string changedRows(const std::string& before, const std::string& after) {
    const auto former = rowsOf(before);
    const auto present = rowsOf(after);
    if (former.size() != present.size()) {
        return after;
    }
    std::string rows(present.front());
    for (std::size_t row = 1; row < present.size(); ++row) {
        rows += present[row] == former[row] ? "" : "\n" + std::string(present[row]);
    }
    return rows;
}

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

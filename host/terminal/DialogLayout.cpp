#include "host/terminal/DialogLayout.h"

#include "host/terminal/DialogControls.h"
#include "host/terminal/LocalMinute.h"
#include "host/terminal/TableLayout.h"
#include "host/terminal/TextLayout.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace kvn::host {

namespace {

template <class Row>
constexpr bool kHasLabelColumn =
    std::is_same_v<Row, DialogField> || std::is_same_v<Row, DialogFolder> || std::is_same_v<Row, DialogDate>;

std::string labelText(const std::string& label) {
    std::string text = harmless(label);
    return text.empty() || text.ends_with(':') ? text : text + ":";
}

/// Draws row after row below each other.
class DialogDrawing {
public:
    DialogDrawing(const DialogRows& rows, const Style& style) : style_(style) {
        const auto controls = std::count_if(rows.begin(), rows.end(), isControl);
        numberWidth_ = controls > 0 ? std::to_string(controls).size() : 0;
        for (const DialogRow& row : rows) {
            std::visit([this](const auto& content) { measureLabel(content); }, row);
        }
    }

    void draw(const DialogRow& row) {
        number_ = isControl(row) ? std::to_string(++controls_) : "";
        std::visit([this](const auto& content) { drawRow(content); }, row);
    }

    std::string text;

private:
    template <class Row>
    void measureLabel(const Row& row) {
        if constexpr (kHasLabelColumn<Row>) {
            const std::size_t width = displayWidth(labelText(row.label)) + 1;
            if (width <= style_.width / 2) { // a longer one stands above its value
                labelWidth_ = std::max(labelWidth_, width);
            }
        }
    }

    void drawRow(const DialogText& row) { block("", row.text, true); }
    void drawRow(const DialogField& row) { labelled(row.label, row.value, true); }
    void drawRow(const DialogTable& row) {
        for (const std::string& line : tableLines(row, style_.width - indentation())) {
            addLine(std::string(indentation(), ' ') + line, true);
        }
    }
    void drawRow(const DialogCheckBox& row) { block(row.checked ? "[x] " : "[ ] ", row.label, row.enabled); }
    void drawRow(const DialogFolder& row) { labelled(row.label, row.path, row.enabled); }
    void drawRow(const DialogDate& row) { labelled(row.label, localMinuteText(row.date), row.enabled); }
    void drawRow(const DialogButton& row) { block("", "<" + row.title + ">", true); }

    void labelled(const std::string& label, const std::string& value, bool enabled) {
        const std::string lead = labelText(label);
        if (displayWidth(lead) < labelWidth_) {
            block(padded(lead, labelWidth_), value, enabled);
        } else {
            block("", lead, enabled);
            block(std::string(labelWidth_, ' '), value, enabled);
        }
    }

    /// The row's number, the lead, and behind it the content in as many lines as it needs.
    void block(const std::string& lead, const std::string& content, bool enabled) {
        const std::size_t left = indentation() + displayWidth(lead);
        // Digits take a column each.
        const std::string number = std::string(1 + numberWidth_ - number_.size(), ' ') + number_;
        std::string before = padded(number, indentation()) + lead;
        for (const std::string& line :
             wrapped(content + (enabled ? "" : " (disabled)"), style_.width - left)) {
            addLine(std::exchange(before, std::string(left, ' ')) + line, enabled);
        }
        number_.clear();
    }

    void addLine(std::string line, bool enabled) {
        line.resize(line.find_last_not_of(' ') + 1); // nothing of a blank line
        text += "\n" + (enabled || line.empty() ? line : inColour(line, Colour::Grey, style_));
    }

    std::size_t indentation() const { return numberWidth_ == 0 ? 2 : numberWidth_ + 3; }

    const Style style_;
    std::size_t numberWidth_ = 0;
    std::size_t labelWidth_ = 2;
    std::size_t controls_ = 0;
    std::string number_; // of the row that is drawn, until its first line has it
};

} // namespace

std::string dialogText(const std::string& title, const DialogRows& rows, const Style& style) {
    DialogDrawing drawing(rows, style);
    for (const DialogRow& row : rows) {
        drawing.draw(row);
    }
    return "== " + harmless(title) + " ==" + drawing.text;
}

} // namespace kvn::host

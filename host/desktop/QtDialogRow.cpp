// SPDX-License-Identifier: MIT

#include "host/desktop/QtDialogRow.h"

#include "host/DialogRendering.h"
#include "host/desktop/QtText.h"
#include "host/desktop/QtValueText.h"

#include <QCheckBox>
#include <QPointer>
#include <QPushButton>
#include <utility>

namespace kvn::host {
namespace {

constexpr int kSpaceAboveHeading = 6;
constexpr int kGap = 2; // of a line without text, besides the space between lines

class TextRow final : public QtDialogRow {
public:
    TextRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::TextOnly) {
        show();
    }

private:
    void showControl() override {
        QFont font; // the label takes the rest of its font from the application
        font.setBold(isHeading(line_));
        text().setFont(font);
        text().setContentsMargins(0, font.bold() ? kSpaceAboveHeading : 0, 0, 0);
        text().setMaximumHeight(line_.text.empty() ? kGap : QWIDGETSIZE_MAX);
    }
};

class ValueRow final : public QtDialogRow {
public:
    ValueRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Beside), value_(new QtValueText(maker.parent)) {
        alignText(Qt::AlignTop); // the value may have several lines
        setControl(value_, {value_});
        show();
    }

private:
    void showControl() override {
        value_->showText(qtText(std::get<DialogValue>(line_.control).text));
        value_->setAccessibleName(qtText(spokenName(line_)));
    }

    QtValueText* const value_;
};

class CheckBoxRow final : public QtDialogRow {
public:
    CheckBoxRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Beside), box_(new QCheckBox(&maker.parent)) {
        connect(box_, &QCheckBox::clicked, [this] { finishLater(); });
        setControl(box_, {box_});
        show();
    }

    void finish() override {
        setFinished();
        auto& box = std::get<DialogCheckBox>(line_.control);
        if (box.checked != box_->isChecked()) {
            box.checked = box_->isChecked();
            callCopy(box.onChange, box.checked);
        }
    }

private:
    void showControl() override {
        const auto& box = std::get<DialogCheckBox>(line_.control);
        box_->setText(qtTitle(box.label));
        if (isFinished()) {
            box_->setChecked(box.checked);
        }
        box_->setEnabled(box.enabled);
        box_->setAccessibleName(qtText(spokenName(line_)));
    }

    QCheckBox* const box_;
};

class ButtonRow final : public QtDialogRow {
public:
    ButtonRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Beside), button_(new QPushButton(&maker.parent)) {
        button_->setAutoDefault(false); // the Return key presses only the button that has the focus
        connect(button_, &QPushButton::clicked,
                [this] { later([this] { callCopy(std::get<DialogButton>(line_.control).onPress); }); });
        setControl(button_, {button_});
        show();
    }

private:
    void showControl() override {
        button_->setText(qtTitle(std::get<DialogButton>(line_.control).title));
        button_->setAccessibleName(qtText(spokenName(line_)));
    }

    QPushButton* const button_;
};

template <class Row>
std::unique_ptr<QtDialogRow> makeRow(const DialogLine& line, const QtRowMaker& maker) {
    return std::make_unique<Row>(line, maker);
}

} // namespace

QtDialogRow::QtDialogRow(const DialogLine& line, const QtRowMaker& maker, Arrangement arrangement)
    : line_(line), arrangement_(arrangement), mainLoop_(maker.mainLoop), text_(new QLabel(&maker.parent)) {
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    alignText(Qt::AlignVCenter);
}

// A field that has the focus loses it while it is deleted. That no longer counts as a change of its value.
QtDialogRow::~QtDialogRow() {
    signals_.reset();
    delete control_;
    delete text_;
}

void QtDialogRow::update(const DialogLine& line) {
    line_ = line;
    show();
}

void QtDialogRow::setControl(QWidget* control, std::vector<QWidget*> tabStops) {
    control_ = control;
    tabStops_ = std::move(tabStops);
}

/// By default a label aligns a text as its letters are written: the name of a program would stand on the
/// wrong side of a window for a language from right to left.
void QtDialogRow::alignText(Qt::Alignment vertical) { text_->setAlignment(vertical | leadingSide(*text_)); }

void QtDialogRow::show() {
    text_->setText(qtText(line_.text));
    text_->setVisible(!line_.text.empty() || !control_);
    showControl();
    if (control_) {
        control_->show();
    }
}

void QtDialogRow::later(MainLoop::Task task) {
    mainLoop_.post([row = QPointer<QObject>(signals_.get()), task = std::move(task)] {
        if (row) {
            task();
        }
    });
}

bool isHeading(const DialogLine& line) {
    const QString text = qtText(line.text);
    return std::holds_alternative<std::monostate>(line.control) &&
           (text.endsWith(QLatin1Char(':')) || text.endsWith(QChar(0xFF1A))); // the full-width colon
}

std::unique_ptr<QtDialogRow> makeDialogRow(const DialogLine& line, const QtRowMaker& maker) {
    using Make = std::unique_ptr<QtDialogRow> (*)(const DialogLine&, const QtRowMaker&);
    struct Kind {
        Make operator()(const std::monostate&) const { return makeRow<TextRow>; }
        Make operator()(const DialogValue&) const { return makeRow<ValueRow>; }
        Make operator()(const DialogTable&) const { return makeTableRow; }
        Make operator()(const DialogCheckBox&) const { return makeRow<CheckBoxRow>; }
        Make operator()(const DialogFolder&) const { return makeFolderRow; }
        Make operator()(const DialogDate&) const { return makeDateRow; }
        Make operator()(const DialogButton&) const { return makeRow<ButtonRow>; }
    };
    return std::visit(Kind(), line.control)(line, maker);
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "host/DialogRendering.h"
#include "host/desktop/QtDateField.h"
#include "host/desktop/QtDialogRow.h"
#include "host/desktop/QtFolderChooser.h"
#include "host/desktop/QtText.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalBlocker>
#include <utility>

// The rows whose value the user types: they keep a value that is not finished.

namespace kvn::host {
namespace {

class FolderRow final : public QtDialogRow {
public:
    FolderRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Beside), bundle_(maker.bundle),
          both_(new QWidget(&maker.parent)), field_(new QLineEdit(both_)), button_(new QPushButton(both_)) {
        field_->setLayoutDirection(Qt::LeftToRight); // paths are written so in every language
        button_->setText(QString(QChar(0x2026)));
        button_->setAutoDefault(false);
        auto* const layout = new QHBoxLayout(both_);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(field_);
        layout->addWidget(button_);
        connect(field_, &QLineEdit::editingFinished,
                [this] { later([this, path = field_->text()] { take(path); }); });
        connect(button_, &QPushButton::clicked, [this] { choose(); });
        setControl(both_, {field_, button_});
        show();
    }
    ~FolderRow() override { delete chooser_; }

    void finish() override { take(field_->text()); }

private:
    void showControl() override {
        const auto& folder = std::get<DialogFolder>(line_.control);
        const QString text = qtText(
            edited_.textFor(folder.path, field_->text().toStdString(), field_->hasFocus()));
        if (field_->text() != text) { // an equal text would end its selection
            field_->setText(text);
        }
        for (QWidget* const part : {static_cast<QWidget*>(field_), static_cast<QWidget*>(button_)}) {
            part->setEnabled(folder.enabled);
            part->setAccessibleName(qtText(spokenName(line_)));
        }
    }
    void take(const QString& text) {
        const std::string path = text.toStdString();
        if (edited_.take(path)) {
            auto& folder = std::get<DialogFolder>(line_.control);
            folder.path = path;
            callCopy(folder.onChange, path);
        }
    }
    void choose() {
        delete chooser_;
        chooser_ = new QtFolderChooser(both_, qtText(line_.text), bundle_, field_->text());
        connect(chooser_.data(), &QDialog::accepted, [this] {
            field_->setText(chooser_->folder()); // also in place of a path that is half typed
            later([this, path = field_->text()] { take(path); });
        });
        chooser_->open();
    }

    const Bundle& bundle_;
    QWidget* const both_;
    QLineEdit* const field_;
    QPushButton* const button_;
    QPointer<QtFolderChooser> chooser_;
    EditedText edited_;
};

class DateRow final : public QtDialogRow {
public:
    DateRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Beside), field_(new QtDateField(maker.parent)) {
        connect(field_, &QDateTimeEdit::dateTimeChanged, [this] {
            later([this, date = field_->dateTime(), text = field_->text()] { take(date, text); });
        });
        setControl(field_, {field_});
        show();
    }

    void finish() override {
        {
            const QSignalBlocker blocked(field_);
            field_->interpretText();
        }
        take(field_->dateTime(), field_->text());
    }

private:
    void showControl() override {
        const auto& date = std::get<DialogDate>(line_.control);
        const QSignalBlocker blocked(field_);
        const std::string present = field_->text().toStdString();
        const QDateTime shown = field_->shownFor(date.date);
        if (edited_.textFor(field_->textOf(shown), present, field_->hasFocus()) != present) {
            field_->setDateTime(shown);
        }
        field_->setEnabled(date.enabled);
        field_->setAccessibleName(qtText(spokenName(line_)));
    }
    /// Compares the texts: a date with seconds, or one that the field cannot show, does not change when it is
    /// only shown.
    void take(const QDateTime& chosen, const QString& text) {
        if (edited_.take(text.toStdString())) {
            auto& date = std::get<DialogDate>(line_.control);
            date.date = QtDateField::timePoint(chosen);
            callCopy(date.onChange, date.date);
        }
    }

    QtDateField* const field_;
    EditedText edited_;
};

} // namespace

std::unique_ptr<QtDialogRow> makeFolderRow(const DialogLine& line, const QtRowMaker& maker) {
    return std::make_unique<FolderRow>(line, maker);
}

std::unique_ptr<QtDialogRow> makeDateRow(const DialogLine& line, const QtRowMaker& maker) {
    return std::make_unique<DateRow>(line, maker);
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "host/DialogRendering.h"
#include "host/desktop/QtDateField.h"
#include "host/desktop/QtDialogRow.h"
#include "host/desktop/QtFolderChooser.h"
#include "host/desktop/QtText.h"
#include "host/posix/Signals.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPointer>
#include <QSignalBlocker>
#include <QToolButton>
#include <utility>

// The rows whose value the user types: they keep a value that is not finished.

namespace kvn::host {
namespace {

constexpr int kLeastCharacters = 24; // of a path, to be seen

class FolderRow final : public QtDialogRow {
public:
    FolderRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Beside), bundle_(maker.bundle),
          both_(new QWidget(&maker.parent)), field_(new QLineEdit(both_)), button_(new QToolButton(both_)) {
        field_->setLayoutDirection(Qt::LeftToRight); // paths are written so in every language
        button_->setText(QString(QChar(0x2026)));
        button_->setFocusPolicy(Qt::StrongFocus);
        field_->setMinimumWidth(field_->fontMetrics().averageCharWidth() * kLeastCharacters);
        auto* const layout = new QHBoxLayout(both_);
        layout->setContentsMargins(0, 0, 0, 0);
        both_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        layout->addWidget(field_);
        layout->addWidget(button_);
        connect(field_, &QLineEdit::editingFinished, [this] { finishLater(); });
        connect(button_, &QToolButton::clicked, [this] { choose(); });
        setControl(both_, {field_, button_});
        show();
    }
    ~FolderRow() override { delete chooser_; }

    void finish() override {
        setFinished();
        const std::string path = field_->text().toStdString();
        if (edited_.take(path)) {
            auto& folder = std::get<DialogFolder>(line_.control);
            folder.path = path;
            callCopy(folder.onChange, path);
        }
    }

private:
    void showControl() override {
        const auto& folder = std::get<DialogFolder>(line_.control);
        const QString text = qtText(
            edited_.textFor(folder.path, field_->text().toStdString(), !isFinished() || field_->hasFocus()));
        if (field_->text() != text) { // an equal text would end its selection
            field_->setText(text);
            field_->setCursorPosition(0); // the beginning of a long path tells more than its end
        }
        for (QWidget* const part : {static_cast<QWidget*>(field_), static_cast<QWidget*>(button_)}) {
            part->setEnabled(folder.enabled);
            part->setAccessibleName(qtText(spokenName(line_)));
        }
    }
    void choose() {
        delete chooser_;
        const SignalsBlocked blocked; // in the threads that read the folders
        chooser_ = new QtFolderChooser(both_, qtText(line_.text), bundle_, field_->text());
        connect(chooser_.data(), &QDialog::accepted, [this] {
            field_->setText(chooser_->folder()); // also in place of a path that is half typed
            finishLater();
        });
        chooser_->setAttribute(Qt::WA_DeleteOnClose); // it watches the folders that it shows
        chooser_->open();
    }

    const Bundle& bundle_;
    QWidget* const both_;
    QLineEdit* const field_;
    QToolButton* const button_;
    QPointer<QtFolderChooser> chooser_;
    EditedText edited_;
};

class DateRow final : public QtDialogRow {
public:
    DateRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Beside), field_(new QtDateField(maker.parent)) {
        connect(field_, &QDateTimeEdit::dateTimeChanged, [this] { finishLater(); });
        setControl(field_, {field_});
        show();
    }

    /// Compares the texts: a date with seconds, or one that the field cannot show, does not change when it is
    /// only shown.
    void finish() override {
        setFinished();
        {
            const QSignalBlocker blocked(field_);
            field_->interpretText();
        }
        if (edited_.take(field_->text().toStdString())) {
            auto& date = std::get<DialogDate>(line_.control);
            date.date = QtDateField::timePoint(field_->dateTime());
            callCopy(date.onChange, date.date);
        }
    }

private:
    void showControl() override {
        const auto& date = std::get<DialogDate>(line_.control);
        const QSignalBlocker blocked(field_);
        const std::string present = field_->text().toStdString();
        const QDateTime shown = field_->shownFor(date.date);
        if (edited_.textFor(field_->textOf(shown), present, !isFinished() || field_->hasFocus()) != present) {
            field_->setDateTime(shown);
        }
        field_->setEnabled(date.enabled);
        field_->setAccessibleName(qtText(spokenName(line_)));
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

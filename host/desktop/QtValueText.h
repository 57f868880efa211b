// SPDX-License-Identifier: MIT

#pragma once

#include <QTextEdit>

namespace kvn::host {

/// A text to read, which the user can select and copy, by keyboard, too. It is as high as its lines, and
/// breaks a word that is longer than a line: names of servers and paths have no spaces.
class QtValueText final : public QTextEdit {
public:
    explicit QtValueText(QWidget& parent);

    /// An equal text is not set again: that would end its selection.
    void showText(const QString& text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    int heightForWidth(int width) const override;

private:
    void changeEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void takeColoursOfLabels();
    void alignWithLayout();
    int lineHeight() const;
};

} // namespace kvn::host

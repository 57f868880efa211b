// SPDX-License-Identifier: MIT

#include "host/desktop/QtValueText.h"

#include "host/desktop/QtText.h"

#include <QEvent>
#include <QMouseEvent>
#include <QTextLayout>
#include <cmath>

namespace kvn::host {
namespace {

constexpr auto kWrap = QTextOption::WrapAtWordBoundaryOrAnywhere;
constexpr int kLeastCharacters = 12; // in a line

} // namespace

QtValueText::QtValueText(QWidget& parent) : QTextEdit(&parent) {
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setUndoRedoEnabled(false);
    setFrameStyle(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrapMode(kWrap);
    viewport()->setAutoFillBackground(false);
    document()->setDocumentMargin(0);
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    takeColoursOfLabels();
    alignWithLayout();
}

void QtValueText::showText(const QString& text) {
    if (toPlainText() != text) {
        setPlainText(text);
        updateGeometry();
    }
}

QSize QtValueText::sizeHint() const {
    const int width = fontMetrics().size(0, toPlainText()).width() + 1;
    return QSize(width, lineHeight()).expandedTo(minimumSizeHint());
}

QSize QtValueText::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * kLeastCharacters, lineHeight()};
}

int QtValueText::heightForWidth(int width) const {
    qreal height = 0;
    for (const QString& paragraph : toPlainText().split(QLatin1Char('\n'))) {
        QTextLayout layout(paragraph, font());
        QTextOption option;
        option.setWrapMode(kWrap);
        layout.setTextOption(option);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(width);
            height += std::ceil(line.height());
        }
        layout.endLayout();
    }
    return static_cast<int>(height);
}

int QtValueText::lineHeight() const { return fontMetrics().height(); }

void QtValueText::changeEvent(QEvent* event) {
    QTextEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        takeColoursOfLabels();
    } else if (event->type() == QEvent::LayoutDirectionChange) {
        alignWithLayout();
    }
}

/// A press in the selection ends it. Otherwise the toolkit would begin to drag the text in an event loop of
/// its own, in which a task could destroy this widget.
void QtValueText::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !(event->modifiers() & Qt::ShiftModifier)) {
        QTextCursor cursor = textCursor();
        cursor.clearSelection();
        setTextCursor(cursor);
    }
    QTextEdit::mousePressEvent(event);
}

/// The text stands on the window's background, not on that of a field.
void QtValueText::takeColoursOfLabels() {
    QPalette colours = palette();
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        colours.setBrush(group, QPalette::Text, colours.brush(group, QPalette::WindowText));
    }
    if (colours != palette()) {
        setPalette(colours);
    }
}

/// The text begins at its label, in whichever direction it is written itself.
void QtValueText::alignWithLayout() {
    QTextOption option = document()->defaultTextOption();
    option.setAlignment(leadingSide(*this));
    document()->setDefaultTextOption(option);
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "host/desktop/QtDialogPanel.h"

#include "host/DialogRendering.h"
#include "host/desktop/QtText.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QGridLayout>
#include <QIcon>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QVBoxLayout>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace kvn::host {
namespace {

constexpr int kVerticalMargin = 16;
constexpr int kHorizontalMargin = 20;
constexpr int kSpace = 8;

// The toolkit's y grows downwards, that of a place upwards.
DialogRect upwards(const QRect& rect) {
    return {double(rect.x()), -double(rect.y() + rect.height()), double(rect.width()), double(rect.height())};
}

QPoint topLeft(const DialogRect& rect) { return QPointF(rect.x, -rect.top()).toPoint(); }

} // namespace

QtDialogPanel::QtDialogPanel(std::function<void()> closeRequested)
    : QDialog(nullptr,
              Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint),
      closeRequested_(std::move(closeRequested)), scroller_(new QScrollArea(this)), content_(new QWidget) {
    setWindowIcon(QIcon::fromTheme(QLatin1String("com.korvane.remote.KvnGUIAgent"))); // where it is installed
    scroller_->setFrameStyle(QFrame::NoFrame);
    scroller_->setFocusPolicy(Qt::NoFocus);
    scroller_->setWidgetResizable(true);
    scroller_->setWidget(content_);
    content_->setAutoFillBackground(false); // so that the background is the window's
    scroller_->viewport()->setAutoFillBackground(false);
    auto* const whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(scroller_);
    const auto* const closes = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_W), this);
    connect(closes, &QShortcut::activated, this, [this] { closeRequested_(); });
}

void QtDialogPanel::placeRows(const Rows& rows) {
    delete layout_;
    layout_ = new QGridLayout(content_);
    layout_->setContentsMargins(kHorizontalMargin, kVerticalMargin, kHorizontalMargin, kVerticalMargin);
    layout_->setHorizontalSpacing(kSpace);
    layout_->setVerticalSpacing(kSpace);
    layout_->setColumnStretch(1, 1);
    int place = 0;
    for (const auto& row : rows) {
        const bool hasText = !row->line().text.empty();
        QWidget* const control = row->control();
        if (row->arrangement() == QtDialogRow::Arrangement::Beside) {
            const bool stretches = control->sizePolicy().expandingDirections() & Qt::Horizontal;
            const Qt::Alignment alignment = stretches ? Qt::Alignment() : leadingSide(*this);
            if (hasText) {
                layout_->addWidget(&row->text(), place, 0);
                layout_->addWidget(control, place++, 1, alignment);
            } else {
                layout_->addWidget(control, place++, 0, 1, 2, alignment);
            }
            continue;
        }
        layout_->addWidget(&row->text(), place++, 0, 1, 2);
        if (control) {
            layout_->addWidget(control, place++, 0, 1, 2);
        }
    }
    layout_->setRowStretch(place, 1);
    QWidget* before = nullptr;
    for (const auto& row : rows) {
        for (QWidget* const stop : row->tabStops()) {
            if (before) {
                setTabOrder(before, stop);
            }
            before = stop;
        }
    }
    alignTexts(widthForRows());
}

/// Makes the texts beside controls one column. It is as wide as the longest of them, or else leaves the
/// controls the room that they need: then the texts are wrapped.
void QtDialogPanel::alignTexts(int width) {
    if (!layout_) {
        return;
    }
    int most = 0;
    int least = 0;
    int controls = 0;
    std::vector<QWidget*> texts;
    for (int row = 0; row < layout_->rowCount(); ++row) {
        const QLayoutItem* const text = layout_->itemAtPosition(row, 0);
        const QLayoutItem* const control = layout_->itemAtPosition(row, 1);
        if (!text || text == control) {
            continue;
        }
        auto* const label = static_cast<QLabel*>(text->widget());
        texts.push_back(label);
        most = std::max(most, label->fontMetrics().size(0, label->text()).width() + 1);
        least = std::max(least, label->minimumSizeHint().width());
        controls = std::max(controls, control->minimumSize().width());
    }
    const int room = width - 2 * kHorizontalMargin - kSpace - controls;
    for (QWidget* const text : texts) {
        text->setFixedWidth(std::clamp(room, std::min(least, most), most));
    }
}

int QtDialogPanel::widthForRows() const {
    return width() - (height() < heightOfRows_ ? scroller_->verticalScrollBar()->sizeHint().width() : 0);
}

void QtDialogPanel::moveTo(const DialogPlace& place) {
    const QScreen* const pointed = QGuiApplication::screenAt(QCursor::pos());
    const QScreen& screen = pointed ? *pointed : *QGuiApplication::primaryScreen();
    place_ = place;
    wanted_ = wantedSize(screen);
    DialogPlace sized = place;
    sized.width = wanted_.width();
    sized.height = wanted_.height();
    const QRect outside = QRect(QPoint(), wanted_).marginsAdded(frame());
    DialogRect outer = upwards(outside);
    outer.y += wanted_.height(); // the content's lower left corner is its origin
    const DialogRect content =
        contentRect(sized, {upwards(screen.geometry()), upwards(screen.availableGeometry())}, outer);
    setGeometryWithin(screen, QRect(topLeft(content), wanted_));
}

void QtDialogPanel::growToRows() {
    const QSize before = std::exchange(wanted_, wantedSize(*screen()));
    const QSize larger = wanted_.expandedTo(size());
    if (wanted_.expandedTo(before) == before || larger == size()) {
        return; // otherwise a window that the user has made smaller would grow at every update
    }
    QRect rect(pos(), larger);
    rect.moveTopLeft(geometry().topLeft());
    const int wider = larger.width() - width();
    rect.translate(place_.anchor == DialogPlace::Anchor::TopRight ? -wider : -wider / 2, 0);
    setGeometryWithin(*screen(), rect);
}

QMargins QtDialogPanel::frame() const {
    return windowHandle() ? windowHandle()->frameMargins() : QMargins(); // known once the window is shown
}

QSize QtDialogPanel::wantedSize(const QScreen& screen) {
    const QRect room = screen.availableGeometry().marginsRemoved(frame());
    QSize size(int(place_.width), int(place_.height));
    for (int pass = 0; pass < 2; ++pass) { // a wider window may wrap fewer texts
        alignTexts(size.width());
        layout_->activate();
        size.setWidth(std::max(size.width(), layout_->minimumSize().width()));
    }
    size.setWidth(std::min(size.width(), room.width()));
    heightOfRows_ =
        layout_->hasHeightForWidth() ? layout_->heightForWidth(size.width()) : layout_->sizeHint().height();
    size.setHeight(std::max(size.height(), heightOfRows_));
    if (size.height() > room.height()) {
        size = {std::min(size.width() + scroller_->verticalScrollBar()->sizeHint().width(), room.width()),
                room.height()};
    }
    return size;
}

void QtDialogPanel::setGeometryWithin(const QScreen& screen, QRect rect) {
    const QRect room = screen.availableGeometry().marginsRemoved(frame());
    rect.moveTop(std::max(room.top(), std::min(rect.top(), room.bottom() + 1 - rect.height())));
    rect.moveLeft(std::max(room.left(), std::min(rect.left(), room.right() + 1 - rect.width())));
    setGeometry(rect);
}

void QtDialogPanel::beginAtTop(const Rows& rows) {
    scroller_->verticalScrollBar()->setValue(0);
    const auto first = std::find_if(rows.begin(), rows.end(), [](const auto& row) {
        return !std::holds_alternative<DialogValue>(row->line().control) && !row->tabStops().empty() &&
               row->tabStops().front()->isEnabled();
    });
    (first == rows.end() ? this : (*first)->tabStops().front())->setFocus();
}

void QtDialogPanel::present(bool takesKeyboard) {
    setAttribute(Qt::WA_ShowWithoutActivating, !takesKeyboard);
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    if (takesKeyboard) {
        activateWindow();
    }
}

void QtDialogPanel::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    alignTexts(widthForRows());
}

void QtDialogPanel::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        alignTexts(widthForRows());
    }
}

} // namespace kvn::host

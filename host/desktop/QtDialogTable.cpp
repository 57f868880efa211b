// SPDX-License-Identifier: MIT

#include "host/DialogRendering.h"
#include "host/desktop/QtDialogRow.h"
#include "host/desktop/QtText.h"

#include <QHeaderView>
#include <QScrollBar>
#include <QTableWidget>
#include <algorithm>

namespace kvn::host {
namespace {

constexpr int kWidest = 640; // a wider table scrolls from side to side
constexpr int kColumnGap = 12;

/// A table that is as high as its rows, and as wide as its columns: the window scrolls, not the table.
class WholeTable final : public QTableWidget {
public:
    explicit WholeTable(QWidget& parent) : QTableWidget(&parent) {
        setEditTriggers(QAbstractItemView::NoEditTriggers);
        setSelectionBehavior(QAbstractItemView::SelectRows);
        setSelectionMode(QAbstractItemView::SingleSelection);
        setTabKeyNavigation(false);
        setWordWrap(false);
        setShowGrid(false);
        setAlternatingRowColors(true);
        setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        verticalHeader()->hide();
        horizontalHeader()->setHighlightSections(false);
        horizontalHeader()->setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
        horizontalHeader()->setStretchLastSection(true);
    }

    /// Makes the columns as wide as their texts, and the table as large as its columns and rows.
    void fit() {
        for (int column = 0; column < columnCount(); ++column) {
            setColumnWidth(column, columnWidthFor(column));
        }
        updateGeometry();
    }

    QSize sizeHint() const override { return minimumSizeHint(); }
    QSize minimumSizeHint() const override {
        int width = 0;
        for (int column = 0; column < columnCount(); ++column) {
            width += columnWidthFor(column);
        }
        const int scroller = width > kWidest ? horizontalScrollBar()->sizeHint().height() : 0;
        const int height = horizontalHeader()->sizeHint().height() + verticalHeader()->length() + scroller;
        return QSize(std::min(width, kWidest), height) + 2 * QSize(frameWidth(), frameWidth());
    }

private:
    int columnWidthFor(int column) const {
        return std::max(sizeHintForColumn(column), horizontalHeader()->sectionSizeHint(column)) + kColumnGap;
    }
};

class TableRow final : public QtDialogRow {
public:
    TableRow(const DialogLine& line, const QtRowMaker& maker)
        : QtDialogRow(line, maker, Arrangement::Below), table_(new WholeTable(maker.parent)) {
        table_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        setControl(table_, {table_});
        show();
    }

private:
    void showControl() override {
        const auto& content = std::get<DialogTable>(line_.control);
        table_->setAccessibleName(qtText(spokenName(line_)));
        if (content.titles == shown_.titles && content.rows == shown_.rows) {
            return; // a screen reader would hear of a change
        }
        shown_ = content;
        const int columns = static_cast<int>(content.titles.size());
        const int rows = static_cast<int>(content.rows.size());
        table_->setColumnCount(columns);
        table_->setRowCount(rows);
        for (int column = 0; column < columns; ++column) {
            const auto place = static_cast<std::size_t>(column);
            table_->setHorizontalHeaderItem(column, new QTableWidgetItem(qtText(content.titles[place])));
            for (int row = 0; row < rows; ++row) {
                const auto& cells = content.rows[static_cast<std::size_t>(row)];
                const QString text = place < cells.size() ? qtText(cells[place]) : QString();
                table_->setItem(row, column, new QTableWidgetItem(text));
            }
        }
        table_->fit();
    }

    WholeTable* const table_;
    DialogTable shown_;
};

} // namespace

std::unique_ptr<QtDialogRow> makeTableRow(const DialogLine& line, const QtRowMaker& maker) {
    return std::make_unique<TableRow>(line, maker);
}

} // namespace kvn::host

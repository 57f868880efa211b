// SPDX-License-Identifier: MIT

#include "host/DialogRendering.h"
#include "host/macos/Conversions.h"
#include "host/macos/MacDialogRow.h"

/// The content of a table, as the table asks for it.
@interface KvnTableContent : NSObject <NSTableViewDataSource, NSTableViewDelegate>
@property(nonatomic) kvn::host::DialogTable table;
@end

@implementation KvnTableContent

- (NSInteger)numberOfRowsInTableView:(NSTableView*)__unused table {
    return static_cast<NSInteger>(_table.rows.size());
}

- (NSView*)tableView:(NSTableView*)table viewForTableColumn:(NSTableColumn*)column row:(NSInteger)row {
    const auto& cells = _table.rows[static_cast<std::size_t>(row)];
    const NSUInteger place = [table.tableColumns indexOfObject:column];
    NSTextField* const text =
        [NSTextField labelWithString:place < cells.size() ? kvn::host::nsString(cells[place]) : @""];
    NSTableCellView* const cell = [[NSTableCellView alloc] initWithFrame:NSZeroRect];
    [cell addSubview:text];
    text.translatesAutoresizingMaskIntoConstraints = NO;
    [text.leadingAnchor constraintEqualToAnchor:cell.leadingAnchor].active = YES;
    [text.trailingAnchor constraintEqualToAnchor:cell.trailingAnchor].active = YES;
    [text.centerYAnchor constraintEqualToAnchor:cell.centerYAnchor].active = YES;
    return cell;
}

@end

namespace kvn::host {

namespace {

/// A table that is as high as its rows: the window scrolls, not the table.
class TableRow final : public MacDialogRow {
public:
    explicit TableRow(const DialogLine& line) : MacDialogRow(line) {
        table_.dataSource = content_;
        table_.delegate = content_;
        table_.style = NSTableViewStylePlain;
        table_.columnAutoresizingStyle = NSTableViewUniformColumnAutoresizingStyle;
        frame_.borderType = NSLineBorder;
        frame_.verticalScrollElasticity = NSScrollElasticityNone;
        frame_.documentView = table_;
        setControl(table_);
        frame_.translatesAutoresizingMaskIntoConstraints = NO;
        height_.active = YES;
        putBelow(frame_);
        show();
    }

private:
    void showControl() override {
        const auto& content = std::get<DialogTable>(line_.control);
        table_.accessibilityLabel = nsString(spokenName(line_));
        const DialogTable shown = content_.table;
        if (content.titles == shown.titles && content.rows == shown.rows) {
            return; // a reload would take the place from a screen reader
        }
        content_.table = content;
        if (content.titles != shown.titles) {
            replaceColumns(content.titles);
        }
        [table_ reloadData];
        [table_ sizeToFit];
        const CGFloat row = table_.rowHeight + table_.intercellSpacing.height;
        const CGFloat borders = 2;
        height_.constant =
            table_.headerView.frame.size.height + row * static_cast<CGFloat>(content.rows.size()) + borders;
    }

    void replaceColumns(const std::vector<std::string>& titles) {
        // Taken from the end: the array may be the table's own, which must not change while it is enumerated.
        while (NSTableColumn* const column = table_.tableColumns.lastObject) {
            [table_ removeTableColumn:column];
        }
        for (const std::string& title : titles) {
            NSTableColumn* const column = [[NSTableColumn alloc] initWithIdentifier:nsString(title)];
            column.title = nsString(title);
            column.width = column.minWidth; // the table widens its columns to fill its frame
            [table_ addTableColumn:column];
        }
    }

    KvnTableContent* const content_ = [[KvnTableContent alloc] init];
    NSTableView* const table_ = [[NSTableView alloc] initWithFrame:NSZeroRect];
    NSScrollView* const frame_ = [[NSScrollView alloc] initWithFrame:NSZeroRect];
    NSLayoutConstraint* const height_ = [frame_.heightAnchor constraintEqualToConstant:0];
};

} // namespace

std::unique_ptr<MacDialogRow> makeTableRow(const DialogLine& line) {
    return std::make_unique<TableRow>(line);
}

} // namespace kvn::host

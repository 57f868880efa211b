// SPDX-License-Identifier: MIT

#include "host/DialogRendering.h"
#include "host/macos/Conversions.h"
#include "host/macos/KvnActionTarget.h"
#include "host/macos/MacDialogRow.h"

// The rows whose value the user types: they keep a value that is not finished.

namespace kvn::host {

namespace {

class FolderRow final : public MacDialogRow {
public:
    explicit FolderRow(const DialogLine& line) : MacDialogRow(line) {
        field_.target = typed_;
        field_.action = @selector(performKvnAction:);
        static_cast<NSCell*>(field_.cell).sendsActionOnEndEditing = YES; // also when the window closes
        [field_ setContentHuggingPriority:NSLayoutPriorityFittingSizeCompression
                           forOrientation:NSLayoutConstraintOrientationHorizontal];
        setControl(field_);
        putBeside(@[ field_, button_ ]);
        show();
    }

private:
    void showControl() override {
        const auto& folder = std::get<DialogFolder>(line_.control);
        setText(field_,
                edited_.textFor(folder.path, stdString(field_.stringValue), field_.currentEditor != nil));
        field_.enabled = folder.enabled;
        field_.accessibilityLabel = nsString(spokenName(line_));
        button_.enabled = folder.enabled;
        button_.accessibilityLabel = nsString(spokenName(line_));
    }
    void take() {
        const std::string path = stdString(field_.stringValue);
        if (edited_.take(path)) {
            auto& folder = std::get<DialogFolder>(line_.control);
            folder.path = path;
            callCopy(folder.onChange, path);
        }
    }
    void choose() {
        NSOpenPanel* const panel = [NSOpenPanel openPanel];
        panel.canChooseDirectories = YES;
        panel.canChooseFiles = NO;
        panel.canCreateDirectories = YES;
        panel.directoryURL = [NSURL fileURLWithPath:field_.stringValue isDirectory:YES];
        KvnActionTarget* __weak const typed = typed_; // nil when the row is gone
        [panel beginSheetModalForWindow:view().window
                      completionHandler:^(NSModalResponse response) {
                        if (response == NSModalResponseOK && typed) {
                            [field_ abortEditing]; // the choice replaces a path that is half typed
                            setText(field_, stdString(panel.URL.path));
                            [typed performKvnAction:field_];
                        }
                      }];
    }

    KvnActionTarget* const typed_ = [[KvnActionTarget alloc] initWithAction:[this](id) { take(); }];
    KvnActionTarget* const choose_ = [[KvnActionTarget alloc] initWithAction:[this](id) { choose(); }];
    NSTextField* const field_ = [NSTextField textFieldWithString:@""];
    NSButton* const button_ = [NSButton buttonWithTitle:@"…"
                                                 target:choose_
                                                 action:@selector(performKvnAction:)];
    EditedText edited_;
};

class DateRow final : public MacDialogRow {
public:
    explicit DateRow(const DialogLine& line) : MacDialogRow(line) {
        picker_.datePickerStyle = NSDatePickerStyleTextFieldAndStepper;
        picker_.datePickerElements = NSDatePickerElementFlagYearMonthDay | NSDatePickerElementFlagHourMinute;
        picker_.target = target_;
        picker_.action = @selector(performKvnAction:);
        setControl(picker_);
        putBeside(@[ picker_ ]);
        show();
    }

private:
    void showControl() override {
        const auto& date = std::get<DialogDate>(line_.control);
        const bool hasFocus = picker_.window.firstResponder == picker_;
        if (!hasFocus) { // the user may have typed a part of the date
            picker_.dateValue = nsDate(date.date);
        }
        picker_.enabled = date.enabled;
        picker_.accessibilityLabel = nsString(spokenName(line_));
    }
    void take() {
        auto& date = std::get<DialogDate>(line_.control);
        // The picker's seconds are less exact than the line's: without this, a date would change when only
        // shown.
        if (![picker_.dateValue isEqualToDate:nsDate(date.date)]) {
            date.date = timePoint(picker_.dateValue);
            callCopy(date.onChange, date.date);
        }
    }

    KvnActionTarget* const target_ = [[KvnActionTarget alloc] initWithAction:[this](id) { take(); }];
    NSDatePicker* const picker_ = [[NSDatePicker alloc] initWithFrame:NSZeroRect];
};

} // namespace

std::unique_ptr<MacDialogRow> makeFolderRow(const DialogLine& line) {
    return std::make_unique<FolderRow>(line);
}

std::unique_ptr<MacDialogRow> makeDateRow(const DialogLine& line) { return std::make_unique<DateRow>(line); }

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "host/macos/MacDialogRow.h"

#include "host/DialogRendering.h"
#include "host/macos/Conversions.h"
#include "host/macos/KvnActionTarget.h"

namespace kvn::host {

namespace {

/// Returns a text that is wrapped where it would not fit, and never widens the window.
NSTextField* wrappedText() {
    NSTextField* const text = [NSTextField wrappingLabelWithString:@""];
    [text setContentCompressionResistancePriority:NSLayoutPriorityDefaultLow
                                   forOrientation:NSLayoutConstraintOrientationHorizontal];
    return text;
}

class TextRow final : public MacDialogRow {
public:
    explicit TextRow(const DialogLine& line) : MacDialogRow(line) {
        putBelow(nil);
        show();
    }

private:
    void showControl() override {}
};

class ValueRow final : public MacDialogRow {
public:
    explicit ValueRow(const DialogLine& line) : MacDialogRow(line) {
        putBeside(@[ value_ ]);
        show();
    }

private:
    void showControl() override {
        setText(value_, std::get<DialogValue>(line_.control).text);
        value_.accessibilityLabel = nsString(spokenName(line_));
    }

    NSTextField* const value_ = wrappedText();
};

class CheckBoxRow final : public MacDialogRow {
public:
    explicit CheckBoxRow(const DialogLine& line) : MacDialogRow(line) {
        putBeside(@[ button_ ]);
        show();
    }

private:
    void showControl() override {
        const auto& box = std::get<DialogCheckBox>(line_.control);
        button_.title = nsString(box.label);
        button_.state = box.checked ? NSControlStateValueOn : NSControlStateValueOff;
        button_.enabled = box.enabled;
        button_.accessibilityLabel = nsString(spokenName(line_));
    }
    void take() {
        auto& box = std::get<DialogCheckBox>(line_.control);
        box.checked = button_.state == NSControlStateValueOn;
        callCopy(box.onChange, box.checked);
    }

    KvnActionTarget* const target_ = [[KvnActionTarget alloc] initWithAction:[this](id) { take(); }];
    NSButton* const button_ = [NSButton checkboxWithTitle:@""
                                                   target:target_
                                                   action:@selector(performKvnAction:)];
};

class ButtonRow final : public MacDialogRow {
public:
    explicit ButtonRow(const DialogLine& line) : MacDialogRow(line) {
        putBeside(@[ button_ ]);
        show();
    }

private:
    void showControl() override {
        button_.title = nsString(std::get<DialogButton>(line_.control).title);
        button_.accessibilityLabel = nsString(spokenName(line_));
    }

    KvnActionTarget* const target_ = [[KvnActionTarget alloc]
        initWithAction:[this](id) { callCopy(std::get<DialogButton>(line_.control).onPress); }];
    NSButton* const button_ = [NSButton buttonWithTitle:@""
                                                 target:target_
                                                 action:@selector(performKvnAction:)];
};

template <class Row>
std::unique_ptr<MacDialogRow> makeRow(const DialogLine& line) {
    return std::make_unique<Row>(line);
}

} // namespace

void setText(NSControl* control, const std::string& text) {
    if (stdString(control.stringValue) != text) {
        control.stringValue = nsString(text);
    }
}

MacDialogRow::MacDialogRow(const DialogLine& line) : line_(line), text_(wrappedText()) {}

// The derived row has released the targets of its controls. So a field that is being edited, whose editing
// ends here, does not report its value for a line that is no more.
MacDialogRow::~MacDialogRow() { [view_ removeFromSuperview]; }

void MacDialogRow::update(const DialogLine& line) {
    line_ = line;
    show();
}

void MacDialogRow::show() {
    setText(text_, line_.text);
    text_.hidden = line_.text.empty() && !std::holds_alternative<std::monostate>(line_.control);
    showControl();
}

void MacDialogRow::putBeside(NSArray<NSView*>* controls) {
    isLabel_ = true;
    // The text gives way only after the values, and before the window would be widened.
    [text_ setContentCompressionResistancePriority:NSLayoutPriorityDragThatCannotResizeWindow
                                    forOrientation:NSLayoutConstraintOrientationHorizontal];
    [text_ setContentHuggingPriority:NSLayoutPriorityDragThatCannotResizeWindow
                      forOrientation:NSLayoutConstraintOrientationHorizontal];
    NSStackView* const row =
        [NSStackView stackViewWithViews:[@[ text_ ] arrayByAddingObjectsFromArray:controls]];
    row.alignment = NSLayoutAttributeFirstBaseline;
    view_ = row;
}

void MacDialogRow::putBelow(NSView* control) {
    if (!control) {
        view_ = text_;
        return;
    }
    NSStackView* const row = [NSStackView stackViewWithViews:@[ text_, control ]];
    row.orientation = NSUserInterfaceLayoutOrientationVertical;
    row.alignment = NSLayoutAttributeLeading;
    [control.widthAnchor constraintEqualToAnchor:row.widthAnchor].active = YES;
    view_ = row;
}

std::unique_ptr<MacDialogRow> makeDialogRow(const DialogLine& line) {
    using Make = std::unique_ptr<MacDialogRow> (*)(const DialogLine&);
    struct Kind {
        Make operator()(const std::monostate&) const { return makeRow<TextRow>; }
        Make operator()(const DialogValue&) const { return makeRow<ValueRow>; }
        Make operator()(const DialogTable&) const { return makeTableRow; }
        Make operator()(const DialogCheckBox&) const { return makeRow<CheckBoxRow>; }
        Make operator()(const DialogFolder&) const { return makeFolderRow; }
        Make operator()(const DialogDate&) const { return makeDateRow; }
        Make operator()(const DialogButton&) const { return makeRow<ButtonRow>; }
    };
    return std::visit(Kind(), line.control)(line);
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "agent/PreferencesView.h"

#include <utility>

namespace kvn {

namespace {

constexpr double kWidth = 440.0;
constexpr double kHeight = 178.0;
constexpr double kHeightWithInterval = 264.0;

} // namespace

PreferencesView::PreferencesView(RemoteServiceSettings& settings, const host::Bundle& bundle)
    : DialogContentView(kWidth, settings.changeRemoteAccessIntervalAllowed() ? kHeightWithInterval : kHeight),
      settings_(settings), bundle_(bundle) {}

PreferencesView::Values PreferencesView::currentSettings() const {
    return {.transferLog = settings_.transferLogEnabled(),
            .sessionLog = settings_.sessionLogEnabled(),
            .sessionLogPath = settings_.sessionLogPath(),
            .intervalBegin = settings_.remoteAccessIntervalBegin(),
            .intervalEnd = settings_.remoteAccessIntervalEnd(),
            .showInMenuBar = settings_.showStatusBarMenu()};
}

void PreferencesView::updateControls() {
    shown_ = saved_ = currentSettings();
    saveFailed_ = false;
    changed();
}

bool PreferencesView::saveCurrentSettings() {
    // Only changed values are written: another program may have changed the others meanwhile.
    bool stored = true;
    if (shown_.transferLog != saved_.transferLog) {
        stored = settings_.setTransferLogEnabled(shown_.transferLog);
    }
    if (shown_.sessionLog != saved_.sessionLog || shown_.sessionLogPath != saved_.sessionLogPath) {
        stored = settings_.setSessionLogEnabled(shown_.sessionLog, shown_.sessionLogPath) && stored;
    }
    if (shown_.intervalBegin != saved_.intervalBegin || shown_.intervalEnd != saved_.intervalEnd) {
        stored = settings_.setRemoteAccessIntervalBegin(shown_.intervalBegin, shown_.intervalEnd) && stored;
    }
    if (shown_.showInMenuBar != saved_.showInMenuBar) {
        stored = settings_.setShowStatusBarMenu(shown_.showInMenuBar) && stored;
    }
    if (stored) {
        saved_ = shown_;
    }
    return std::exchange(saveFailed_, !stored) || stored;
}

template <class Value>
std::function<void(Value)> PreferencesView::setter(std::remove_cvref_t<Value> Values::*value) {
    return [this, value](Value chosen) {
        shown_.*value = chosen;
        changed();
    };
}

host::DialogLines PreferencesView::lines() {
    const auto text = [&](const char* key) { return bundle_.localizedString(key); };
    const bool sessionLogAllowed = settings_.changeSessionLogAllowed();
    host::DialogLines lines{
        {"transferLog", "",
         host::DialogCheckBox{text("PrefsTransferLog"), settings_.changeTransferLogAllowed(),
                              shown_.transferLog, setter<bool>(&Values::transferLog)}},
        {"sessionLog", "",
         host::DialogCheckBox{text("PrefsSessionLog"), sessionLogAllowed, shown_.sessionLog,
                              setter<bool>(&Values::sessionLog)}},
        {"sessionLogFolder", text("PrefsSessionLogFolder"),
         host::DialogFolder{sessionLogAllowed, shown_.sessionLogPath,
                            setter<const std::string&>(&Values::sessionLogPath)}},
    };
    if (settings_.changeRemoteAccessIntervalAllowed()) {
        using Date = RemoteServiceSettings::Date;
        lines.push_back({"interval", text("PrefsRemoteAccessInterval")});
        lines.push_back({"intervalBegin", text("PrefsRemoteAccessBegin"),
                         host::DialogDate{true, shown_.intervalBegin, setter<Date>(&Values::intervalBegin)}});
        lines.push_back({"intervalEnd", text("PrefsRemoteAccessEnd"),
                         host::DialogDate{true, shown_.intervalEnd, setter<Date>(&Values::intervalEnd)}});
    }
    lines.push_back({"showInMenuBar", "",
                     host::DialogCheckBox{text("PrefsShowInMenuBar"), true, shown_.showInMenuBar,
                                          setter<bool>(&Values::showInMenuBar)}});
    if (saveFailed_) {
        lines.push_back({"saveFailed", text("PrefsNotSaved")});
    }
    return lines;
}

} // namespace kvn

// SPDX-License-Identifier: MIT

#pragma once

#include "agent/DialogContentView.h"
#include "host/Bundle.h"
#include "remote/platform/settings/RemoteServiceSettings.h"

#include <functional>
#include <string>
#include <type_traits>

namespace kvn {

/// The settings that the user may see and, where the policy allows it, change. Only `saveCurrentSettings`
/// stores a change; a line tells when that failed. Main thread.
class PreferencesView final : public DialogContentView {
public:
    /// `settings` and `bundle` outlive the view. The view is higher if the remote access interval may be
    /// changed.
    PreferencesView(RemoteServiceSettings& settings, const host::Bundle& bundle);

    /// Shows the settings as they are now.
    void updateControls();

    /// Writes the settings that the user has changed since `updateControls`. Returns false if that fails for
    /// the first time since then: the user has to be shown that, and may leave the settings afterwards.
    bool saveCurrentSettings();

    host::DialogLines lines() override;

private:
    /// The values of the controls.
    struct Values {
        bool transferLog = false;
        bool sessionLog = false;
        std::string sessionLogPath;
        RemoteServiceSettings::Date intervalBegin;
        RemoteServiceSettings::Date intervalEnd;
        bool showInMenuBar = false;
    };

    Values currentSettings() const;
    template <class Value>
    std::function<void(Value)> setter(std::remove_cvref_t<Value> Values::*value);

    RemoteServiceSettings& settings_;
    const host::Bundle& bundle_;
    Values shown_;
    Values saved_;
    bool saveFailed_ = false;
};

} // namespace kvn

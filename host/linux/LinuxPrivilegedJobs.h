// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "host/PrivilegedJobs.h"
#include "host/linux/helper-installer/HelperInstallation.h"
#include "host/posix/PollUntil.h"

#include <utility>

namespace kvn::host {

/// Installs helpers in the folders that macOS has for them, and starts them as processes. If this process may
/// write there, it installs them itself; otherwise pkexec asks the user and starts an installer as root.
/// pkexec takes no user name and password and shows its own text, so the presenter shows the prompt.
class LinuxPrivilegedJobs final : public PrivilegedJobs {
public:
    /// `bundle`, `runner` and `propertyLists` outlive this object.
    LinuxPrivilegedJobs(const Bundle& bundle, ProcessRunner& runner, const PropertyList& propertyLists)
        : bundle_(bundle), propertyLists_(propertyLists),
          installation_(runner, propertyLists, end_.descriptor()) {}

    void presentPromptsWith(PromptPresenter presenter) override { presenter_ = std::move(presenter); }
    std::int32_t createAuthorization(const Environment& environment, std::uint32_t flags,
                                     std::unique_ptr<Authorization>& authorization) override;
    std::int32_t copyRights(Authorization& authorization, const std::string& right,
                            const Environment& environment, std::uint32_t flags) override;
    std::optional<Error> bless(const std::string& label, Authorization& authorization) override;
    std::optional<PropertyValue::Dictionary> jobDictionary(const std::string& label) const override;

    /// Ends the present and all later questions to the user as if they were dismissed, and the waits of
    /// `bless`. Any thread.
    void interrupt() { end_.raise(); }

private:
    const Bundle& bundle_;
    const PropertyList& propertyLists_;
    PromptPresenter presenter_;
    EndSignal end_;
    const HelperInstallation installation_;
};

} // namespace kvn::host

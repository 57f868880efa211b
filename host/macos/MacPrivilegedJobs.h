// SPDX-License-Identifier: MIT

#pragma once

#include "host/PrivilegedJobs.h"

namespace kvn::host {

/// The system's own installation of helpers; the system's dialog shows the prompts. Errors of a job have the
/// system's domain.
class MacPrivilegedJobs final : public PrivilegedJobs {
public:
    MacPrivilegedJobs();

    void presentPromptsWith(PromptPresenter) override {}
    std::int32_t createAuthorization(const Environment& environment, std::uint32_t flags,
                                     std::unique_ptr<Authorization>& authorization) override;
    std::int32_t copyRights(Authorization& authorization, const std::string& right,
                            const Environment& environment, std::uint32_t flags) override;
    std::optional<Error> bless(const std::string& label, Authorization& authorization) override;
    std::optional<PropertyValue::Dictionary> jobDictionary(const std::string& label) const override;

    /// Ends the present and all later questions to the user as if they were dismissed; the system's dialog
    /// stays until it is answered. Any thread.
    void interrupt();

private:
    struct Questions;

    const std::shared_ptr<Questions> questions_; // shared with answers that nobody waits for any more
};

} // namespace kvn::host

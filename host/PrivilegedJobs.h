// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/PropertyList.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kvn::host {

/// Installs the helper programs embedded in the application bundle as jobs of the system, with the user's
/// authorization. One thread at a time, which may block until the user has answered.
class PrivilegedJobs {
public:
    // Result codes of the Security framework (Authorization.h). Canceled: the user dismissed the dialog.
    static constexpr std::int32_t kDenied = -60005;
    static constexpr std::int32_t kCanceled = -60006;
    static constexpr std::int32_t kInteractionNotAllowed = -60007;
    static constexpr std::int32_t kInternal = -60008;

    // Flags of an authorization, with the values of the same framework.
    static constexpr std::uint32_t kInteractionAllowed = 1;
    static constexpr std::uint32_t kExtendRights = 2;
    static constexpr std::uint32_t kPreAuthorize = 16;

    /// An entry for the authorization dialog: "prompt", "username" or "password".
    struct EnvironmentItem {
        std::string name;
        std::string value;
    };
    using Environment = std::vector<EnvironmentItem>;

    /// The rights that the user granted; they end with the object.
    class Authorization {
    public:
        virtual ~Authorization() = default;
    };

    using PromptPresenter = std::function<void(const std::string& prompt)>;

    virtual ~PrivilegedJobs() = default;

    /// Sets the function that shows the prompt of an authorization where the system does not. It is called on
    /// the thread that asks for the rights. Called before the first use, on the main thread.
    virtual void presentPromptsWith(PromptPresenter presenter) = 0;

    /// Returns 0 and an authorization without rights, or the system's error code.
    virtual std::int32_t createAuthorization(const Environment& environment, std::uint32_t flags,
                                             std::unique_ptr<Authorization>& authorization) = 0;

    /// Asks the user for a right. Returns 0, `kCanceled` or another error code of the system.
    virtual std::int32_t copyRights(Authorization& authorization, const std::string& right,
                                    const Environment& environment, std::uint32_t flags) = 0;

    /// Ends the installed helper of this label, if there is one, installs the embedded one in its place and
    /// starts it. Returns nullopt on success.
    virtual std::optional<Error> bless(const std::string& label, Authorization& authorization) = 0;

    /// Returns the property list of an installed job; nullopt when there is none.
    virtual std::optional<PropertyValue::Dictionary> jobDictionary(const std::string& label) const = 0;
};

} // namespace kvn::host

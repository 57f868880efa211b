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
/// authorization. One thread at a time, which may block while the user makes up his mind.
class PrivilegedJobs {
public:
    /// The user refused by dismissing the dialog (Security framework, errAuthorizationCanceled).
    static constexpr std::int32_t kCanceled = -60006;

    /// Flags of an authorization, with the values of the Security framework (Authorization.h).
    static constexpr std::uint32_t kInteractionAllowed = 1;
    static constexpr std::uint32_t kExtendRights = 2;
    static constexpr std::uint32_t kPreAuthorize = 16;

    /// What the authorization dialog is given: "prompt", or "username" and "password".
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

    /// Where the system does not show the prompt of an authorization itself, `presenter` is to; it is
    /// called on the thread that asks for the rights. Before the first use, main thread.
    virtual void presentPromptsWith(PromptPresenter presenter) = 0;

    /// 0 and an authorization without rights, or the system's error code.
    virtual std::int32_t createAuthorization(const Environment& environment, std::uint32_t flags,
                                             std::unique_ptr<Authorization>& authorization) = 0;

    /// Asks the user for a right; 0, `kCanceled` or another error code of the system.
    virtual std::int32_t copyRights(Authorization& authorization, const std::string& right,
                                    const Environment& environment, std::uint32_t flags) = 0;

    /// Installs the helper embedded under this label, in place of an installed one, which is ended, and
    /// starts it. Nothing on success.
    virtual std::optional<Error> bless(const std::string& label, Authorization& authorization) = 0;

    /// The property list of an installed job, or nothing when there is none.
    virtual std::optional<PropertyValue::Dictionary> jobDictionary(const std::string& label) const = 0;
};

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#pragma once

#include "host/Clock.h"

#include <chrono>
#include <functional>
#include <optional>

namespace kvn {

/// Decides which events of the service the user is told of, each once. Main thread.
class ServiceNotices {
public:
    enum class Notice { SessionBegan, SessionEnded, ServiceAway, ServiceBack };

    /// The longest time that the service is not online without a notice.
    static constexpr std::chrono::minutes kLongestAbsence{1};

    /// The clock outlives this object. `tell` must not call it.
    ServiceNotices(const host::Clock& clock, std::function<void(Notice)> tell)
        : clock_(clock), tell_(std::move(tell)) {}

    /// Takes the present state; called at least every few seconds while the service is watched. What the
    /// first states show is not told, and neither is a service that was never online.
    void update(bool online, bool inSession);

    /// Begins anew, as at the start: because the service is not watched for a while, or because the user has
    /// stopped it.
    void reset();

private:
    const host::Clock& clock_;
    const std::function<void(Notice)> tell_;
    bool wasOnline_ = false;
    bool inSession_ = false;
    bool absenceTold_ = false;
    std::optional<std::chrono::steady_clock::time_point> awaySince_;
};

} // namespace kvn

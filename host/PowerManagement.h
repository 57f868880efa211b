// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace kvn::host {

/// The system's power management. Results are 0 on success and otherwise the system's own error code.
class PowerManagement {
public:
    using AssertionId = std::uint32_t; // 0 is none

    enum class UserActivity { Local, Remote };

    /// The system's power messages, with its values.
    enum Message : std::uint32_t {
        kCanSystemSleep = 0xE0000270,
        kSystemWillSleep = 0xE0000280,
        kSystemHasPoweredOn = 0xE0000300,
        kSystemWillPowerOn = 0xE0000320,
    };

    /// Called on the main thread; `argument` names the change in the answer.
    using MessageHandler = std::function<void(std::uint32_t message, std::intptr_t argument)>;

    virtual ~PowerManagement() = default;

    /// Declares that the user is active, which wakes a sleeping display. Any thread.
    virtual std::int32_t declareUserActivity(const std::string& name, UserActivity kind, AssertionId& id) = 0;

    /// Keeps an idle display from sleeping until the assertion is released. Main thread.
    virtual std::int32_t preventIdleDisplaySleep(const std::string& name, AssertionId& id) = 0;
    virtual std::int32_t releaseAssertion(AssertionId id) = 0;

    /// Starts and ends the delivery of power messages. Main thread.
    virtual bool registerForSystemPower(MessageHandler handler) = 0;
    virtual std::int32_t deregisterForSystemPower() = 0;

    /// Answers to `kCanSystemSleep` and `kSystemWillSleep`. Main thread.
    virtual void allowPowerChange(std::intptr_t argument) = 0;
    virtual void cancelPowerChange(std::intptr_t argument) = 0;
};

} // namespace kvn::host

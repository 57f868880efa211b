// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>

namespace kvn::host {

/// Registers keys that reach the agent whichever application is in front. Results are 0 or the system's error
/// code. Main thread.
class HotKeys {
public:
    /// The values are those of the system's keyboard events (Carbon, kEventHotKeyPressed and -Released).
    enum Kind : std::uint32_t {
        kPressed = 5,
        kReleased = 6,
        // Not the system's: after the registration, the system has taken or refused the key, or given it
        // back.
        kRefused = 0,
        kGranted = 1,
    };

    /// The result for a key that another program has (Carbon, eventHotKeyExistsErr).
    static constexpr std::int32_t kTaken = -9878;

    /// The result of a handler that does not know the kind of event (Carbon, eventNotHandledErr).
    static constexpr std::int32_t kNotHandled = -9874;

    using Handler = std::function<std::int32_t(std::uint32_t kind)>;

    struct Key {
        std::uint32_t code;      // virtual key code
        std::uint32_t modifiers; // Carbon: 0x100 Command, 0x1000 Control
        std::uint32_t signature; // names the key together with the id
        std::uint32_t id;
    };

    using Reference = std::uint64_t; // 0 is none

    virtual ~HotKeys() = default;

    /// Returns the name that the Command key has on this system's keyboards.
    virtual const char* commandKey() const { return "Command"; }

    virtual std::int32_t installHandler(Handler handler) = 0;
    virtual std::int32_t registerHotKey(const Key& key, Reference& reference) = 0;
    virtual void unregisterHotKey(Reference reference) = 0;
};

} // namespace kvn::host

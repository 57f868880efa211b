#pragma once

#include "host/HotKeys.h"

#include <utility>

namespace kvn::host {

/// The hot key of an agent in a terminal, where a command presses it. Main thread.
class TerminalHotKeys final : public HotKeys {
public:
    std::int32_t installHandler(Handler handler) override {
        handler_ = std::move(handler);
        return 0;
    }
    std::int32_t registerHotKey(const Key&, Reference& reference) override {
        if (registered_) {
            reference = 0;
            return kExists;
        }
        registered_ = true;
        reference = kOnlyKey;
        return 0;
    }
    void unregisterHotKey(Reference reference) override { registered_ &= reference != kOnlyKey; }

    /// Presses and releases the key; false when the agent did not take both.
    bool press() {
        if (!handler_ || !registered_) {
            return false;
        }
        const bool taken = handler_(kPressed) == 0;
        return handler_(kReleased) == 0 && taken;
    }

private:
    static constexpr std::int32_t kExists = -9878; // Carbon, eventHotKeyExistsErr
    static constexpr Reference kOnlyKey = 1;

    Handler handler_;
    bool registered_ = false;
};

} // namespace kvn::host

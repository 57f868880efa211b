// SPDX-License-Identifier: MIT

#pragma once

#include "host/HotKeys.h"
#include "host/Pointer.h"

#import <Carbon/Carbon.h>

// The pointer and the keyboard of a process with a window server.

namespace kvn::host {

class MacPointer final : public Pointer {
public:
    Point location() const override;
    double mainScreenHeight() const override;
    void postMove(Point to) override;
};

class MacHotKeys final : public HotKeys {
public:
    MacHotKeys() = default;
    ~MacHotKeys() override;
    MacHotKeys(const MacHotKeys&) = delete;
    MacHotKeys& operator=(const MacHotKeys&) = delete;

    std::int32_t installHandler(Handler handler) override;
    std::int32_t registerHotKey(const Key& key, Reference& reference) override;
    void unregisterHotKey(Reference reference) override;

private:
    // An exception ends the process, because it may not pass through the system's code.
    static OSStatus receive(EventHandlerCallRef, EventRef event, void* self) noexcept;

    Handler handler_;
    EventHandlerRef installed_ = nullptr;
};

} // namespace kvn::host

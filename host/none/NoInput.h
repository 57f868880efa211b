// SPDX-License-Identifier: MIT

#pragma once

#include "host/HotKeys.h"
#include "host/Pointer.h"

// Pointer and keyboard of a session in which programs may not see or use them, or that has none.

namespace kvn::host {

/// Registers no key.
class NoHotKeys final : public HotKeys {
public:
    std::int32_t installHandler(Handler) override { return 0; }
    std::int32_t registerHotKey(const Key&, Reference& reference) override {
        reference = 0;
        return kNotImplemented;
    }
    void unregisterHotKey(Reference) override {}

private:
    static constexpr std::int32_t kNotImplemented = -4; // Carbon, unimpErr
};

class NoPointer final : public Pointer {
public:
    Point location() const override { return {}; }
    double mainScreenHeight() const override { return 0; }
    void postMove(Point) override {}
};

} // namespace kvn::host

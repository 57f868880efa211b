#pragma once

#include "host/HotKeys.h"

namespace kvn::host {

/// A session whose keys nobody can watch for all applications: no key is registered.
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

} // namespace kvn::host

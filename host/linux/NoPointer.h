#pragma once

#include "host/Pointer.h"

namespace kvn::host {

/// The pointer where programs may not see or move it, as under Wayland, or where there is none.
class NoPointer final : public Pointer {
public:
    Point location() const override { return {}; }
    double mainScreenHeight() const override { return 0; }
    void postMove(Point) override {}
};

} // namespace kvn::host

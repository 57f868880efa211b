// SPDX-License-Identifier: MIT

#pragma once

namespace kvn::host {

struct Point {
    double x = 0;
    double y = 0;
};

/// The mouse pointer. Main thread.
class Pointer {
public:
    virtual ~Pointer() = default;

    /// Returns the pointer's position; the origin is the bottom-left corner of the main screen.
    virtual Point location() const = 0;

    /// Returns the height of the main screen in points, 0 without one.
    virtual double mainScreenHeight() const = 0;

    /// Posts a mouse-moved event; the origin is the top-left corner.
    virtual void postMove(Point to) = 0;
};

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"

#include <functional>
#include <utility>

namespace kvn {

/// The content of the dialog window: a model that any front end renders. Main thread.
class DialogContentView {
public:
    /// `width` and `height` are in points.
    DialogContentView(double width, double height) : width_(width), height_(height) {}
    virtual ~DialogContentView() = default;
    DialogContentView(const DialogContentView&) = delete;
    DialogContentView& operator=(const DialogContentView&) = delete;

    double width() const { return width_; }
    double height() const { return height_; }

    virtual host::DialogLines lines() = 0;

    /// Sets the handler that is called whenever the lines have changed.
    void onChange(std::function<void()> handler) { changed_ = std::move(handler); }

protected:
    void changed() const {
        if (changed_) {
            changed_();
        }
    }

private:
    const double width_;
    const double height_;
    std::function<void()> changed_;
};

} // namespace kvn

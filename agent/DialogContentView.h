#pragma once

#include "host/DialogWindow.h"

#include <functional>
#include <utility>

namespace kvn {

/// What the dialog window shows: a model that any front end draws. Main thread.
class DialogContentView {
public:
    /// In points.
    DialogContentView(double width, double height) : width_(width), height_(height) {}
    virtual ~DialogContentView() = default;
    DialogContentView(const DialogContentView&) = delete;
    DialogContentView& operator=(const DialogContentView&) = delete;

    double width() const { return width_; }
    double height() const { return height_; }

    virtual host::DialogRows rows() = 0;

    /// Told whenever `rows` would say something else.
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

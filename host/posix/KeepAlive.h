#pragma once

#include "host/MainLoop.h"

#include <memory>
#include <utility>

namespace kvn::host {

/// A registration that consists in the object's being there: whoever calls the object holds it weakly.
template <class T>
[[nodiscard]] MainLoop::Handle keepAlive(std::shared_ptr<T> object) {
    class Holder final : public MainLoop::Registration {
    public:
        explicit Holder(std::shared_ptr<T> held) : held_(std::move(held)) {}

    private:
        const std::shared_ptr<T> held_;
    };
    return std::make_unique<Holder>(std::move(object));
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#pragma once

#include "core/events/FDelegate.h"
#include "core/threads/FThread.h"

#include <memory>
#include <tuple>
#include <utility>

namespace Kvs {

/// A delegate together with the argument values that it will be called with on the thread that invokes it. It
/// copies the argument values.
template <class R, class... Args>
class FExecutor : public FInvokable<R> {
public:
    explicit FExecutor(std::unique_ptr<FDelegate<R, Args...>> delegate, Args... args)
        : delegate_(std::move(delegate)), args_(std::move(args)...) {}

    R invoke() const override { return execute(); }
    virtual int ParamCount() const { return static_cast<int>(sizeof...(Args)); }
    virtual R execute() const { return std::apply(*delegate_, args_); }
    virtual std::unique_ptr<FExecutor> clone() const {
        return std::apply(
            [&](const Args&... args) { return std::make_unique<FExecutor>(delegate_->clone(), args...); },
            args_);
    }

private:
    std::unique_ptr<FDelegate<R, Args...>> delegate_;
    std::tuple<Args...> args_;
};

template <class R>
using FExecutor0V = FExecutor<R>;
template <class A1, class A2>
using FExecutor2V = FExecutor<void, A1, A2>;

/// Returns an executor for a method of `object` with the given arguments.
template <class T, class R, class... Args>
std::unique_ptr<FExecutor<R, Args...>> fMakeExecutor(T* object, R (T::*method)(Args...), Args... args) {
    return std::make_unique<FExecutor<R, Args...>>(
        std::make_unique<FDelegator<T, R, Args...>>(object, method), std::move(args)...);
}

} // namespace Kvs

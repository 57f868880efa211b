// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

namespace Kvs {

/// Root of all delegates that return `R`.
template <class R>
class FDelegable_T {
public:
    /// Returns the number of call arguments.
    virtual int ParamCount() const = 0;
    /// Returns true if the delegate is bound to no method or no object.
    virtual bool operator!() const = 0;
    /// Returns the target object.
    virtual const void* Object() const = 0;
    virtual ~FDelegable_T() = default;
};

/// A callback with the given signature: one method of one object, immutable once made.
template <class R, class... Args>
class FDelegate : public FDelegable_T<R> {
public:
    int ParamCount() const override { return static_cast<int>(sizeof...(Args)); }
    virtual R operator()(Args... args) const = 0;
    virtual std::unique_ptr<FDelegate> clone() const = 0;
    /// Returns true for the same object and the same method.
    virtual bool operator==(const FDelegate& other) const = 0;
    bool operator==(const void* object) const { return this->Object() == object; }
};

template <class R>
using FDelegate0 = FDelegate<R>;
template <class R, class A1, class A2>
using FDelegate2 = FDelegate<R, A1, A2>;
template <class R, class A1, class A2, class A3>
using FDelegate3 = FDelegate<R, A1, A2, A3>;
template <class R, class A1, class A2, class A3, class A4>
using FDelegate4 = FDelegate<R, A1, A2, A3, A4>;
template <class R, class A1, class A2, class A3, class A4, class A5>
using FDelegate5 = FDelegate<R, A1, A2, A3, A4, A5>;

/// A delegate for a method of class `T`; the object must outlive every call.
template <class T, class R, class... Args>
class FDelegator : public FDelegate<R, Args...> {
public:
    using Method = R (T::*)(Args...);

    FDelegator(T* object, Method method) : method_(method), object_(object) {}

    bool operator!() const override { return !method_ || !object_; }
    const void* Object() const override { return object_; }
    R operator()(Args... args) const override { return (object_->*method_)(static_cast<Args>(args)...); }

    std::unique_ptr<FDelegate<R, Args...>> clone() const override {
        return std::make_unique<FDelegator>(object_, method_);
    }

    using FDelegate<R, Args...>::operator==;
    bool operator==(const FDelegate<R, Args...>& other) const override {
        const auto* same = dynamic_cast<const FDelegator*>(&other);
        return same && same->object_ == object_ && same->method_ == method_;
    }

private:
    Method method_;
    T* object_;
};

template <class T>
using FDelegator0V = FDelegator<T, void>;
template <class T, class A1, class A2>
using FDelegator2V = FDelegator<T, void, A1, A2>;
template <class T, class R, class A1, class A2>
using FDelegator2 = FDelegator<T, R, A1, A2>;

/// The handler type of events: `void T::method(Source*, Arg&)`.
template <class T, class Source, class Arg>
using FEventDelegate = FDelegator<T, void, Source*, Arg&>;

} // namespace Kvs

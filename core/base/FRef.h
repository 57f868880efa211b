// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Errors.h"

#include <atomic>
#include <cstddef>
#include <utility>

namespace Kvs {

/// The atomic use count behind an `FRef`.
template <class Integer>
class TFRefCounter {
public:
    void retain() { count_.fetch_add(1, std::memory_order_relaxed); }

    /// Returns true if this was the last use.
    bool release() { return count_.fetch_sub(1, std::memory_order_acq_rel) == 1; }

private:
    std::atomic<Integer> count_{1};
};

/// Shared ownership of a heap object. Copies may live on different threads; one handle object is
/// not itself synchronised. Dereferencing an empty handle is a fatal programming error.
template <class T, class Counter = TFRefCounter<int>>
class FRef {
public:
    FRef() = default;

    /// Takes ownership of `value`, which may be null.
    explicit FRef(T* value) : counter_(value ? new Counter : nullptr), m_ptValue(value) {}

    FRef(const FRef& other) : counter_(other.counter_), m_ptValue(other.m_ptValue) {
        if (counter_) {
            counter_->retain();
        }
    }

    FRef(FRef&& other) noexcept
        : counter_(std::exchange(other.counter_, nullptr)),
          m_ptValue(std::exchange(other.m_ptValue, nullptr)) {}

    FRef& operator=(FRef other) noexcept {
        std::swap(counter_, other.counter_);
        std::swap(m_ptValue, other.m_ptValue);
        return *this;
    }

    ~FRef() { reset(); }

    void reset() {
        Counter* counter = std::exchange(counter_, nullptr);
        T* value = std::exchange(m_ptValue, nullptr);
        if (counter && counter->release()) {
            delete counter;
            delete value;
        }
    }

    T* get() const { return m_ptValue; }
    explicit operator bool() const { return m_ptValue != nullptr; }
    bool operator==(const FRef& other) const { return m_ptValue == other.m_ptValue; }

    T& operator*() const { return *checked(kDereferenceLine); }
    T* operator->() const { return checked(kDereferenceLine); }
    auto& operator[](std::size_t index) const { return (*checked(kIndexLine))[index]; }

private:
    // These fixed numbers tell the two kinds of access apart in a crash report.
    static constexpr unsigned int kDereferenceLine = 534;
    static constexpr unsigned int kIndexLine = 543;

    T* checked(unsigned int line) const {
        if (!m_ptValue) {
            f_dbg_error("this->m_ptValue", __FILE__, line, true);
        }
        return m_ptValue;
    }

    Counter* counter_ = nullptr;
    T* m_ptValue = nullptr;
};

/// Makes a shared object in place.
template <class T, class... Args>
FRef<T> fMakeRef(Args&&... args) {
    return FRef<T>(new T(std::forward<Args>(args)...));
}

} // namespace Kvs

// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace Kvs {

/// An output buffer that grows and is always NUL-terminated. The XML writer and the number and time
/// formatters write into it. One thread at a time.
template <class C>
class FMStr {
public:
    FMStr() = default;
    FMStr(const FMStr&) = delete;
    FMStr& operator=(const FMStr&) = delete;

    const C* c_str() const { return data_ ? data_.get() : emptyText; }
    FStrToken<C> token() const { return {c_str(), length_}; }
    std::size_t length() const { return length_; }

    /// Empties the text and keeps the memory.
    void clear() { setLength(0); }

    FMStr& append(FStrToken<C> text) {
        C* end = reserve(text.size());
        std::char_traits<C>::copy(end, text.data(), text.size());
        setLength(length_ + text.size());
        return *this;
    }

    FMStr& append(C unit) { return append(FStrToken<C>(&unit, 1)); }

    /// Appends decimal text, left-padded with "0" to `width` digits; with `emptyWhenZero`, 0 appends nothing.
    template <FInteger T>
    FMStr& appendValueOf(T value, long width = 0, bool emptyWhenZero = false) {
        if (value == 0 && emptyWhenZero) {
            return *this;
        }
        FGStr<C> digits;
        digits.appendValueOf(value);
        for (long missing = width - static_cast<long>(digits.length()); missing > 0; --missing) {
            append(static_cast<C>('0'));
        }
        return append(digits.token());
    }

    /// Appends four lower-case hexadecimal digits.
    FMStr& appendHexOf(std::uint16_t value) {
        const unsigned char bytes[] = {static_cast<unsigned char>(value >> 8),
                                       static_cast<unsigned char>(value & 0xFF)};
        return append(FGStr<C>().appendHexOf(bytes, sizeof bytes).token());
    }

    /// Allocates memory for `count` more units and returns the place to write them to. Call `setLength`
    /// afterwards.
    C* reserve(std::size_t count) {
        if (length_ + count > capacity_) {
            grow(length_ + count);
        }
        return data_.get() + length_;
    }

    /// Ends the text after `length` units. The caller has written all of them, within the reserved memory.
    void setLength(std::size_t length) {
        length_ = length;
        if (data_) {
            data_[length] = C{};
        }
    }

private:
    void grow(std::size_t needed) {
        std::size_t capacity = capacity_ + capacity_ / 2 + 1;
        if (capacity < needed) {
            capacity = needed;
        }
        std::unique_ptr<C[]> data(new C[capacity + 1]);
        std::char_traits<C>::copy(data.get(), c_str(), length_ + 1);
        data_ = std::move(data);
        capacity_ = capacity;
    }

    static constexpr C emptyText[1] = {};
    std::unique_ptr<C[]> data_;
    std::size_t capacity_ = 0;
    std::size_t length_ = 0;
};

} // namespace Kvs

// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace Kvs {

/// An output buffer that grows and is always NUL-terminated. The XML writer and the number and time
/// formatters write into it. A short text, such as a request to the service, needs no memory outside the
/// object. One thread at a time.
template <class C>
class FMStr {
public:
    FMStr() { setLength(0); }
    FMStr(const FMStr&) = delete;
    FMStr& operator=(const FMStr&) = delete;

    const C* c_str() const { return data_; }
    FStrToken<C> token() const { return {data_, length_}; }
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
        return data_ + length_;
    }

    /// Ends the text after `length` units. The caller has written all of them, within the reserved memory.
    void setLength(std::size_t length) {
        length_ = length;
        data_[length] = C{};
    }

private:
    void grow(std::size_t needed) {
        std::size_t capacity = capacity_ + capacity_ / 2 + 1;
        if (capacity < needed) {
            capacity = needed;
        }
        std::unique_ptr<C[]> memory(new C[capacity + 1]);
        std::char_traits<C>::copy(memory.get(), data_, length_ + 1);
        memory_ = std::move(memory);
        data_ = memory_.get();
        capacity_ = capacity;
    }

    static constexpr std::size_t kShort = 255;

    C short_[kShort + 1];
    std::unique_ptr<C[]> memory_; // of a longer text
    C* data_ = short_;
    std::size_t capacity_ = kShort;
    std::size_t length_ = 0;
};

} // namespace Kvs

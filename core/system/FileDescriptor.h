// SPDX-License-Identifier: MIT

#pragma once

#include <unistd.h>
#include <utility>

namespace Kvs {

/// Owns a descriptor and closes it. Code that blocks in a call on the number must keep the owner alive, so
/// that the system cannot reuse the number meanwhile.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        FileDescriptor taken(std::move(other));
        std::swap(number_, taken.number_);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }
    void reset() {
        if (const int number = std::exchange(number_, -1); number >= 0) {
            ::close(number);
        }
    }

private:
    int number_ = -1;
};

} // namespace Kvs

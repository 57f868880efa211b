// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <exception>
#include <limits>

namespace Kvs {

/// Result of an operation: 0 is success, a positive value the `errno` of a failed system call, a
/// negative one a failure of the layer itself. Callers of the service-control client treat only a
/// negative value as a failed request.
using FResult = std::int32_t;

inline constexpr FResult kSuccess = 0;
inline constexpr FResult kFailure = std::numeric_limits<FResult>::min();          // 0x80000000
inline constexpr FResult kInvalidState = std::numeric_limits<FResult>::min() + 1; // 0x80000001

/// Thrown where a constructor cannot complete. The texts are not copied: pass string literals.
class FException : public std::exception {
public:
    explicit FException(const char* what) : what_(what) {}
    FException(const char* what, const char* where) : what_(what), where_(where) {}

    const char* what() const noexcept override { return what_; }
    virtual std::int32_t code() const noexcept { return code_; }
    virtual const char* where() const noexcept { return where_; }
    virtual const char* why() const noexcept { return why_; }

private:
    const char* what_;
    const char* where_ = nullptr;
    const char* why_ = nullptr;
    std::int32_t code_ = 0;
};

/// Reports a broken program invariant on standard output as
/// `expression - File: file - Line: line` and aborts the process when `fatal` is set. Any thread.
void f_dbg_error(const char* expression, const char* file, unsigned int line, bool fatal);

/// Does nothing. Set a debugger's breakpoint here.
void f_dbg_breakpoint();

} // namespace Kvs

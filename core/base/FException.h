#pragma once

#include <cstdint>
#include <exception>

namespace Kvs {

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

} // namespace Kvs

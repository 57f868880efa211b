#pragma once

#include "core/text/FGStr.h"

#include <cstdint>
#include <optional>
#include <pthread.h>
#include <string>

namespace Kvs {

/// One remembered error: `text1` called `text2`, which returned `result`. Immutable, shared by reference.
struct FLogLastError {
    std::int32_t code;
    std::string text1;
    std::string text2;
    std::int32_t result;
    std::optional<std::string> text3; // a free description
    pthread_t thread;                 // that called setLastError
};

} // namespace Kvs

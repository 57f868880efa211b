#pragma once

#include "core/text/FGStr.h"

namespace Kvs {

/// What the process was started with.
class FAppContext {
public:
    /// The variable's value; empty when it is not set. Any thread, as long as nobody changes the
    /// environment.
    static FGStr<char> getEnv(const char* name);
};

} // namespace Kvs

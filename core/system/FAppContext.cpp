#include "core/system/FAppContext.h"

#include <cstdlib>

namespace Kvs {

FGStr<char> FAppContext::getEnv(const char* name) { return FGStr<char>(std::getenv(name)); }

} // namespace Kvs

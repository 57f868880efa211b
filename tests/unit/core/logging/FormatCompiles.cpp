// Compiled by the tests, with a format that fits its arguments and with one that must not compile.
#include "core/logging/CNSLog.h"

void log() {
#if defined(CASE_fits)
    Kvs::OCNSLog("%@ %d", "text", 1);
#else
    Kvs::OCNSLog("%@ %d", "text", "1");
#endif
}

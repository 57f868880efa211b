// Compiled by the tests with one of the cases defined; only the first one may compile.
#include "core/logging/CNSLog.h"

void log() {
#if defined(CASE_fits)
    Kvs::OCNSLog("%@ %d", "text", 1);
#elif defined(CASE_wrong_kind)
    Kvs::OCNSLog("%@ %d", "text", "1");
#elif defined(CASE_too_few)
    Kvs::OCNSLog("%@ %d", "text");
#elif defined(CASE_too_many)
    Kvs::OCNSLog("%@", "text", 1);
#endif
}

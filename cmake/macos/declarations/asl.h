// SPDX-License-Identifier: MIT

#pragma once
#include <os/availability.h>
#include <stdint.h>
extern "C" {
typedef struct __asl_object_s* asl_object_t;
#define ASL_OPT_STDERR 1
#define ASL_LEVEL_NOTICE 5
asl_object_t asl_open(const char* ident, const char* facility, uint32_t options)
    API_DEPRECATED("os_log", macos(10.4, 10.12));
int asl_log(asl_object_t client, asl_object_t message, int level, const char* format, ...)
    API_DEPRECATED("os_log", macos(10.4, 10.12)) __attribute__((format(printf, 4, 5)));
}

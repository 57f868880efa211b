// SPDX-License-Identifier: MIT

#pragma once

/// Clang's thread-safety annotations; for other compilers they are empty.
#if defined(__clang__)
#define KVS_ANNOTATION(x) __attribute__((x))
#else
#define KVS_ANNOTATION(x)
#endif

#define KVS_CAPABILITY(name) KVS_ANNOTATION(capability(name))
#define KVS_SCOPED_CAPABILITY KVS_ANNOTATION(scoped_lockable)
#define KVS_GUARDED_BY(lock) KVS_ANNOTATION(guarded_by(lock))
#define KVS_ACQUIRE(...) KVS_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KVS_RELEASE(...) KVS_ANNOTATION(release_capability(__VA_ARGS__))
#define KVS_REQUIRES(...) KVS_ANNOTATION(requires_capability(__VA_ARGS__))
#define KVS_EXCLUDES(...) KVS_ANNOTATION(locks_excluded(__VA_ARGS__))

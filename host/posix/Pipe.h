#pragma once

#include "core/system/FileDescriptor.h"

#include <optional>

namespace kvn::host {

/// A pipe to or from a child process. Close-on-exec, and never one of the numbers 0 to 2, which the
/// child's own are to take.
struct Pipe {
    Kvs::FileDescriptor readEnd;
    Kvs::FileDescriptor writeEnd;
};

/// Nothing, with `errno` set, when the process has no descriptors left. Any thread.
std::optional<Pipe> makePipe();

} // namespace kvn::host

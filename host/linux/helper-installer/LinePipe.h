// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "host/posix/PollUntil.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kvn::host {

/// Sends and receives lines of text over two pipes. The protocol of the agent and its installer:
///
///     installer: ready
///     agent:     bless, source, label                 (a line each)
///     installer: ok, or: error, domain, code, reason  (a line each)
///
/// The installer ends when its input ends. One thread.
class LinePipe {
public:
    static constexpr std::size_t kMaxLine = 8192; // longer than any path

    LinePipe() = default;
    LinePipe(Kvs::FileDescriptor input, Kvs::FileDescriptor output)
        : input_(std::move(input)), output_(std::move(output)) {}

    /// Returns 0 or an `errno` value; EINVAL when a line contains a line end.
    int write(std::initializer_list<std::string_view> lines) const;

    /// Returns the next line; nullopt at the end of the input, for a line that is too long, after the
    /// deadline, and once the descriptor `interruption` is readable.
    std::optional<std::string> read(Deadline deadline = {}, int interruption = -1);

private:
    Kvs::FileDescriptor input_;
    Kvs::FileDescriptor output_;
    std::string received_;
};

} // namespace kvn::host

#pragma once

#include <chrono>
#include <optional>
#include <poll.h>
#include <span>

namespace kvn::host {

/// When a wait ends; nothing for one without a limit.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

inline Deadline deadlineIn(std::chrono::milliseconds time) { return std::chrono::steady_clock::now() + time; }

/// poll(2) through signals: the number of descriptors that are ready, 0 when the deadline has passed, or
/// -1 with `errno` set. Negative numbers among the descriptors are left out, their events are 0. Any thread.
int pollUntil(std::span<pollfd> descriptors, Deadline deadline);

} // namespace kvn::host

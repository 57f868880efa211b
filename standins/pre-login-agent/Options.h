#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kvn::prelogin {

enum class Task { None, Check, RequestAccessibility, RequestRecording };

struct Options {
    std::string root; // empty: the real file system
    Task task = Task::None;
    std::optional<std::string> accessibility; // what is answered in place of the truth
    std::optional<std::string> recording;
    std::string notificationName = "com.korvane.remote.Permissions";
    bool help = false;
};

extern const char* const kUsage;

/// Throws std::invalid_argument with what is wrong.
Options parseOptions(const std::vector<std::string>& arguments);

} // namespace kvn::prelogin

#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kvn::helper {

/// What the helper does to its peer in place of one kind of messages.
enum class Fault { None, Silent, Close, ShortHeader, ShortBody, Oversize, BadJson };

/// How a command ended: 0, or another number and the reason.
struct Outcome {
    int status = 0;
    std::string details;
};

struct Options {
    std::string root;    // empty: the real file system
    std::string version; // empty: that of the information list in the executable
    std::chrono::milliseconds taskLimit{60'000};
    std::optional<int> listener;             // an inherited descriptor
    std::optional<pid_t> service;            // an inherited child
    bool refuse = false;                     // close every connection at once
    Fault handshake = Fault::None;           // in place of versions
    Fault completion = Fault::None;          // in place of completions
    std::map<std::string, Outcome> statusOf; // outcomes of commands that are not carried out
    bool help = false;
};

extern const char* const kUsage;
inline constexpr char kListenerOption[] = "--listener";
inline constexpr char kServiceOption[] = "--service";

/// Throws std::invalid_argument with what is wrong.
Options parseOptions(const std::vector<std::string>& arguments);

} // namespace kvn::helper

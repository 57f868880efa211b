#pragma once

#include <string>

namespace kvn {

/// A running process, in the texts that the process list gives.
struct LCProcessInfo {
    std::string pid;
    std::string userId;  // numeric
    std::string command; // the whole command line

    std::string description() const { return "pid: " + pid + ", uid: " + userId + ", command: " + command; }
};

} // namespace kvn

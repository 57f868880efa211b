#pragma once

#include "host/MainLoop.h"
#include "standins/service-daemon/Service.h"

#include <optional>
#include <string>

namespace kvn::daemon {

/// The commands by which a person or a test steers the service. Main thread.
class Commands {
public:
    Commands(host::MainLoop& loop, Service& service) : loop_(loop), service_(service) {}

    /// Carries one line out. The answer is one line: "ok", maybe with a text behind it, or "error" with
    /// the reason.
    std::string perform(const std::string& line);

    struct Command;

private:
    // Each returns what stands behind "ok", or nothing when its arguments are not understood.
    using Result = std::optional<std::string>;
    Result help(const std::string& rest);
    Result state(const std::string& rest);
    template <std::string ServiceState::*member>
    Result setText(const std::string& rest) {
        service_.state.*member = rest;
        return "";
    }
    Result proxy(const std::string& rest);
    Result execute(const std::string& rest);
    Result command(const std::string& rest);
    Result status(const std::string& rest);
    Result agents(const std::string& rest);
    Result refuse(const std::string& rest);
    Result drop(const std::string& rest);
    Result silent(const std::string& rest);
    Result late(const std::string& rest);
    Result garbage(const std::string& rest);
    Result flood(const std::string& rest);
    Result split(const std::string& rest);
    Result die(const std::string& rest);
    Result quit(const std::string& rest);

    static const Command kCommands[];

    host::MainLoop& loop_;
    Service& service_;
};

} // namespace kvn::daemon

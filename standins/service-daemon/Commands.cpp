#include "standins/service-daemon/Commands.h"

#include "remote/FRSCtrl.h"
#include "standins/service-daemon/Words.h"

#include <chrono>
#include <unistd.h>

namespace kvn::daemon {
namespace {

bool readSwitch(bool& flag, const std::string& text) {
    if (text != "on" && text != "off") {
        return false;
    }
    flag = text == "on";
    return true;
}

} // namespace

struct Commands::Command {
    const char* name;
    const char* arguments;
    Result (Commands::*perform)(const std::string& rest);
};

const Commands::Command Commands::kCommands[] = {
    {"help", "", &Commands::help},
    {"state", "online|offline|paused", &Commands::state},
    {"server", "NAME", &Commands::setText<&ServiceState::server>},
    {"registration", "NAME", &Commands::setText<&ServiceState::registration>},
    {"sessions", "LIST", &Commands::setText<&ServiceState::sessions>},
    {"last-error", "TEXT", &Commands::setText<&ServiceState::lastError>},
    {"proxy", "add NAME VALUE [SERVER [TIME [PRIORITY]]] | clear", &Commands::proxy},
    {"execute", "PROGRAM [ARGUMENTS]", &Commands::execute},
    {"command", "WORD", &Commands::command},
    {"status", "", &Commands::status},
    {"agents", "", &Commands::agents},
    {"refuse", "on|off", &Commands::refuse},
    {"drop", "", &Commands::drop},
    {"silent", "on|off", &Commands::silent},
    {"late", "MILLISECONDS", &Commands::late},
    {"garbage", "[COUNT]", &Commands::garbage},
    {"flood", "COUNT", &Commands::flood},
    {"split", "", &Commands::split},
    {"die", "", &Commands::die},
    {"quit", "", &Commands::quit},
};

std::string Commands::perform(const std::string& line) {
    const auto [name, rest] = firstWord(line);
    for (const Command& command : kCommands) {
        if (name != command.name) {
            continue;
        }
        const Result result = (this->*command.perform)(rest);
        if (!result) {
            return "error usage: " + name + " " + command.arguments;
        }
        return result->empty() ? "ok" : "ok " + *result;
    }
    return "error unknown command: " + name;
}

Commands::Result Commands::help(const std::string& /*rest*/) {
    std::string all;
    for (const Command& command : kCommands) {
        all += (all.empty() ? "" : "; ") + std::string(command.name);
        all += *command.arguments ? std::string(" ") + command.arguments : "";
    }
    return all;
}

Commands::Result Commands::state(const std::string& rest) {
    if (rest != "online" && rest != "offline" && rest != "paused") {
        return std::nullopt;
    }
    service_.state.word = rest;
    return "";
}

Commands::Result Commands::proxy(const std::string& rest) {
    auto arguments = words(rest);
    if (arguments == std::vector<std::string>{"clear"}) {
        service_.state.proxies.clear();
        return "";
    }
    if (arguments.size() < 3 || arguments.size() > 6 || arguments[0] != "add") {
        return std::nullopt;
    }
    arguments.resize(6);
    service_.state.proxies.push_back({arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]});
    return "";
}

Commands::Result Commands::execute(const std::string& rest) {
    const auto [program, arguments] = firstWord(rest);
    if (program.empty()) {
        return std::nullopt;
    }
    return std::to_string(
        service_.push(serviceCommandMessage(Kvs::FRSCtrl::Command_ExecuteProcess, program, arguments)));
}

Commands::Result Commands::command(const std::string& rest) {
    if (rest.empty()) {
        return std::nullopt;
    }
    return std::to_string(service_.push(serviceCommandMessage(rest, "", "")));
}

Commands::Result Commands::status(const std::string& /*rest*/) {
    return std::to_string(service_.pushStatus());
}

Commands::Result Commands::agents(const std::string& /*rest*/) {
    std::string all;
    for (const auto& [peer, agent] : service_.agents()) {
        all += (all.empty() ? "" : "; ") + peer + " session=" + agent.session + " user=" + agent.user +
               " pid=" + agent.processId;
    }
    return all;
}

Commands::Result Commands::refuse(const std::string& rest) {
    return readSwitch(service_.refusesAgents, rest) ? Result("") : std::nullopt;
}

Commands::Result Commands::drop(const std::string& /*rest*/) {
    service_.dropPeers();
    return "";
}

Commands::Result Commands::silent(const std::string& rest) {
    return readSwitch(service_.outbox.faults.silent, rest) ? Result("") : std::nullopt;
}

Commands::Result Commands::late(const std::string& rest) {
    const auto delay = wholeNumber(rest);
    if (!delay) {
        return std::nullopt;
    }
    service_.outbox.faults.late = std::chrono::milliseconds(*delay);
    return "";
}

Commands::Result Commands::garbage(const std::string& rest) {
    const auto count = rest.empty() ? Outbox::kNonsenseKinds : wholeNumber(rest);
    if (!count) {
        return std::nullopt;
    }
    service_.outbox.faults.nonsense = *count;
    return "";
}

Commands::Result Commands::flood(const std::string& rest) {
    const auto count = wholeNumber(rest);
    if (!count) {
        return std::nullopt;
    }
    int sent = 0;
    while (sent < *count && service_.pushStatus() > 0) {
        ++sent;
    }
    return std::to_string(sent);
}

Commands::Result Commands::split(const std::string& /*rest*/) {
    service_.outbox.faults.split = true;
    return "";
}

// The answer still goes out; nothing else does, and nothing is cleaned up.
Commands::Result Commands::die(const std::string& /*rest*/) {
    loop_.post([] { ::_exit(1); });
    return "";
}

Commands::Result Commands::quit(const std::string& /*rest*/) {
    loop_.quit();
    return "";
}

} // namespace kvn::daemon

// SPDX-License-Identifier: MIT

#include "standins/service-daemon/Control.h"

#include "core/text/TextFunctions.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace kvn::daemon {
namespace {

struct Target {
    host::MainLoop& loop;
    Service& service;
};

/// The text that follows "ok", or nullopt when the arguments are not understood.
using Result = std::optional<std::string>;

struct Command {
    const char* name;
    const char* arguments;
    Result (*perform)(Target target, const std::string& rest);
};

/// Returns the first word of a text, and the rest without blanks around it. Blanks between double quotes are
/// part of a word; the quotes are kept.
std::pair<std::string, std::string> firstWord(std::string_view text) {
    text = Kvs::fTrimmed(text);
    bool quoted = false;
    const auto end = std::find_if(text.begin(), text.end(), [&](char c) {
        quoted ^= c == '"';
        return !quoted && Kvs::kBlanks.find(c) != Kvs::kBlanks.npos;
    });
    const auto length = static_cast<std::size_t>(end - text.begin());
    return {std::string(text.substr(0, length)), std::string(Kvs::fTrimmed(text.substr(length)))};
}

bool readNumber(const std::string& text, int& number) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end && number >= 0;
}

template <std::string ServiceState::*member>
Result setText(Target target, const std::string& rest) {
    target.service.state.*member = rest;
    return "";
}

template <bool AnswerFaults::*member>
Result setSwitch(Target target, const std::string& rest) {
    if (rest != "on" && rest != "off") {
        return std::nullopt;
    }
    target.service.faults.*member = rest == "on";
    return "";
}

template <int AnswerFaults::*member>
Result setNumber(Target target, const std::string& rest) {
    int number = 0;
    if (!readNumber(rest, number)) {
        return std::nullopt;
    }
    target.service.faults.*member = number;
    return "";
}

Result state(Target target, const std::string& rest) {
    const bool known = rest == "online" || rest == "offline" || rest == "paused";
    return known ? setText<&ServiceState::word>(target, rest) : std::nullopt;
}

Result garbage(Target target, const std::string& rest) {
    return setNumber<&AnswerFaults::garbage>(target,
                                             rest.empty() ? std::to_string(Service::kGarbageKinds) : rest);
}

Result execute(Target target, const std::string& rest) {
    const auto [program, arguments] = firstWord(rest);
    if (program.empty()) {
        return std::nullopt;
    }
    return std::to_string(target.service.push(executeMessage(program, arguments)));
}

Result status(Target target, const std::string& /*rest*/) {
    return std::to_string(target.service.pushStatus());
}

Result flood(Target target, const std::string& rest) {
    int count = 0;
    if (!readNumber(rest, count)) {
        return std::nullopt;
    }
    int sent = 0;
    while (sent < count && target.service.pushStatus() > 0) {
        ++sent;
    }
    return std::to_string(sent);
}

Result agents(Target target, const std::string& /*rest*/) {
    std::string all;
    for (const auto& [peer, agent] : target.service.agents()) {
        all += (all.empty() ? "" : "; ") + peer + " session=" + agent.session + " user=" + agent.user +
               " pid=" + agent.processId;
    }
    return all;
}

Result drop(Target target, const std::string& /*rest*/) {
    target.service.dropPeers();
    return "";
}

// Simulates a crash: the answer is still sent, and the program cleans nothing up.
Result die(Target target, const std::string& /*rest*/) {
    target.loop.post([] { ::_exit(1); });
    return "";
}

Result quit(Target target, const std::string& /*rest*/) {
    target.loop.quit();
    return "";
}

Result help(Target target, const std::string& rest);

constexpr Command kCommands[] = {
    {"help", "", help},
    {"state", "online|offline|paused", state},
    {"server", "NAME", setText<&ServiceState::server>},
    {"registration", "NAME", setText<&ServiceState::registration>},
    {"sessions", "LIST", setText<&ServiceState::sessions>},
    {"last-error", "TEXT", setText<&ServiceState::lastError>},
    {"execute", "PROGRAM [ARGUMENTS]", execute},
    {"status", "", status},
    {"agents", "", agents},
    {"refuse", "on|off", setSwitch<&AnswerFaults::refuse>},
    {"drop", "", drop},
    {"silent", "on|off", setSwitch<&AnswerFaults::silent>},
    {"late", "MILLISECONDS", setNumber<&AnswerFaults::late>},
    {"garbage", "[COUNT]", garbage},
    {"flood", "COUNT", flood},
    {"die", "", die},
    {"quit", "", quit},
};

Result help(Target /*target*/, const std::string& /*rest*/) {
    std::string all;
    for (const Command& command : kCommands) {
        all += (all.empty() ? "" : "; ") + std::string(command.name);
        all += *command.arguments ? std::string(" ") + command.arguments : "";
    }
    return all;
}

std::string perform(Target target, std::string_view line) {
    const auto [name, rest] = firstWord(line);
    for (const Command& command : kCommands) {
        if (name != command.name) {
            continue;
        }
        const Result result = command.perform(target, rest);
        if (!result) {
            return "error usage: " + name + " " + command.arguments;
        }
        return result->empty() ? "ok" : "ok " + *result;
    }
    return "error unknown command: " + name;
}

} // namespace

Control::Control(host::MainLoop& loop, Service& service, std::string path)
    : loop_(loop), service_(service), listener_(std::move(path), 0600),
      watch_(loop_.watchReadable(listener_.descriptor(), [this] { accept(); })) {}

void Control::accept() {
    Kvs::FileDescriptor socket = listener_.accept();
    if (!socket) {
        return;
    }
    const int number = socket.get();
    auto reader = std::make_unique<host::LineReader>(
        loop_, number,
        host::LineReader::Handlers{
            [this, number](std::string_view line) {
                answer(number, perform({loop_, service_}, line));
            },
            [this, number] { answer(number, "error line too long"); },
            // Posted, because the reader that is destroyed is the caller.
            [this, number] { loop_.post([this, number] { clients_.erase(number); }); }});
    clients_[number] = {std::move(socket), std::move(reader)};
}

void Control::answer(int client, std::string text) {
    text += '\n';
    // Does not wait for a client that does not read its answers: its reader then finds the end of the input.
    if (::write(client, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        ::shutdown(client, SHUT_RDWR);
    }
}

} // namespace kvn::daemon

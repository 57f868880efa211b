#include "agent/TerminalFrontEnd.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace kvn {

namespace {

/// No command is that long; what goes on without a line end is not one.
constexpr std::size_t kLongestLine = 4096;

void print(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

std::string statusLine(const std::string& text, const OFRServiceInfo* details) {
    std::string line = "status: " + text;
    const auto add = [&](const char* name, const std::string& value) {
        if (!value.empty()) {
            line += std::string(" | ") + name + ": " + value;
        }
    };
    if (details) {
        add("server", details->server);
        add("registration", details->registration);
        add("version", details->version);
        add("last error", details->lastError);
        add("proxies", details->proxyInfos.empty() ? "" : std::to_string(details->proxyInfos.size()));
        add("session", details->subProcessRunning ? "running" : "");
    }
    return line;
}

} // namespace

void TerminalFrontEnd::start(Commands commands, host::MainLoop::Task onEnd) {
    commands_ = std::move(commands);
    onEnd_ = std::move(onEnd);
    input_ = mainLoop_.watchReadable(STDIN_FILENO, [this] { readInput(); });
    prompt();
}

void TerminalFrontEnd::showStatus(const std::string& text, const OFRServiceInfo* details) {
    std::string line = statusLine(text, details);
    if (line != lastStatusLine_) {
        print(line);
        lastStatusLine_ = std::move(line);
    }
}

void TerminalFrontEnd::prompt() const {
    if (isatty(STDIN_FILENO) && isatty(STDOUT_FILENO)) {
        std::printf("> ");
        std::fflush(stdout);
    }
}

void TerminalFrontEnd::readInput() {
    char buffer[512];
    const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (count <= 0) {
        input_.reset();
        if (isatty(STDIN_FILENO)) {
            onEnd_();
        }
        return;
    }
    unfinishedLine_.append(buffer, static_cast<std::size_t>(count));
    for (auto end = unfinishedLine_.find('\n'); end != std::string::npos; end = unfinishedLine_.find('\n')) {
        if (!std::exchange(skippingLine_, false)) {
            runCommand(std::string_view(unfinishedLine_).substr(0, end));
        }
        unfinishedLine_.erase(0, end + 1);
        prompt();
    }
    if (unfinishedLine_.size() > kLongestLine) {
        unfinishedLine_.clear();
        if (!std::exchange(skippingLine_, true)) {
            print("error: line too long");
        }
    }
}

void TerminalFrontEnd::runCommand(std::string_view line) {
    const auto begin = line.find_first_not_of(" \t\r");
    if (begin == line.npos) {
        return;
    }
    line = line.substr(begin, line.find_last_not_of(" \t\r") - begin + 1);
    if (const auto command = commands_.find(line); command != commands_.end()) {
        if (const std::string answer = command->second(); !answer.empty()) {
            print(answer);
        }
        return;
    }
    std::string known;
    for (const auto& [name, action] : commands_) {
        known += " " + name;
    }
    print("error: unknown command: " + std::string(line) + " (there are:" + known + ")");
}

} // namespace kvn

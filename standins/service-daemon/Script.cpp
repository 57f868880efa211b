#include "standins/service-daemon/Script.h"

#include "standins/service-daemon/Words.h"

#include <chrono>
#include <utility>

namespace kvn::daemon {

Script::Script(host::MainLoop& loop, std::vector<std::string> lines, Perform perform, Fail fail)
    : loop_(loop), lines_(std::move(lines)), perform_(std::move(perform)), fail_(std::move(fail)) {}

void Script::play() {
    while (next_ < lines_.size()) {
        const std::string& line = lines_[next_++];
        const auto [name, rest] = firstWord(line);
        if (name.empty() || name.front() == '#') {
            continue;
        }
        if (name == "wait-for" && !rest.empty()) {
            awaitedTag_ = rest;
            return;
        }
        if (const auto pause = wholeNumber(rest); name == "wait" && pause) {
            loop_.postAfter(std::chrono::milliseconds(*pause), [this] { play(); });
            return;
        }
        if (const std::string answer = perform_(line); answer.starts_with("error")) {
            fail_("script line " + std::to_string(next_) + ": " + answer);
            return;
        }
    }
}

void Script::messageCame(const std::string& tag) {
    if (tag == awaitedTag_) {
        awaitedTag_.clear();
        play();
    }
}

} // namespace kvn::daemon

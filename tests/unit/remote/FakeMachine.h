#pragma once

#include "core/system/FSysInfoPaths.h"
#include "host/ProcessRunner.h"
#include "host/ScriptRunner.h"
#include "host/Sleeper.h"

#include <deque>
#include <map>

namespace kvn::test {

/// A machine whose tools give the test's answers in turn and repeat the last one; without answers, an empty
/// one. Keeps a journal of programs and sleeps, with paths relative to the root.
struct FakeMachine : host::ProcessRunner, host::ScriptRunner, host::Sleeper {
    using Answer = std::variant<Outcome, host::Error>;

    std::variant<pid_t, host::Error> launch(const std::string& path, const std::vector<std::string>&,
                                            Session) override {
        return host::Error{"test", 1, "nobody launches " + path};
    }
    Answer run(const std::string& path, const std::vector<std::string>& arguments, Limits) override {
        const std::string root = Kvs::FSysInfoPaths::underRoot("");
        const auto plain = [&](const std::string& s) {
            return s.substr(s.starts_with(root) ? root.size() : 0);
        };
        journal.push_back(plain(path));
        auto& waiting = answers.try_emplace(plain(path), 1).first->second;
        for (const std::string& argument : arguments) {
            journal.back() += " " + plain(argument);
        }
        const Answer answer = waiting.front();
        if (waiting.size() > 1) {
            waiting.pop_front();
        }
        return answer;
    }
    std::variant<std::string, host::Error> run(const std::string& source) override {
        journal.push_back(source);
        return scriptResult;
    }
    void sleepFor(std::chrono::milliseconds time) override {
        journal.push_back(std::to_string(time.count()) + " ms");
    }

    std::map<std::string, std::deque<Answer>> answers; // by the tool's path
    std::variant<std::string, host::Error> scriptResult = "null()";
    std::vector<std::string> journal;
};

} // namespace kvn::test

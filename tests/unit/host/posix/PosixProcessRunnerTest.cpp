#include "host/posix/PosixProcessRunner.h"
#include "core/system/WakePipe.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/ToolScriptRunner.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace kvn::test {
namespace {

class PosixProcessRunner : public testing::Test {
protected:
    std::string makeScript(const std::string& body) {
        const std::string path = folder_.file("script");
        writeFile(path, "#!/bin/sh\nexec >" + folder_.file("out.part") + "\n" + body + "\n");
        chmod(path.c_str(), 0755);
        return path;
    }

    /// Starts the script and waits until its process is gone, zombie included.
    std::string outputOf(const std::string& body, const std::vector<std::string>& arguments = {}) {
        const auto result = runner_.launch(makeScript(body), arguments);
        const pid_t* pid = std::get_if<pid_t>(&result);
        if (!pid) {
            return std::get<host::Error>(result).description();
        }
        EXPECT_TRUE(pumpUntil(loop_, [pid] { return kill(*pid, 0) != 0 && errno == ESRCH; }));
        return readFile(folder_.file("out.part"));
    }

    using Outcome = host::ProcessRunner::Outcome;
    static constexpr host::ProcessRunner::Limits kGenerous{std::chrono::minutes(1), 100};

    static int errorOf(const std::variant<Outcome, host::Error>& result) {
        const auto* error = std::get_if<host::Error>(&result);
        return error ? error->code : 0;
    }

    static auto openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
    }

    TemporaryFolder folder_;
    host::PollMainLoop loop_;
    host::PosixProcessRunner runner_{loop_};
};

TEST_F(PosixProcessRunner, PassesArgumentsAsTheyAre) {
    EXPECT_EQ(outputOf("for a in \"$@\"; do echo \"<$a>\"; done", {"-sid:1", "\"a b\"", "", "$HOME *"}),
              "<-sid:1>\n<\"a b\">\n<>\n<$HOME *>\n");
}

TEST_F(PosixProcessRunner, GivesTheChildACleanStart) {
    signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t former;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &former);
    Kvs::WakePipe pipe;
    ASSERT_EQ(dup2(pipe.descriptor(), 9), 9); // inheritable, as a careless library would leave it

    EXPECT_EQ(outputOf("(: <&9) 2>/dev/null && echo inherited\n"
                       "cat\n"
                       "(kill -PIPE $(sh -c 'echo $PPID'); echo ignores SIGPIPE)\n"
                       "(kill -TERM $(sh -c 'echo $PPID'); echo blocks SIGTERM)\n"
                       "echo end"),
              "end\n");

    close(9);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    signal(SIGPIPE, SIG_DFL);
}

TEST_F(PosixProcessRunner, TellsWhyAProgramDoesNotStart) {
    writeFile(folder_.file("plain"), "text");
    const std::vector<std::pair<std::string, int>> cases = {
        {folder_.file("missing"), ENOENT},
        {folder_.file("plain"), EACCES},
        {folder_.path(), EACCES},
        {"", ENOENT},
    };
    for (const auto& [path, code] : cases) {
        const auto result = runner_.launch(path, {});
        const auto* error = std::get_if<host::Error>(&result);
        ASSERT_TRUE(error) << path;
        EXPECT_EQ(error->domain, "posix");
        EXPECT_EQ(error->code, code) << path;
        EXPECT_EQ(error->reason, strerror(code));
    }
}

TEST_F(PosixProcessRunner, LeavesOtherChildrenToTheirParents) {
    const pid_t other = fork();
    if (other == 0) {
        _exit(7);
    }
    EXPECT_EQ(outputOf("echo done"), "done\n");
    int status = 0;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(PosixProcessRunner, ReapsWhatManyThreadsLaunch) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int j = 0; j < 10; ++j) {
                EXPECT_TRUE(std::holds_alternative<pid_t>(runner_.launch("/bin/true", {})));
                EXPECT_TRUE(std::holds_alternative<Outcome>(runner_.run("/bin/true", {}, kGenerous)));
            }
        });
    }
    std::atomic<bool> launched = false;
    std::thread joiner([&] {
        std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
        launched = true;
    });
    // No child is left, not even a zombie: nobody else has any here.
    EXPECT_TRUE(pumpUntil(loop_, [&] { return launched && waitpid(-1, nullptr, WNOHANG) < 0; }));
    joiner.join();
}

TEST_F(PosixProcessRunner, LaunchesIntoTheSessionAskedFor) {
    for (const auto session : {host::ProcessRunner::Session::Agent, host::ProcessRunner::Session::Own}) {
        const pid_t pid = std::get<pid_t>(runner_.launch("/bin/sleep", {"600"}, session));
        EXPECT_EQ(getsid(pid), session == host::ProcessRunner::Session::Own ? pid : getsid(0));
        kill(pid, SIGKILL);
        EXPECT_TRUE(pumpUntil(loop_, [pid] { return kill(pid, 0) != 0; }));
    }
}

TEST_F(PosixProcessRunner, RunsAndCollects) {
    const auto megabytes = [](char c) { return std::string(100'000, c); };
    struct Case {
        std::string script;
        int exitStatus;
        std::string output;
        std::string errors;
    };
    const Case cases[] = {
        {"echo out; echo err >&2; exit 3", 3, "out\n", "err\n"},
        {"printf partly; kill -KILL $$", 128 + SIGKILL, "partly", ""},
        {"exec >&- 2>&-; exit 1", 1, "", ""},
        {"cat; head -c 5000000 /dev/zero | tr '\\0' x; head -c 3000000 /dev/zero | tr '\\0' y >&2", 0,
         megabytes('x'), megabytes('y')}, // cut at the limit, and the child not blocked
        {"sleep 600 & echo $! >" + folder_.file("left") + "; echo gone", 0, "gone\n", ""},
    };
    const auto before = openDescriptors();
    for (const Case& expected : cases) {
        const auto result =
            runner_.run("/bin/sh", {"-c", expected.script}, {std::chrono::minutes(1), 100'000});
        const auto* outcome = std::get_if<Outcome>(&result);
        ASSERT_TRUE(outcome) << expected.script << ": " << std::get<host::Error>(result).description();
        EXPECT_EQ(outcome->exitStatus, expected.exitStatus) << expected.script;
        EXPECT_TRUE(outcome->output == expected.output) << expected.script << outcome->output.size();
        EXPECT_TRUE(outcome->errors == expected.errors) << expected.script << outcome->errors.size();
    }
    kill(std::stoi(readFile(folder_.file("left"))), SIGKILL);

    EXPECT_EQ(errorOf(runner_.run(folder_.file("missing"), {}, kGenerous)), ENOENT);
    EXPECT_EQ(errorOf(runner_.run("/bin/sleep", {"600"}, {std::chrono::milliseconds(100), 1})), ETIMEDOUT);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_LT(waitpid(-1, nullptr, WNOHANG), 0);
}

TEST_F(PosixProcessRunner, TakesNoLostExitStatusForSuccess) {
    struct sigaction ignored {};
    struct sigaction former {};
    ignored.sa_handler = SIG_IGN; // the system then reaps children itself and forgets how they ended
    sigaction(SIGCHLD, &ignored, &former);
    EXPECT_NE(errorOf(runner_.run("/bin/sh", {"-c", "exit 7"}, kGenerous)), 0);
    const auto launched = runner_.launch("/bin/true", {});
    EXPECT_TRUE(waitUntil([&] { return kill(std::get<pid_t>(launched), 0) != 0; }));
    sigaction(SIGCHLD, &former, nullptr);
    const CapturedLog log;
    raise(SIGCHLD);
    EXPECT_TRUE(pumpUntil(loop_, [&] { return log.contains("Lost sight of process"); }));
}

TEST_F(PosixProcessRunner, RunsScriptsThroughATool) {
    const std::string tool = folder_.file("tool");
    writeFile(tool, "#!/bin/sh\n[ $# = 2 ] && [ \"$1\" = -e ] || exit 9\n"
                    "case $2 in *fail*) echo ' no such application' >&2; exit 1;; esac\n"
                    "echo \"did: $2\"\n");
    chmod(tool.c_str(), 0755);
    const auto resultOf = [](host::ToolScriptRunner scripts, const char* source) {
        const auto result = scripts.run(source);
        const auto* error = std::get_if<host::Error>(&result);
        return error ? error->description() : std::get<std::string>(result);
    };
    EXPECT_EQ(resultOf({runner_, tool}, "tell \"x\"\n  quit"), "did: tell \"x\"\n  quit");
    EXPECT_EQ(resultOf({runner_, tool}, "fail"), "no such application (script 1)");
    EXPECT_EQ(resultOf({runner_, folder_.file("none")}, ""), "No such file or directory (posix 2)");
}

TEST_F(PosixProcessRunner, EndsRunsWithTheirProcessGroups) {
    const std::string fifo = folder_.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Kvs::FileDescriptor reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    pollfd polled{reader.get(), POLLIN, 0};
    std::thread ender([&] {
        EXPECT_EQ(poll(&polled, 1, 20'000), 1); // the grandchild runs
        runner_.endRuns();
    });
    const auto result =
        runner_.run("/bin/sh", {"-c", "(echo; exec sleep 600) >" + fifo + " & wait"}, kGenerous);
    ender.join();
    EXPECT_EQ(errorOf(result), ECANCELED);
    EXPECT_TRUE(waitUntil([&] { return poll(&polled, 1, 0) == 1 && (polled.revents & POLLHUP) != 0; }));
    EXPECT_EQ(errorOf(runner_.run("/bin/true", {}, kGenerous)), ECANCELED);
}

} // namespace
} // namespace kvn::test

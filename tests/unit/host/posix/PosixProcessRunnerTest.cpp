// SPDX-License-Identifier: MIT

#include "host/posix/PosixProcessRunner.h"
#include "core/system/WakePipe.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/SpawnPlan.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

class PosixProcessRunner : public testing::Test {
protected:
    bool isGone(pid_t pid) {
        return pumpUntil(loop_, [pid] { return kill(pid, 0) != 0; });
    }
    std::string makeScript(const std::string& body) {
        const std::string path = folder_.file("script");
        writeFile(path, "#!/bin/sh\n" + body + "\n");
        chmod(path.c_str(), 0755);
        return path;
    }

    using Outcome = host::ProcessRunner::Outcome;
    static constexpr host::ProcessRunner::Limits kGenerous{1min, 100};

    template <class Result>
    static int errorOf(const Result& result) {
        const auto* error = std::get_if<host::Error>(&result);
        return error ? error->code : 0;
    }

    TemporaryFolder folder_;
    host::PollMainLoop loop_;
    host::PosixProcessRunner runner_{loop_};
};

TEST_F(PosixProcessRunner, GivesTheChildItsArgumentsAndACleanStart) {
    signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t former;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &former);
    Kvs::WakePipe pipe;
    ASSERT_EQ(dup2(pipe.descriptor(), 9), 9); // inheritable, as a library may leave it

    const auto script = makeScript("exec >" + folder_.file("output") +
                                   "\nfor a in \"$@\"; do echo \"<$a>\"; done\n"
                                   "(: <&9) 2>/dev/null && echo inherited\n"
                                   "cat\n"
                                   "echo end");
    const auto launched = runner_.launch(script, {"-sid:1", "\"a b\"", "", "$HOME *"});
    EXPECT_TRUE(isGone(std::get<pid_t>(launched)));
    EXPECT_EQ(readFile(folder_.file("output")), "<-sid:1>\n<\"a b\">\n<>\n<$HOME *>\nend\n");
    for (const int number : {SIGPIPE, SIGTERM}) { // not to a shell: some of them unblock signals themselves
        const pid_t child = std::get<pid_t>(runner_.launch("/bin/sleep", {"60"}));
        kill(child, number);
        EXPECT_TRUE(isGone(child)) << "ignores or blocks signal " << number;
    }

    close(9);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    signal(SIGPIPE, SIG_DFL);
}

TEST_F(PosixProcessRunner, ReportsWhyAProgramDoesNotStart) {
    writeFile(folder_.file("plain"), "text");
    for (const auto& [path, code] : {std::pair(folder_.file("missing"), ENOENT),
                                     {folder_.file("plain"), EACCES},
                                     {folder_.path(), EACCES}}) {
        EXPECT_EQ(errorOf(runner_.launch(path, {})), code) << path;
        EXPECT_EQ(errorOf(runner_.run(path, {}, kGenerous)), code) << path;
    }
}

TEST_F(PosixProcessRunner, ReapsWhatManyThreadsLaunch) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int j = 0; j < 10; ++j) {
                EXPECT_TRUE(std::holds_alternative<pid_t>(runner_.launch("/bin/sleep", {"0"})));
                EXPECT_TRUE(std::holds_alternative<Outcome>(runner_.run("/bin/sleep", {"0"}, kGenerous)));
            }
        });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    // No child is left, not even a zombie: this process has no others.
    EXPECT_TRUE(pumpUntil(loop_, [] { return waitpid(-1, nullptr, WNOHANG) < 0; }));
}

TEST_F(PosixProcessRunner, LaunchesIntoOwnSessionsAndLeavesOtherChildrenAlone) {
    const pid_t other = fork();
    if (other == 0) {
        _exit(7);
    }
    for (const auto output : {host::ProcessRunner::Output::Shared, host::ProcessRunner::Output::None}) {
        const pid_t pid = std::get<pid_t>(runner_.launch("/bin/sleep", {"600"}, output));
        EXPECT_EQ(getsid(pid), pid);
        kill(pid, SIGKILL);
        EXPECT_TRUE(isGone(pid)); // the zombie, too
    }
    int status = 0;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(PosixProcessRunner, LetsATerminalStopTheProcessAtAnyMoment) {
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"run", [&] { runner_.run("/bin/sleep", {"0"}, kGenerous); }},
        {"launch", [&] { runner_.launch("/bin/sleep", {"0"}); }},
        {"shared session",
         [&] {
             pid_t pid = 0;
             host::SpawnPlan(host::SpawnPlan::Session::Shared).start("/bin/sleep", {"0"}, pid);
             host::reapChild(pid);
         }},
    };
    for (const auto& [name, start] : cases) {
        auto progress = host::makePipe();
        ASSERT_TRUE(progress);
        const pid_t process = fork(); // a job of this one, as of a shell
        if (process == 0) {
            setpgid(0, 0);
            progress->readEnd.reset();
            do {
                start();
            } while (write(progress->writeEnd.get(), "", 1) == 1);
            _exit(0);
        }
        setpgid(process, process);
        progress->writeEnd.reset();
        pollfd polled{progress->readEnd.get(), POLLIN, 0};
        bool stopped = true;
        for (int i = 0; i < 100 && stopped; ++i) {
            char bytes[4096];
            ASSERT_EQ(poll(&polled, 1, 20'000), 1) << name << ": not continued after " << i << " stops";
            ASSERT_GT(read(polled.fd, bytes, sizeof bytes), 0);
            kill(-process, SIGTSTP);
            int status = 0;
            stopped = waitUntil([&] { return waitpid(process, &status, WUNTRACED | WNOHANG) == process; });
            EXPECT_TRUE(stopped && WIFSTOPPED(status)) << name << ": no stop is told after " << i;
            kill(-process, SIGCONT);
        }
        kill(process, SIGKILL);
        EXPECT_EQ(waitpid(process, nullptr, 0), process);
    }
}

TEST_F(PosixProcessRunner, RunsAndCollects) {
    const struct {
        std::string script;
        int exitStatus;
        std::string output, errors;
    } cases[] = {
        {"echo out; echo err >&2; exit 3", 3, "out\n", "err\n"},
        {"printf partly; kill -KILL $$", 128 + SIGKILL, "partly", ""},
        {"exec >&- 2>&-; exit 1", 1, "", ""},
        {"cat; head -c 5000000 /dev/zero | tr '\\0' x; head -c 3000000 /dev/zero | tr '\\0' y >&2", 0,
         std::string(100'000, 'x'), std::string(100'000, 'y')}, // cut at the limit, and the child not blocked
        {"sleep 600 & echo $! >" + folder_.file("left") + "; echo gone", 0, "gone\n", ""},
    };
    const auto before = openDescriptors();
    for (const auto& [script, exitStatus, output, errors] : cases) {
        const auto outcome = std::get<Outcome>(runner_.run("/bin/sh", {"-c", script}, {1min, 100'000}));
        EXPECT_EQ(outcome.exitStatus, exitStatus) << script;
        EXPECT_TRUE(outcome.output == output) << script << outcome.output.size();
        EXPECT_TRUE(outcome.errors == errors) << script << outcome.errors.size();
    }
    kill(std::stoi(readFile(folder_.file("left"))), SIGKILL);
    EXPECT_EQ(errorOf(runner_.run("/bin/sleep", {"600"}, {100ms, 1})), ETIMEDOUT);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_LT(waitpid(-1, nullptr, WNOHANG), 0);
}

TEST_F(PosixProcessRunner, TakesNoLostExitStatusForSuccess) {
    struct sigaction ignored {};
    struct sigaction former {};
    ignored.sa_handler = SIG_IGN; // the system then reaps children itself and forgets how they ended
    sigaction(SIGCHLD, &ignored, &former);
    EXPECT_NE(errorOf(runner_.run("/bin/sh", {"-c", "exit 7"}, kGenerous)), 0);
    sigaction(SIGCHLD, &former, nullptr);
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
    EXPECT_EQ(errorOf(runner_.run("/bin/sleep", {"0"}, kGenerous)), ECANCELED);
}

} // namespace
} // namespace kvn::test

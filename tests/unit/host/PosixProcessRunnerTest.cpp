#include "host/posix/PosixProcessRunner.h"
#include "core/system/WakePipe.h"
#include "host/posix/PollMainLoop.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
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

TEST_F(PosixProcessRunner, ReapsManyAtOnce) {
    std::vector<pid_t> pids;
    for (int i = 0; i < 20; ++i) {
        const auto result = runner_.launch("/bin/sh", {"-c", "exit 0"});
        pids.push_back(std::get<pid_t>(result));
    }
    EXPECT_TRUE(pumpUntil(loop_, [&] {
        return std::all_of(pids.begin(), pids.end(), [](pid_t pid) { return kill(pid, 0) != 0; });
    }));
}

} // namespace
} // namespace kvn::test

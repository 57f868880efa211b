#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

#include <set>

namespace kvn::test {
namespace {

using Arguments = std::vector<std::string>;
using Pids = std::set<pid_t>; // 0 stands for the asking process

TEST(LinuxRunningApplications, KnowsTheInstancesOfItsProgramAndRoot) {
    const TemporaryFolder folder;
    const std::string program = folder.file("program");
    const std::string root = folder.file("root");
    fs::create_directory(root);
    host::PollMainLoop loop;
    host::PosixProcessRunner runner(loop);
    struct Started : Pids {
        ~Started() {
            std::for_each(begin(), end(), [](pid_t process) { kill(process, SIGKILL); });
        }
    } started;
    const auto start = [&](const std::string& path, const Arguments& arguments) {
        return *started.insert(std::get<pid_t>(runner.launch(path, arguments, {}))).first;
    };
    const auto run = [&](const Arguments& arguments) {
        return std::get<host::ProcessRunner::Outcome>(
            runner.run(program, arguments, {std::chrono::seconds(20), 10'000}));
    };
    const auto instances = [&](const Arguments& arguments) {
        std::istringstream output(run(arguments).output);
        return Pids(std::istream_iterator<pid_t>(output), {});
    };
    const auto end = [&](pid_t process) { return run({"end" + std::to_string(process)}).exitStatus; };

    fs::copy_file(INSTANCE_SAMPLE, program);
    const pid_t old = start(program, {"wait"});
    fs::remove(program); // an update
    fs::copy_file(INSTANCE_SAMPLE, program);
    const pid_t current = start(program, {"wait"});
    const pid_t absolute = start(program, {"--root", root, "wait"});
    const pid_t relative = start(program, {"--root", fs::relative(root).string() + "/", "wait"});
    const pid_t elsewhere = start(program, {"--root", folder.path(), "wait"});
    const pid_t stranger = start(INSTANCE_SAMPLE, {"wait"}); // another file
    EXPECT_EQ(instances({"list"}), (Pids{0, old, current}));
    EXPECT_EQ(instances({"--root", root, "list"}), (Pids{0, absolute, relative}));

    for (const pid_t other : {absolute, elsewhere, stranger, getpid(), pid_t{0}, pid_t{-1}}) {
        EXPECT_EQ(end(other), 1) << other;
    }
    EXPECT_EQ(end(old), 0);
    EXPECT_TRUE(pumpUntil(loop, [old] { return kill(old, 0) != 0; }));
    EXPECT_EQ(instances({"list"}), (Pids{0, current}));
    EXPECT_EQ(instances({"--root", root, "list"}), (Pids{0, absolute, relative}));
}

} // namespace
} // namespace kvn::test

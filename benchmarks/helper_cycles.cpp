// SPDX-License-Identifier: MIT

// Installs, upgrades, downgrades and uninstalls the privileged helper again and again in a sandbox, as agents
// of two versions would, and fails when a process, descriptor, thread or file is left. All code is the
// product's; only the client's pauses are skipped.
// helper_cycles [COUNT]

#include "agent/ServiceCtrlClient.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "host/linux/LinuxPrivilegedJobs.h"
#include "host/linux/helper-installer/HelperProcess.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "tests/support/FakeSleeper.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <tuple>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace kvn;

constexpr char kLabel[] = "com.korvane.remote.KvnServiceController";
constexpr char kOlder[] = "0.0.1"; // older than the real one, and of the same length

void check(bool holds, const std::string& what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

/// Makes a bundle whose helper has this version.
std::string makeBundle(const fs::path& bundle, const std::string& version) {
    const std::string before = "<key>CFBundleVersion</key>\n\t<string>";
    std::string program = test::readFile(HELPER);
    const std::size_t at = program.find(before);
    check(at != program.npos && program.find("</string>", at) == at + before.size() + version.size(),
          "the helper's own version is not of the same length");
    program.replace(at + before.size(), version.size(), version);
    const fs::path file = bundle / "Contents/Library/LaunchServices" / kLabel;
    fs::create_directories(file.parent_path());
    test::writeFile(file, program);
    fs::permissions(file, fs::perms::owner_exec, fs::perm_options::add);
    return bundle;
}

/// The resources that the cycles must release.
struct Counts {
    long processes, descriptors, threads, files;
    bool operator==(const Counts&) const = default;
};

/// Counts the processes that run a program of the sandbox, and the children that were not reaped.
long processesIn(const std::string& sandbox) {
    long count = 0;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::error_code none;
        std::string stat; // empty for a process that has ended and for other entries
        std::getline(std::ifstream(entry.path() / "stat"), stat);
        const std::size_t name = stat.rfind(") ");
        const bool isChild = name != stat.npos && std::atoi(stat.c_str() + name + 4) == ::getpid();
        count += isChild || fs::read_symlink(entry.path() / "exe", none).string().starts_with(sandbox);
    }
    return count;
}

class Sandbox {
public:
    Sandbox() {
        std::signal(SIGPIPE, SIG_IGN);
        Kvs::FSysInfoPaths::setRoot(root_);
        fs::create_directories(root_ + "/var/run");
    }
    ~Sandbox() { host::endHelper(tool_); } // the helper of a cycle that failed
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    /// Runs the cycles while the caller's thread runs the main loop.
    void play(int cycles) {
        auto played = std::async(std::launch::async, [&] {
            const Quit quitsAtTheEnd{loop_};
            cycle(); // the first one makes folders and threads of libraries that remain
            const Counts before = counts();
            const auto start = std::chrono::steady_clock::now();
            for (int i = 0; i < cycles; ++i) {
                cycle();
            }
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            const Counts after = counts();
            std::printf("%d cycles of install, upgrade, downgrade and uninstall in %.1f s\n", cycles,
                        took.count());
            for (const auto& [name, was, is] : {std::tuple("processes", before.processes, after.processes),
                                                {"descriptors", before.descriptors, after.descriptors},
                                                {"threads", before.threads, after.threads},
                                                {"files", before.files, after.files}}) {
                std::printf("%-12s %ld before, %ld after\n", name, was, is);
            }
            check(before == after, "a resource is left");
            const auto slept = sleeper_.slept(); // 4 seconds only where a newer helper was uninstalled
            check(std::count(slept.begin(), slept.end(), std::chrono::seconds(4)) == cycles + 1,
                  "not every cycle had its downgrade");
        });
        loop_.run();
        played.get();
    }

private:
    struct Quit {
        ~Quit() { loop.quit(); }
        host::MainLoop& loop;
    };

    /// Ignores the helper's events.
    struct Events : PHAgentEventHandler {
        bool processAgentEvent(const PHMessage&) override { return false; }
        void processErrorEvent(const host::Error*) override {}
    };

    /// One version of the agent.
    struct Agent {
        Agent(Sandbox& sandbox, const std::string& path)
            : bundle(path, sandbox.propertyLists_),
              jobs(bundle, sandbox.runner_, sandbox.propertyLists_), environment{sandbox.loop_,
                                                                                 sandbox.sleeper_, bundle,
                                                                                 jobs} {}

        /// Does what the agent does before its first command, and ends the client.
        void verifyHelper(const std::function<void(PHAgentClient&)>& then = {}) {
            Events events;
            const auto client = std::make_shared<ServiceCtrlClient>(environment, events);
            check(!client->verifyAgentConnection(), "a helper of this version is there already");
            check(client->installAgent(), "the helper is not installed");
            if (then) {
                then(*client);
            }
            client->dropEventHandler();
        }

        host::AppBundle bundle;
        host::LinuxPrivilegedJobs jobs;
        PHAgentClient::Environment environment;
    };

    void cycle() {
        older_.verifyHelper();
        newer_.verifyHelper();
        older_.verifyHelper([](PHAgentClient& client) { client.uninstallPrivilegedAgent(); });
        check(!fs::exists(tool_), "the helper is not uninstalled");
    }

    Counts counts() {
        check(test::waitUntil([&] { return processesIn(folder_.path()) == 0; }), "a helper does not end");
        std::promise<void> connectionsAreClosed; // 250 ms after a client has sent its "bye"
        loop_.postAfter(std::chrono::milliseconds(250), [&] { connectionsAreClosed.set_value(); });
        connectionsAreClosed.get_future().wait();
        const auto entriesOf = [](const char* path) {
            return std::distance(fs::directory_iterator(path), {});
        };
        long files = 0;
        for (auto entry = fs::recursive_directory_iterator(root_); entry != fs::end(entry); ++entry) {
            if (entry->path() == root_ + "/var/log") {
                entry.disable_recursion_pending(); // each start makes a log file, which is kept for 12 hours
            }
            ++files;
        }
        return {processesIn(folder_.path()), entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"), files};
    }

    test::TemporaryFolder folder_;
    const std::string root_ = folder_.file("root");
    const std::string tool_ = root_ + "/Library/PrivilegedHelperTools/" + kLabel;
    host::PollMainLoop loop_;
    host::PosixProcessRunner runner_{loop_};
    host::PortablePropertyList propertyLists_;
    test::FakeSleeper sleeper_;
    Agent older_{*this, makeBundle(folder_.file("Older.app"), kOlder)};
    Agent newer_{*this, makeBundle(folder_.file("Newer.app"), VERSION)};
};

} // namespace

int main(int argc, char** argv) {
    const int cycles = argc == 1 ? 500 : std::atoi(argv[1]);
    if (argc > 2 || cycles < 1) {
        std::fprintf(stderr, "usage: helper_cycles [COUNT]\n");
        return 2;
    }
    Kvs::CNSInitLog(Kvs::kLogModeDebugOff, Kvs::kSysLogSuppressed, "helper_cycles", nullptr);
    try {
        Sandbox().play(cycles);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "helper_cycles: %s\n", error.what());
        return 1;
    }
}

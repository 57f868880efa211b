#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "host/posix/PollMainLoop.h"
#include "standins/service-daemon/Commands.h"
#include "standins/service-daemon/ControlSocket.h"
#include "standins/service-daemon/LineReader.h"
#include "standins/service-daemon/Print.h"
#include "standins/service-daemon/Script.h"
#include "standins/service-daemon/Service.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace kvn;

constexpr char kUsage[] = "usage: service-daemon --root DIR [--script FILE]\n";

enum ExitStatus { kEnded = 0, kFailed = 1, kMisused = 2 };

struct Options {
    std::string root;
    std::string script;
    bool help = false;
};

/// Throws std::invalid_argument with what is wrong.
Options parse(const std::vector<std::string>& arguments) {
    Options options;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == "--help") {
            options.help = true;
            return options;
        }
        const std::string& name = *argument;
        if (name != "--root" && name != "--script") {
            throw std::invalid_argument("unknown option " + name);
        }
        if (++argument == arguments.end() || argument->empty()) {
            throw std::invalid_argument(name + " needs a value");
        }
        (name == "--root" ? options.root : options.script) = *argument;
    }
    if (options.root.empty()) {
        throw std::invalid_argument("--root is missing");
    }
    return options;
}

std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    if (!file.eof()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return lines;
}

/// The folders that a whole system has.
void makeFolders() {
    for (const char* folder : {"/var/run", "/var/tmp", "/var/log"}) {
        std::filesystem::create_directories(Kvs::FSysInfoPaths::underRoot(folder));
    }
}

/// The service with everything that steers it.
class Daemon {
public:
    Daemon(host::MainLoop& loop, std::vector<std::string> script)
        : loop_(loop), control_(loop, Kvs::FSysInfoPaths::underRoot("/var/run/service-daemon.control"),
                                [this](const std::string& command) { return commands_.perform(command); }),
          service_(loop), commands_(loop, service_),
          script_(
              loop, std::move(script),
              [this](const std::string& command) { return commands_.perform(command); },
              [this](const std::string& reason) { fail(reason); }) {
        service_.onMessage([this](const std::string& tag) { script_.messageCame(tag); });
        input_.emplace(
            loop, STDIN_FILENO, [this](const std::string& line) { daemon::print(commands_.perform(line)); },
            [this] { loop_.post([this] { input_.reset(); }); });
        endings_.push_back(loop.onSignal(SIGTERM, [this] { loop_.quit(); }));
        endings_.push_back(loop.onSignal(SIGINT, [this] { loop_.quit(); }));
        loop.post([this] { script_.play(); });
    }

    ExitStatus run() {
        loop_.run();
        return status_;
    }

private:
    void fail(const std::string& reason) {
        std::fprintf(stderr, "service-daemon: %s\n", reason.c_str());
        status_ = kFailed;
        loop_.quit();
    }

    host::MainLoop& loop_;
    daemon::ControlSocket control_; // first: it finds out whether another daemon serves this root
    daemon::Service service_;
    daemon::Commands commands_;
    daemon::Script script_;
    std::optional<daemon::LineReader> input_;
    std::vector<host::MainLoop::Handle> endings_;
    ExitStatus status_ = kEnded;
};

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const Options options = parse({argv + 1, argv + argc});
        if (options.help) {
            std::fputs(kUsage, stdout);
            return kEnded;
        }
        Kvs::FSysInfoPaths::setRoot(options.root);
        makeFolders();
        auto script = options.script.empty() ? std::vector<std::string>() : linesOf(options.script);
        const std::string logs = Kvs::FSysInfoPaths::underRoot("/var/log/com.korvane.remote");
        Kvs::CNSInitLog(Kvs::kLogModeDebugOff | Kvs::kLogModeNewLogBook, Kvs::kSysLogSuppressed,
                        "service-daemon", logs.c_str());
        host::PollMainLoop loop;
        return Daemon(loop, std::move(script)).run();
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "service-daemon: %s\n%s", error.what(), kUsage);
        return kMisused;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "service-daemon: %s\n", error.what());
        return kFailed;
    }
}

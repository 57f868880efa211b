#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "host/executable/EmbeddedInfoList.h"
#include "host/plist/XmlPropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "standins/privileged-helper/Helper.h"
#include "standins/privileged-helper/Listener.h"
#include "standins/privileged-helper/Options.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <variant>
#include <vector>

namespace {

using namespace kvn;
using namespace kvn::helper;

constexpr char kProgram[] = "KvnServiceController";
constexpr char kSocket[] = "/var/run/com.korvane.remote.KvnServiceController.socket";
constexpr char kLogDirectory[] = "/var/log/com.korvane.remote";

enum ExitStatus { kEnded = 0, kFailed = 1, kMisused = 2 };

/// The version in the information list of an executable. Throws std::runtime_error with what is wrong.
std::string versionOf(const std::string& executable) {
    const auto text = host::readEmbeddedInfoList(executable);
    if (const auto* error = std::get_if<host::Error>(&text)) {
        throw std::runtime_error(executable + ": " + error->reason);
    }
    const auto list = host::XmlPropertyList().parse(std::get<std::string>(text));
    if (const auto* value = std::get_if<host::PropertyValue>(&list)) {
        const auto* entries = value->as<host::PropertyValue::Dictionary>();
        const auto entry = entries ? entries->find("CFBundleVersion") : decltype(entries->end()){};
        if (entries && entry != entries->end() && entry->second.as<std::string>()) {
            return *entry->second.as<std::string>();
        }
    }
    throw std::runtime_error(executable + ": no CFBundleVersion in its information list");
}

/// Replaces this process by the same program, as launchd starts a helper again that has ended; peers that
/// connect meanwhile wait at the listening socket. Returns when that fails.
void startAnew(const std::vector<std::string>& arguments, const Listener& listener,
               std::optional<pid_t> service) {
    std::vector<std::string> next;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == kListenerOption || *argument == kServiceOption) {
            ++argument; // of the last start
        } else {
            next.push_back(*argument);
        }
    }
    next.insert(next.end(), {kListenerOption, std::to_string(listener.descriptor())});
    if (service) {
        next.insert(next.end(), {kServiceOption, std::to_string(*service)});
    }
    std::vector<char*> argv;
    argv.reserve(next.size() + 1);
    for (std::string& argument : next) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    listener.handOn();
    ::execv(argv.front(), argv.data());
}

ExitStatus run(const Options& options, const std::vector<std::string>& arguments) {
    const std::string version = options.version.empty() ? versionOf(arguments.front()) : options.version;
    Kvs::FSysInfoPaths::setRoot(options.root);
    for (const char* folder : {"/var/run", "/var/log"}) {
        std::filesystem::create_directories(Kvs::FSysInfoPaths::underRoot(folder));
    }
    const std::string logs = Kvs::FSysInfoPaths::underRoot(kLogDirectory);
    Kvs::CNSInitLog(Kvs::kLogModeDebugOff | Kvs::kLogModeNewLogBook, Kvs::kSysLogSuppressed, kProgram,
                    logs.c_str());
    host::PollMainLoop loop;
    Listener listener(Kvs::FSysInfoPaths::underRoot(kSocket), options.root.empty() ? 0600 : 0666,
                      options.listener);
    const auto onTerminate = loop.onSignal(SIGTERM, [&] { loop.quit(); });
    const auto onInterrupt = loop.onSignal(SIGINT, [&] { loop.quit(); });
    Helper helper(loop, options, version, listener);
    loop.run();
    if (helper.startsAnew()) {
        startAnew(arguments, listener, helper.service());
        Kvs::CNSLog("Could not start anew: %d", errno);
    }
    listener.remove();
    return kEnded;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> arguments(argv, argv + argc);
    try {
        const Options options = parseOptions({argv + 1, argv + argc});
        if (options.help) {
            std::fputs(kUsage, stdout);
            return kEnded;
        }
        arguments.front() = std::filesystem::absolute(arguments.front());
        return run(options, arguments);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "%s: %s\n%s", kProgram, error.what(), kUsage);
        return kMisused;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", kProgram, error.what());
        return kFailed;
    }
}

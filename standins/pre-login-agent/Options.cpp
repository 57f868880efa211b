#include "standins/pre-login-agent/Options.h"

#include <cstdlib>
#include <map>
#include <stdexcept>

namespace kvn::prelogin {

const char* const kUsage =
    "usage: KvnPreLoginAgent [OPTION]... --check | -requestAccessibilityPermission |\n"
    "                        -requestRecordingPermission\n"
    "\n"
    "Posts which permissions it has as a notification; a request for one asks the user first.\n"
    "\n"
    "  --root DIR                a folder that stands for / in every fixed path (default: $KVN_REMOTE_ROOT)\n"
    "  --accessibility N         the state to tell in place of the true one: 0 not granted, 1 granted,\n"
    "  --recording N             4 no information, or whatever else\n"
    "  --notification-name NAME  (default: com.korvane.remote.Permissions)\n";

Options parseOptions(const std::vector<std::string>& arguments) {
    static const std::map<std::string, Task> tasks = {
        {"--check", Task::Check},
        {"-requestAccessibilityPermission", Task::RequestAccessibility},
        {"-requestRecordingPermission", Task::RequestRecording},
    };
    Options options;
    if (const char* root = std::getenv("KVN_REMOTE_ROOT")) {
        options.root = root;
    }
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        const std::string& name = *argument;
        if (name == "--help") {
            options.help = true;
            return options;
        }
        if (const auto task = tasks.find(name); task != tasks.end()) {
            if (options.task != Task::None) {
                throw std::invalid_argument("more than one task");
            }
            options.task = task->second;
            continue;
        }
        if (name != "--root" && name != "--accessibility" && name != "--recording" &&
            name != "--notification-name") {
            throw std::invalid_argument("unknown option " + name);
        }
        if (++argument == arguments.end() || argument->empty()) {
            throw std::invalid_argument(name + " needs a value");
        }
        if (name == "--root") {
            options.root = *argument;
        } else if (name == "--accessibility") {
            options.accessibility = *argument;
        } else if (name == "--recording") {
            options.recording = *argument;
        } else {
            options.notificationName = *argument;
        }
    }
    if (options.task == Task::None) {
        throw std::invalid_argument("nothing to do");
    }
    return options;
}

} // namespace kvn::prelogin

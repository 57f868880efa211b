#include "core/system/FSysInfoPaths.h"
#include "host/linux/SandboxPrivacy.h"
#include "host/linux/SessionBusNotifications.h"
#include "host/plist/XmlPropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "standins/pre-login-agent/Options.h"

#include <cstdio>
#include <stdexcept>
#include <string>

// Stands in for the agent of the login window: tells once which permissions it has, and ends.

namespace {

using namespace kvn;
using prelogin::Task;

constexpr const char* kProgram = "KvnPreLoginAgent";
constexpr const char* kObject = "com.korvane.remote.KvnPreLoginAgent";

enum ExitStatus { kDone = 0, kFailed = 1, kMisused = 2 };

std::string number(bool value) { return value ? "1" : "0"; }

bool tell(const prelogin::Options& options) {
    const host::XmlPropertyList propertyLists;
    host::SandboxPrivacy privacy(kProgram, propertyLists);
    if (options.task == Task::RequestAccessibility) {
        privacy.isAccessibilityTrusted(true);
    } else if (options.task == Task::RequestRecording) {
        privacy.requestScreenCapture();
    }
    const auto grants = privacy.grants();
    host::PollMainLoop loop;
    host::SessionBusNotifications notifications(loop);
    return notifications.post(
        {options.notificationName,
         kObject,
         {{"accessibility", options.accessibility.value_or(number(grants.accessibility))},
          {"recording", options.recording.value_or(number(grants.screenRecording))}}});
}

} // namespace

int main(int argc, char** argv) {
    try {
        const auto options = prelogin::parseOptions({argv + 1, argv + argc});
        if (options.help) {
            std::fputs(prelogin::kUsage, stdout);
            return kDone;
        }
        Kvs::FSysInfoPaths::setRoot(options.root);
        if (tell(options)) {
            return kDone;
        }
        std::fprintf(stderr, "%s: the permissions cannot be told, nobody carries notifications\n", kProgram);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "%s: %s\n%s", kProgram, error.what(), prelogin::kUsage);
        return kMisused;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", kProgram, error.what());
    }
    return kFailed;
}

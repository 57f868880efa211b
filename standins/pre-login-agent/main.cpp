// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "core/system/ProgramOptions.h"
#include "host/DistributedNotifications.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/SandboxPrivacy.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>

// A stand-in for the agent of the login window: posts once which permissions it has, and ends.

namespace {

using namespace kvn;
using namespace std::chrono_literals;

constexpr char kProgram[] = "KvnPreLoginAgent";
constexpr char kObject[] = "com.korvane.remote.KvnPreLoginAgent";
constexpr char kCheck[] = "--check";
constexpr char kRequestAccessibility[] = "-requestAccessibilityPermission";
constexpr char kRequestRecording[] = "-requestRecordingPermission";
constexpr char kUsage[] =
    "usage: KvnPreLoginAgent [OPTION]... --check | -requestAccessibilityPermission |\n"
    "                        -requestRecordingPermission\n"
    "\n"
    "Posts which permissions it has as a notification; a request for one asks the user first.\n"
    "\n"
    "  --root DIR                a folder used in place of / in every fixed path (default: "
    "$KVN_REMOTE_ROOT)\n"
    "  --notification-name NAME  (default: com.korvane.remote.Permissions)\n";

std::string number(bool value) { return value ? "1" : "0"; }

/// Posts as soon as this program is connected to the session's notifications; returns false if that takes too
/// long.
bool post(const host::Notification& notification) {
    host::PollMainLoop loop;
    const auto notifications = host::makeDistributedNotifications(loop);
    bool posted = notifications->post(notification);
    if (!posted) {
        const auto attempts = loop.startTimer(5ms, [&] {
            posted = notifications->post(notification);
            if (posted) {
                loop.quit();
            }
        });
        loop.postAfter(3s, [&loop] { loop.quit(); });
        loop.run();
    }
    return posted;
}

int run(const Kvs::ProgramOptions& options) {
    if (options.has(kCheck) + options.has(kRequestAccessibility) + options.has(kRequestRecording) != 1) {
        throw std::invalid_argument("one of --check and the requests must be given");
    }
    const char* root = std::getenv("KVN_REMOTE_ROOT");
    Kvs::FSysInfoPaths::setRoot(options.value("--root").value_or(root ? root : ""));
    const host::PortablePropertyList propertyLists;
    host::SandboxPrivacy privacy(kProgram, propertyLists);
    if (options.has(kRequestAccessibility)) {
        privacy.isAccessibilityTrusted(true);
    } else if (options.has(kRequestRecording)) {
        privacy.requestScreenCapture();
    }
    const auto grants = privacy.grants();
    if (!post({options.value("--notification-name").value_or("com.korvane.remote.Permissions"),
               kObject,
               {{"accessibility", number(grants.accessibility)},
                {"recording", number(grants.screenRecording)}}})) {
        throw std::runtime_error("the notification cannot be posted: there is no session bus");
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    return Kvs::fRunProgram(kProgram, kUsage, argc, argv,
                            {{kCheck},
                             {kRequestAccessibility},
                             {kRequestRecording},
                             {"--root", true},
                             {"--notification-name", true}},
                            run);
}

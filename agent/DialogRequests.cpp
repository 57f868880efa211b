// SPDX-License-Identifier: MIT

#include "agent/DialogRequests.h"

#include <algorithm>
#include <iterator>
#include <unistd.h>
#include <utility>

namespace kvn {

namespace {

using namespace std::chrono_literals;

struct Request {
    RequestedDialog dialog;
    const char* word; // on the command line
    const char* name; // of the notification
    const char* object;
};
constexpr Request kRequests[] = {
    {RequestedDialog::Settings, "settings", "com.korvane.remote.ShowGUIAgentSettings",
     "com.korvane.remote.GUIAgentSettings"},
    {RequestedDialog::Status, "status", "com.korvane.remote.ShowGUIAgentStatus",
     "com.korvane.remote.GUIAgentStatus"},
};

// A request with this entry is answered, by a notification from the object that the entry names.
constexpr char kAnswerFrom[] = "AnswerFrom";
constexpr char kAnswer[] = "com.korvane.remote.GUIAgentDialogShown";

/// How often a request is sent while the session's notifications are being connected.
constexpr auto kConnectInterval = 10ms;

} // namespace

std::optional<RequestedDialog> dialogNamed(const std::string& name) {
    const auto* found = std::find_if(std::begin(kRequests), std::end(kRequests),
                                     [&](const Request& r) { return r.word == name; });
    return found == std::end(kRequests) ? std::nullopt : std::optional(found->dialog);
}

DialogRequests::DialogRequests(host::DistributedNotifications& notifications, Open open) {
    for (const Request& request : kRequests) {
        observers_.push_back(notifications.observe(
            request.name, request.object,
            [&notifications, open, dialog = request.dialog](const host::Notification& asked) {
                const bool shown = open(dialog);
                const auto answerFrom = asked.userInfo.find(kAnswerFrom);
                if (shown && answerFrom != asked.userInfo.end()) {
                    notifications.post({kAnswer, answerFrom->second, {}});
                }
            }));
    }
}

bool requestDialog(RequestedDialog dialog, host::MainLoop& mainLoop,
                   host::DistributedNotifications& notifications) {
    const Request& request = *std::find_if(std::begin(kRequests), std::end(kRequests),
                                           [&](const Request& r) { return r.dialog == dialog; });
    const std::string own = "com.korvane.remote.KvnGUIAgent." + std::to_string(getpid());
    bool shown = false;
    const auto answers = notifications.observe(kAnswer, own, [&](const host::Notification&) {
        shown = true;
        mainLoop.quit();
    });
    host::MainLoop::Handle attempts = mainLoop.startTimer(kConnectInterval, [&] {
        if (notifications.post({request.name, request.object, {{kAnswerFrom, own}}})) {
            attempts.reset();
        }
    });
    const auto timeLimit = mainLoop.startTimer(kRequestTimeLimit, [&] { mainLoop.quit(); });
    mainLoop.run();
    return shown;
}

} // namespace kvn

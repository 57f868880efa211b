// SPDX-License-Identifier: MIT

#include "host/desktop/DisplayProbe.h"

#include "core/system/FileDescriptor.h"
#include "host/posix/PollUntil.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QPluginLoader>
#include <QStringList>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace kvn::host {
namespace {

constexpr std::chrono::seconds kAnswerLimit(5);

/// A connection to the X server in a process of its own, because the library waits for the server without a
/// limit.
class X11Client {
public:
    X11Client() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            return;
        }
        child_ = fork();
        if (child_ == 0) {
            close(ends[0]);
            connectAndWait(ends[1]);
        }
        close(ends[1]);
        end_ = Kvs::FileDescriptor(ends[0]);
    }
    ~X11Client() {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
    }
    X11Client(const X11Client&) = delete;
    X11Client& operator=(const X11Client&) = delete;

    bool isConnected() const {
        pollfd polled{end_.get(), POLLIN, 0};
        char byte = 0;
        return pollUntil({&polled, 1}, deadlineIn(kAnswerLimit)) == 1 &&
               recv(end_.get(), &byte, 1, MSG_DONTWAIT) == 1;
    }

private:
    [[noreturn]] static void connectAndWait(int end) {
        std::signal(SIGALRM, SIG_DFL);
        alarm(2 * kAnswerLimit.count()); // in case that nobody is left to kill this process
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO); // the library has its own words
        const char byte = 0;
        if (xcb_connection_has_error(xcb_connect(nullptr, nullptr)) == 0 && write(end, &byte, 1) == 1) {
            alarm(0);
            pollfd other{end, POLLIN, 0};
            pollUntil({&other, 1}, std::nullopt); // it is closed at last
        }
        _exit(0);
    }

    pid_t child_ = -1;
    Kvs::FileDescriptor end_;
};

/// Asks the compositor for the answer that it owes to every client.
bool waylandAnswers() {
    const QByteArray name = qgetenv("WAYLAND_DISPLAY");
    const QByteArray path = name.startsWith('/') ? name : qgetenv("XDG_RUNTIME_DIR") + '/' + name;
    sockaddr_un address{AF_UNIX, {}};
    if (path.size() >= static_cast<qsizetype>(sizeof address.sun_path)) {
        return false;
    }
    std::string_view(path.constData()).copy(address.sun_path, sizeof address.sun_path - 1);
    const Kvs::FileDescriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The display is object 1, whose request 0 ("sync") makes the server answer with an event of object 2.
    const std::uint32_t sync[3] = {1, sizeof sync << 16U, 2};
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        send(connection.get(), sync, sizeof sync, MSG_NOSIGNAL) != sizeof sync) {
        return false;
    }
    pollfd polled{connection.get(), POLLIN, 0};
    char answer = 0;
    return pollUntil({&polled, 1}, deadlineIn(kAnswerLimit)) == 1 &&
           recv(connection.get(), &answer, 1, 0) == 1;
}

/// Returns true if the toolkit has the plug-in, with all libraries that it needs.
bool canBeLoaded(const QString& platform) {
    for (const QString& folder : QCoreApplication::libraryPaths()) {
        const QDir plugins(folder + QStringLiteral("/platforms"));
        for (const QString& file : plugins.entryList(QDir::Files)) {
            QPluginLoader loader(plugins.filePath(file));
            const auto keys = loader.metaData()[QStringLiteral("MetaData")][QStringLiteral("Keys")].toArray();
            if (keys.contains(platform)) {
                return loader.load();
            }
        }
    }
    return false;
}

/// Returns the platforms to try: those that the user names, or else X11 and Wayland in the toolkit's order.
QStringList candidates() {
    const QString chosen = qEnvironmentVariable("QT_QPA_PLATFORM");
    if (!chosen.isEmpty()) {
        return chosen.split(u';', Qt::SkipEmptyParts);
    }
    QStringList platforms;
    if (qEnvironmentVariableIsSet("DISPLAY")) {
        platforms << QStringLiteral("xcb");
    }
    if (qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) {
        const bool first = qgetenv("XDG_SESSION_TYPE") == "wayland" &&
                           !qgetenv("XDG_CURRENT_DESKTOP").toLower().contains("gnome");
        platforms.insert(first ? 0 : platforms.size(), QStringLiteral("wayland"));
    }
    return platforms;
}

} // namespace

std::variant<Display, DisplayProblem> findDisplay() {
    std::string problem;
    const auto add = [&problem](const std::string& text) { problem += (problem.empty() ? "" : "; ") + text; };
    for (const QString& candidate : candidates()) {
        const QString name = candidate.section(u':', 0, 0); // options follow
        const bool x11 = name == QStringLiteral("xcb");
        const bool wayland = name.startsWith(QStringLiteral("wayland"));
        const auto client = x11 ? std::make_shared<const X11Client>() : nullptr;
        if ((x11 && !client->isConnected()) || (wayland && !waylandAnswers())) {
            const char* const variable = x11 ? "DISPLAY" : "WAYLAND_DISPLAY";
            add("no display takes connections at " + std::string(variable) + "=" +
                qgetenv(variable).toStdString());
        } else if (!canBeLoaded(name)) {
            add("Qt's plug-in \"" + name.toStdString() + "\" is missing" +
                (wayland ? " (package qt6-wayland)"
                 : x11   ? " (package libqt6gui6)"
                         : ""));
        } else {
            return Display{candidate.toStdString(), client};
        }
    }
    return DisplayProblem{problem.empty() ? "neither DISPLAY nor WAYLAND_DISPLAY is set" : problem};
}

} // namespace kvn::host

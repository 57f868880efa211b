// SPDX-License-Identifier: MIT

#include "host/Host.h"
#include "host/desktop/AccessibilityWatch.h"
#include "host/desktop/DesktopNotifications.h"
#include "host/desktop/DesktopStatusBar.h"
#include "host/desktop/DisplayProbe.h"
#include "host/desktop/PortalShortcuts.h"
#include "host/desktop/QtDialogWindow.h"
#include "host/desktop/QtMainLoop.h"
#include "host/desktop/StatusPictures.h"
#include "host/desktop/X11HotKeys.h"
#include "host/linux/BusConnection.h"
#include "host/linux/DesktopModule.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <utility>
#include <variant>

namespace kvn::host {
namespace {

std::unique_ptr<HotKeys> makeHotKeys(Host& host, std::shared_ptr<BusConnection> sessionBus) {
    if (std::getenv("WAYLAND_DISPLAY")) { // X11 sees the keys of its own windows only
        return std::make_unique<PortalShortcuts>(std::move(sessionBus),
                                                 host.bundle->localizedString("HotKeyPurpose"));
    }
    return std::make_unique<X11HotKeys>(*host.mainLoop);
}

/// Gives the windows the program's picture, and tells the desktop which launcher they belong to.
void identifyWindows(const Bundle& bundle) {
    QIcon icon;
    for (const QImage& picture :
         statusPictures({StatusImage::Meaning::Connected, "ConnectedStatusIcon"}, bundle)) {
        icon.addPixmap(QPixmap::fromImage(picture));
    }
    QGuiApplication::setWindowIcon(icon);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.korvane.remote.KvnGUIAgent"));
}

/// Shows the agent in the desktop's panel and in windows.
class DesktopUserInterface final : public UserInterface {
public:
    DesktopUserInterface(Host& host, std::shared_ptr<BusConnection> sessionBus)
        : host_(host), statusBar_(*host.mainLoop, *host.bundle, sessionBus),
          dialogWindow_(*host.mainLoop, *host.bundle), permissionWindow_(*host.mainLoop, *host.bundle),
          accessibility_(sessionBus, showToScreenReaders), hotKeys_(makeHotKeys(host, sessionBus)),
          notifications_(std::move(sessionBus)) {
        identifyWindows(*host.bundle);
        statusBar_.describe(host.bundle->localizedString("StatusPending"));
    }

    StatusBar& statusBar() override { return statusBar_; }
    DialogWindow& dialogWindow() override { return dialogWindow_; }
    DialogWindow& permissionWindow() override { return permissionWindow_; }
    Workspace& workspace() override { return *host_.workspace; }
    HotKeys& hotKeys() override { return *hotKeys_; }

    void start(Commands, MainLoop::Task terminate) override {
        auto& loop = static_cast<QtMainLoop&>(*host_.mainLoop); // the one of `makeMainLoop`
        loop.onSessionEnd(std::move(terminate));
        loop.onDisplayLost([this] { host_.endApplication(); });
    }

    void notify(const std::string& title, const std::string& text) override {
        notifications_.show(title, text);
    }

    /// The panel's picture needs words for users who do not see it.
    void showState(const std::string& text, const StateDetails&) override { statusBar_.describe(text); }

private:
    Host& host_;
    DesktopStatusBar statusBar_;
    QtDialogWindow dialogWindow_;
    QtDialogWindow permissionWindow_;
    const AccessibilityWatch accessibility_;
    const std::unique_ptr<HotKeys> hotKeys_;
    DesktopNotifications notifications_;
};

class Module final : public DesktopModule {
public:
    std::string displayProblem() override {
        auto found = findDisplay();
        if (const auto* problem = std::get_if<DisplayProblem>(&found)) {
            return problem->text;
        }
        display_ = std::get<Display>(std::move(found));
        return "";
    }
    std::unique_ptr<MainLoop> makeMainLoop() override {
        if (const auto problem = display_ ? "" : displayProblem(); !problem.empty()) {
            throw std::runtime_error("the desktop front end cannot be used: " + problem);
        }
        auto loop = std::make_unique<QtMainLoop>(display_->platform);
        display_.reset();
        return loop;
    }
    std::unique_ptr<UserInterface> makeUserInterface(Host& host,
                                                     std::shared_ptr<BusConnection> sessionBus) override {
        return std::make_unique<DesktopUserInterface>(host, std::move(sessionBus));
    }

private:
    std::optional<Display> display_; // which has answered
};

} // namespace
} // namespace kvn::host

extern "C" [[gnu::visibility("default")]] kvn::host::DesktopModule* kvnDesktopModule() {
    static kvn::host::Module module;
    return &module;
}

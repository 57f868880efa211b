// SPDX-License-Identifier: MIT

#pragma once

#include "host/DistributedNotifications.h"
#include "host/PrivacyPermissions.h"
#include "host/RunningApplications.h"
#include "host/UserInterface.h"
#include "tests/support/Test.h"

#include <set>

// The interfaces of a desktop: each keeps what it was asked, and answers as the test says.

namespace kvn::test {

class FakeStatusBar : public host::StatusBar {
public:
    void showItem(const host::Menu& shown) override { menu = &shown; }
    void removeItem() override { menu = nullptr; }
    void updateItem(const host::StatusImage& shown) override { image = shown; }

    const host::Menu* menu = nullptr; // while there is an item
    host::StatusImage image;
};

class FakeWindow : public host::DialogWindow {
public:
    void show(const std::string& shownTitle, host::DialogLines shownLines,
              const host::DialogPlace& shownPlace) override {
        visible = true;
        ++shows;
        title = shownTitle;
        place = shownPlace;
        update(std::move(shownLines));
    }
    void update(host::DialogLines shownLines) override {
        std::set<std::string> ids;
        for (const host::DialogLine& line : shownLines) {
            EXPECT_TRUE(ids.insert(line.id).second) << "two lines are " << line.id;
        }
        if (visible) {
            lines = std::move(shownLines);
        }
    }
    bool isVisible() const override { return visible; }
    void close() override {
        if (std::exchange(visible, false) && onClose_) {
            onClose_();
        }
    }
    void onClose(std::function<void()> handler) override { onClose_ = std::move(handler); }

    /// The controls of one kind.
    template <class Control>
    std::vector<Control> all() const {
        std::vector<Control> found;
        for (const host::DialogLine& line : lines) {
            if (const auto* match = std::get_if<Control>(&line.control)) {
                found.push_back(*match);
            }
        }
        return found;
    }

    bool visible = false;
    int shows = 0;
    std::string title;
    host::DialogLines lines;
    host::DialogPlace place;

private:
    std::function<void()> onClose_;
};

class FakeWorkspace : public host::Workspace {
public:
    host::MainLoop::Handle observe(std::function<void(Event)> handler) override {
        handler_ = std::move(handler);
        return nullptr;
    }
    void openUrl(const std::string& url, Completion completion) override { open(url, completion); }
    void openFolder(const std::string& path, Completion completion) override { open(path, completion); }
    void launchApplication(const std::string& executable, const std::vector<std::string>& arguments,
                           Completion completion) override {
        open(executable + " " + arguments.at(0), completion);
    }
    void announce(Event event) { handler_(event); }

    std::vector<std::string> opened;

private:
    void open(const std::string& what, const Completion& completion) {
        opened.push_back(what);
        completion(std::nullopt);
    }

    std::function<void(Event)> handler_;
};

class FakeHotKeys : public host::HotKeys {
public:
    std::int32_t installHandler(Handler installed) override { return handler = std::move(installed), 0; }
    std::int32_t registerHotKey(const Key& asked, Reference& reference) override {
        key = asked;
        reference = result == 0 ? 7 : 0;
        return result;
    }
    void unregisterHotKey(Reference) override {}

    std::int32_t result = 0;
    Handler handler;
    Key key{};
};

/// A front end that keeps what it is told.
class FakeUserInterface : public host::UserInterface {
public:
    FakeStatusBar& statusBar() override { return bar; }
    FakeWindow& dialogWindow() override { return dialog; }
    FakeWindow& permissionWindow() override { return permissions; }
    FakeWorkspace& workspace() override { return machine; }
    FakeHotKeys& hotKeys() override { return keys; }
    void start(host::Commands, host::MainLoop::Task) override {}
    void showState(const std::string& text, const host::StateDetails&) override { states.push_back(text); }
    void message(const std::string& text) override { messages.push_back(text); }
    void notify(const std::string& title, const std::string& text) override {
        notices.push_back(title + ": " + text);
    }

    FakeStatusBar bar;
    FakeWindow dialog;
    FakeWindow permissions;
    FakeWorkspace machine;
    FakeHotKeys keys;
    std::vector<std::string> states;
    std::vector<std::string> messages;
    std::vector<std::string> notices;
};

class FakeNotifications : public host::DistributedNotifications {
public:
    host::MainLoop::Handle observe(const std::string& name, const std::optional<std::string>&,
                                   std::function<void(const host::Notification&)> handler) override {
        observers.push_back({name, std::move(handler)});
        return nullptr;
    }
    bool post(const host::Notification& notification) override {
        return posted.push_back(notification), true;
    }

    struct Observer {
        std::string name;
        std::function<void(const host::Notification&)> handler;
    };
    std::vector<Observer> observers;
    std::vector<host::Notification> posted;
};

class FakeRunningApplications : public host::RunningApplications {
public:
    std::vector<pid_t> instancesOf(const std::string&) const override { return processes; }
    bool forceTerminate(pid_t process) override { return terminated.push_back(process), true; }

    std::vector<pid_t> processes;
    std::vector<pid_t> terminated;
};

class FakePrivacy : public host::PrivacyPermissions {
public:
    bool isGuarded() const override { return guarded; }
    std::optional<std::vector<host::ScreenWindow>> onScreenWindows() const override { return windows; }
    bool requestScreenCapture() override { return ++captureRequests, capture; }
    bool isAccessibilityTrusted(bool prompt) override { return prompts += prompt, trusted; }

    bool guarded = true;
    std::optional<std::vector<host::ScreenWindow>> windows;
    bool capture = false;
    int captureRequests = 0;
    bool trusted = false;
    int prompts = 0;
};

} // namespace kvn::test

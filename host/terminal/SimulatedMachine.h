// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"
#include "host/UserInterface.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kvn::host {

// In a sandbox, commands simulate the events of the machine and of the keyboard. Main thread.

/// Passes everything on to the machine's workspace, and announces simulated events as well.
class SimulatedWorkspace final : public Workspace {
public:
    /// `machine` outlives this object.
    explicit SimulatedWorkspace(Workspace& machine) : machine_(machine) {}

    MainLoop::Handle observe(std::function<void(Event)> handler) override {
        auto observer = std::make_shared<Observer>();
        observer->machine = machine_.observe(handler);
        observer->handler = std::move(handler);
        observer_ = observer;
        return keepAlive(std::move(observer));
    }
    void openUrl(const std::string& url, Completion completion) override {
        machine_.openUrl(url, std::move(completion));
    }
    void openFolder(const std::string& path, Completion completion) override {
        machine_.openFolder(path, std::move(completion));
    }
    void launchApplication(const std::string& executable, const std::vector<std::string>& arguments,
                           Completion completion) override {
        machine_.launchApplication(executable, arguments, std::move(completion));
    }

    /// Returns false when there is no observer.
    bool announce(Event event) {
        const auto observer = observer_.lock(); // kept during the call, which may end the registration
        if (observer) {
            observer->handler(event);
        }
        return observer != nullptr;
    }

private:
    struct Observer {
        std::function<void(Event)> handler;
        MainLoop::Handle machine;
    };

    Workspace& machine_;
    std::weak_ptr<Observer> observer_;
};

/// A keyboard with the agent's one hot key.
class SimulatedHotKeys final : public HotKeys {
public:
    std::int32_t installHandler(Handler handler) override {
        handler_ = std::move(handler);
        return 0;
    }
    std::int32_t registerHotKey(const Key&, Reference& reference) override {
        registered_ = true;
        reference = 1;
        return 0;
    }
    void unregisterHotKey(Reference) override { registered_ = false; }

    /// Presses and releases the key. Returns false when the agent did not take both.
    bool press() {
        if (!handler_ || !registered_) {
            return false;
        }
        const bool taken = handler_(kPressed) == 0;
        return handler_(kReleased) == 0 && taken;
    }

private:
    Handler handler_;
    bool registered_ = false;
};

/// The events that commands can simulate.
struct SimulatedMachine {
    explicit SimulatedMachine(Workspace& machine) : workspace(machine) {}

    /// Returns the commands; this object must outlive them.
    Commands commands() {
        const auto announce = [this](Workspace::Event event) {
            return workspace.announce(event) ? "ok" : "error: no one listens";
        };
        return {
            {"hotkey",
             {"presses the hot key, which shows the status item",
              [this](auto&) { return hotKeys.press() ? "ok" : "error: no hot key is registered"; }}},
            {"sleep",
             {"acts as if the system went to sleep",
              [announce](auto&) { return announce(Workspace::Event::WillSleep); }}},
            {"wake",
             {"acts as if the system woke up",
              [announce](auto&) { return announce(Workspace::Event::DidWake); }}},
        };
    }

    SimulatedWorkspace workspace;
    SimulatedHotKeys hotKeys;
};

} // namespace kvn::host

#pragma once

#include "host/Workspace.h"
#include "host/posix/KeepAlive.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kvn::host {

/// The session of an agent in a terminal: the machine's, and commands that announce sleep and wake as the
/// machine would. Main thread.
class TerminalWorkspace final : public Workspace {
public:
    /// The machine's outlives it.
    explicit TerminalWorkspace(Workspace& machine) : machine_(machine) {}

    MainLoop::Handle observe(std::function<void(Event)> handler) override {
        auto observer = std::make_shared<Observer>();
        observer->machine = machine_.observe(handler);
        observer->handler = std::move(handler);
        observer_ = observer;
        return keepAlive(std::move(observer));
    }
    std::optional<Error> openUrl(const std::string& url) override { return machine_.openUrl(url); }
    std::optional<Error> openFolder(const std::string& path) override { return machine_.openFolder(path); }
    std::optional<Error> launchApplication(const std::string& executable,
                                           const std::vector<std::string>& arguments) override {
        return machine_.launchApplication(executable, arguments);
    }

    /// False when nobody observes.
    bool announce(Event event) {
        const auto observer = observer_.lock(); // stays while it is told, whatever it ends
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

} // namespace kvn::host

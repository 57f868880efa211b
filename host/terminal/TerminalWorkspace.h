#pragma once

#include "host/Workspace.h"
#include "host/posix/KeepAlive.h"

#include <memory>
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

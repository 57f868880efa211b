// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace kvn::host {

/// The main thread's loop: all work that touches application state runs in it, one task at a time.
/// Tasks that have not run when the loop is destroyed are dropped.
class MainLoop {
public:
    using Task = std::function<void()>;

    /// Something registered with the loop. Destroying it ends the registration: its task does not run again.
    /// Main thread.
    class Registration {
    public:
        virtual ~Registration() = default;
    };
    using Handle = std::unique_ptr<Registration>;

    virtual ~MainLoop() = default;

    /// Runs the task soon, in the order of the calls. Any thread.
    virtual void post(Task task) = 0;

    /// Runs the task once after the delay. Any thread.
    virtual void postAfter(std::chrono::milliseconds delay, Task task) = 0;

    /// Runs the task every `interval`, first after one interval. Main thread.
    virtual Handle startTimer(std::chrono::milliseconds interval, Task task) = 0;

    /// Runs the task in the loop whenever the process receives the signal, in place of the signal's
    /// default action. One registration a signal. Main thread.
    virtual Handle onSignal(int signal, Task task) = 0;

    /// Runs the task while the descriptor is readable or at its end. The caller keeps the descriptor
    /// open as long as the registration. Main thread.
    virtual Handle watchReadable(int descriptor, Task task) = 0;

    /// Runs tasks on the calling thread, which becomes the main thread, until `quit`.
    virtual void run() = 0;

    /// Makes `run` return after the task in progress. Any thread.
    virtual void quit() = 0;
};

/// Returns a registration that keeps the object alive. The caller of the object holds it weakly, and so stops
/// when the registration ends.
template <class T>
[[nodiscard]] MainLoop::Handle keepAlive(std::shared_ptr<T> object) {
    class Holder final : public MainLoop::Registration {
    public:
        explicit Holder(std::shared_ptr<T> held) : held_(std::move(held)) {}

    private:
        const std::shared_ptr<T> held_;
    };
    return std::make_unique<Holder>(std::move(object));
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/WakePipe.h"
#include "host/MainLoop.h"

#include <QApplication>
#include <atomic>
#include <exception>
#include <memory>

namespace kvn::host {

/// The main loop that serves a display, too. Owns the toolkit's application object. Registrations must be
/// destroyed before the loop.
class QtMainLoop final : public MainLoop {
public:
    /// Connects to the display, which must answer: the toolkit ends the process if it does not.
    QtMainLoop();
    ~QtMainLoop() override;
    QtMainLoop(const QtMainLoop&) = delete;
    QtMainLoop& operator=(const QtMainLoop&) = delete;

    void post(Task task) override;
    void postAfter(std::chrono::milliseconds delay, Task task) override;
    Handle startTimer(std::chrono::milliseconds interval, Task task) override;
    Handle onSignal(int signal, Task task) override;
    Handle watchReadable(int descriptor, Task task) override;
    void run() override;
    void quit() override;

private:
    void runTask(const Task& task);

    int argumentCount_ = 1;
    char name_[12] = "KvnGUIAgent";
    char* arguments_[2] = {name_, nullptr};
    std::unique_ptr<QApplication> application_;
    std::atomic<bool> quit_ = false;
    std::exception_ptr failure_;
};

} // namespace kvn::host

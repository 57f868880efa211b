// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/WakePipe.h"
#include "host/MainLoop.h"
#include "host/posix/TaskSchedule.h"

#include <QApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>
#include <atomic>
#include <exception>
#include <memory>
#include <string>

namespace kvn::host {

/// The main loop that serves a display, too. Owns the toolkit's application object. While a task runs no
/// other does, even if the toolkit processes events meanwhile. Registrations must be destroyed before the
/// loop.
class QtMainLoop final : public MainLoop {
public:
    /// Connects to the display by the toolkit's plug-in `platform`. The display must answer: the toolkit ends
    /// the process if it does not. Leaves the process's locale and environment as they are. Throws FException
    /// when the process has no descriptors left.
    explicit QtMainLoop(const std::string& platform);
    ~QtMainLoop() override;
    QtMainLoop(const QtMainLoop&) = delete;
    QtMainLoop& operator=(const QtMainLoop&) = delete;

    void post(Task task) override;
    void postAfter(std::chrono::milliseconds delay, Task task) override;
    Handle startTimer(std::chrono::milliseconds interval, Task task) override;
    /// Throws FException when the process has no descriptors left.
    Handle onSignal(int signal, Task task) override;
    Handle watchReadable(int descriptor, Task task) override;
    /// Returns at once when `quit` came first. Throws what a task has thrown.
    void run() override;
    void quit() override;

    /// Sets the task that runs on the main thread when the display is lost while the loop runs. The toolkit
    /// ends the process then; it ends after the task with status 0, or with status 1 if the task takes too
    /// long, and without destructors, as other threads may still run.
    void onDisplayLost(Task task) { displayLost_ = std::move(task); }

    /// Sets the task that runs when the session manager tells the application to end.
    void onSessionEnd(Task task);

private:
    class Application;
    class Watch;

    void runTask(const Task& task);
    void runDue();
    void muteUntilTaskEnds(QSocketNotifier& notifier);
    static void endWithDisplay();

    Kvs::WakePipe wakePipe_;
    const std::unique_ptr<Application> application_;
    QTimer nextDue_;
    QSocketNotifier wakes_{wakePipe_.descriptor(), QSocketNotifier::Read};
    bool running_ = false;       // a task
    QEventLoop* loop_ = nullptr; // while it runs
    std::atomic<bool> quit_ = false;
    std::exception_ptr failure_;
    Task displayLost_;
    TaskSchedule schedule_{wakePipe_}; // destroyed first: what its tasks hold may use the loop
};

} // namespace kvn::host

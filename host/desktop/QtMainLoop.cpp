// SPDX-License-Identifier: MIT

#include "host/desktop/QtMainLoop.h"

#include "core/logging/CNSLog.h"
#include "host/posix/Signals.h"

#include <QEvent>
#include <QEventLoop>
#include <QSessionManager>
#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <optional>
#include <thread>
#include <utility>

namespace kvn::host {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

/// The time limit of the end without a display. It is longer than those of the helper's answers, for which a
/// job in progress may wait.
constexpr std::chrono::seconds kLongestEnd{20};
constexpr milliseconds kLongestSleep = std::chrono::hours(24); // QTimer counts in an int

/// The loop that this thread runs: another thread that ends the process must not run the loop's tasks.
thread_local QtMainLoop* running = nullptr;

/// Keeps the toolkit's start from changing the process: the locale, which would change numbers and the
/// messages of the log; the threads that handle signals; and what launched programs inherit.
class UnchangedProcess {
public:
    UnchangedProcess() {
        // Of the two event dispatchers, the one without GLib wakes less often.
        qputenv(kNoGlib, "1");
    }
    ~UnchangedProcess() {
        std::setlocale(LC_ALL, locale_.c_str());
        noGlib_.isNull() ? qunsetenv(kNoGlib) : qputenv(kNoGlib, noGlib_);
    }
    UnchangedProcess(const UnchangedProcess&) = delete;
    UnchangedProcess& operator=(const UnchangedProcess&) = delete;

private:
    static constexpr const char* kNoGlib = "QT_NO_GLIB";
    const SignalsBlocked blocked_; // in the threads that the toolkit starts, too
    const QByteArray noGlib_ = qgetenv(kNoGlib);
    const std::string locale_ = std::setlocale(LC_ALL, nullptr);
};

/// What the application object refers to as long as it lives.
struct Arguments {
    explicit Arguments(const std::string& p) : platform(p) {}
    std::string program = "KvnGUIAgent";
    std::string option = "-platform";
    std::string platform;
    int count = 3;
    std::array<char*, 4> values{program.data(), option.data(), platform.data(), nullptr};
};

} // namespace

class QtMainLoop::Application final : private Arguments, public QApplication {
public:
    explicit Application(const std::string& plugIn) : Arguments(plugIn), QApplication(count, values.data()) {
        setQuitOnLastWindowClosed(false);
        // The session starts the agent by itself: it must not be started a second time with saved programs.
        const auto doNotRestart = [](QSessionManager& manager) {
            manager.setRestartHint(QSessionManager::RestartNever);
        };
        connect(this, &QGuiApplication::commitDataRequest, this, doNotRestart, Qt::DirectConnection);
        connect(this, &QGuiApplication::saveStateRequest, this, doNotRestart, Qt::DirectConnection);
    }

    bool event(QEvent* event) override {
        if (event->type() != QEvent::Quit || !onSessionEnd) {
            return QApplication::event(event);
        }
        onSessionEnd();
        return true;
    }

    Task onSessionEnd;
};

class QtMainLoop::Watch final : public Registration {
public:
    Watch(QtMainLoop& loop, int descriptor, Task task)
        : loop_(loop), notifier_(new QSocketNotifier(descriptor, QSocketNotifier::Read)) {
        QObject::connect(notifier_, &QSocketNotifier::activated, notifier_,
                         [&loop, notifier = notifier_, task = std::move(task)] {
                             if (loop.running_) {
                                 loop.muteUntilTaskEnds(*notifier);
                             } else {
                                 loop.runTask(task);
                             }
                         });
    }
    ~Watch() override {
        notifier_->disconnect();
        notifier_->setEnabled(false);
        if (loop_.running_) {
            notifier_->deleteLater(); // the task may be the notifier's
        } else {
            delete notifier_;
        }
    }

private:
    QtMainLoop& loop_;
    QSocketNotifier* const notifier_;
};

QtMainLoop::QtMainLoop(const std::string& platform)
    : application_([&platform] {
          const UnchangedProcess unchanged;
          return std::make_unique<Application>(platform);
      }()) {
    static const bool registered = std::atexit(endWithDisplay) == 0;
    static_cast<void>(registered);
    nextDue_.setSingleShot(true);
    nextDue_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&nextDue_, &QTimer::timeout, &nextDue_, [this] { runDue(); });
    QObject::connect(&wakes_, &QSocketNotifier::activated, &wakes_, [this] {
        wakePipe_.drain();
        runDue();
    });
}

QtMainLoop::~QtMainLoop() = default;

void QtMainLoop::post(Task task) { schedule_.add(steady_clock::now(), std::move(task)); }

void QtMainLoop::postAfter(milliseconds delay, Task task) {
    schedule_.add(steady_clock::now() + delay, std::move(task));
}

MainLoop::Handle QtMainLoop::startTimer(milliseconds interval, Task task) {
    return schedule_.startTimer(interval, std::move(task));
}

MainLoop::Handle QtMainLoop::onSignal(int signal, Task task) {
    return watchSignal(*this, signal, std::move(task));
}

MainLoop::Handle QtMainLoop::watchReadable(int descriptor, Task task) {
    return std::make_unique<Watch>(*this, descriptor, std::move(task));
}

void QtMainLoop::run() {
    if (quit_.exchange(false)) {
        return;
    }
    // Not QApplication::exec, which waits for the session bus to ask if accessibility is on.
    QEventLoop loop;
    loop_ = &loop;
    running = this;
    nextDue_.start(0);
    loop.exec();
    running = nullptr;
    loop_ = nullptr;
    quit_ = false;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
}

void QtMainLoop::quit() {
    quit_ = true;
    wakePipe_.wake();
}

void QtMainLoop::onSessionEnd(Task task) {
    application_->onSessionEnd = [this, task = std::move(task)] { post(task); };
}

void QtMainLoop::runTask(const Task& task) {
    if (quit_) {
        return;
    }
    running_ = true;
    try {
        task();
    } catch (...) {
        failure_ = std::current_exception(); // must not pass through the toolkit
        quit();
    }
    running_ = false;
}

void QtMainLoop::muteUntilTaskEnds(QSocketNotifier& notifier) {
    notifier.setEnabled(false);
    post([weak = QPointer<QSocketNotifier>(&notifier)] {
        if (weak) {
            weak->setEnabled(true);
        }
    });
}

void QtMainLoop::runDue() {
    if (running_) {
        return; // called again when the task has returned
    }
    schedule_.endSleep();
    // Tasks that these tasks post run in the next round, after the descriptors and the toolkit's events.
    const auto now = steady_clock::now();
    while (!quit_ && steady_clock::now() - now < TaskSchedule::kTurn) {
        const Task task = schedule_.takeDueBy(now);
        if (!task) {
            break;
        }
        runTask(task);
    }
    if (quit_) {
        loop_->exit();
    } else if (const auto rest = schedule_.prepareSleep()) {
        nextDue_.start(std::min(*rest, kLongestSleep));
    } else {
        nextDue_.stop();
    }
}

/// Called by exit(3), which the toolkit calls when its connection to the display breaks.
void QtMainLoop::endWithDisplay() {
    if (!running) {
        return;
    }
    if (const Task displayLost = std::exchange(running->displayLost_, nullptr)) {
        Kvs::CNSLog("The display is gone");
        try {
            std::thread([] {
                std::this_thread::sleep_for(kLongestEnd);
                std::_Exit(EXIT_FAILURE);
            }).detach();
            displayLost();
        } catch (const std::exception& exception) {
            Kvs::CNSLog("The end was not in order: %s", exception.what());
        }
    }
    std::_Exit(EXIT_SUCCESS);
}

} // namespace kvn::host

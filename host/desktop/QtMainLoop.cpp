// SPDX-License-Identifier: MIT

#include "host/desktop/QtMainLoop.h"

#include "host/posix/Signals.h"

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace kvn::host {
namespace {

using std::chrono::milliseconds;

template <class Source>
class SourceRegistration final : public MainLoop::Registration {
public:
    explicit SourceRegistration(std::unique_ptr<Source> source) : source_(std::move(source)) {}
    ~SourceRegistration() override {
        source_->disconnect();
        source_.release()->deleteLater(); // it may be the one whose task runs
    }

private:
    std::unique_ptr<Source> source_;
};

class SignalRegistration final : public MainLoop::Registration {
public:
    SignalRegistration(MainLoop& loop, int signal, MainLoop::Task task)
        : inbox_(signal, pipe_),
          watch_(loop.watchReadable(pipe_.descriptor(), [this, task = std::move(task)] {
              pipe_.drain();
              if (inbox_.take()) {
                  task(); // may destroy this object
              }
          })) {}

private:
    Kvs::WakePipe pipe_;
    SignalInbox inbox_;
    const MainLoop::Handle watch_;
};

} // namespace

QtMainLoop::QtMainLoop() : application_(std::make_unique<QApplication>(argumentCount_, arguments_)) {
    QApplication::setQuitOnLastWindowClosed(false);
}

QtMainLoop::~QtMainLoop() = default;

void QtMainLoop::runTask(const Task& task) {
    if (quit_) {
        return;
    }
    try {
        task();
    } catch (...) {
        failure_ = std::current_exception(); // may not pass through the toolkit
        quit();
    }
}

void QtMainLoop::post(Task task) {
    QMetaObject::invokeMethod(
        application_.get(), [this, task = std::move(task)] { runTask(task); }, Qt::QueuedConnection);
}

void QtMainLoop::postAfter(milliseconds delay, Task task) {
    post([this, delay, task = std::move(task)] {
        QTimer::singleShot(delay, Qt::PreciseTimer, application_.get(), [this, task] { runTask(task); });
    });
}

MainLoop::Handle QtMainLoop::startTimer(milliseconds interval, Task task) {
    auto timer = std::make_unique<QTimer>();
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(std::max(interval, milliseconds(1)));
    QObject::connect(timer.get(), &QTimer::timeout, timer.get(),
                     [this, task = std::move(task)] { runTask(Task(task)); });
    timer->start();
    return std::make_unique<SourceRegistration<QTimer>>(std::move(timer));
}

MainLoop::Handle QtMainLoop::onSignal(int signal, Task task) {
    return std::make_unique<SignalRegistration>(*this, signal, std::move(task));
}

MainLoop::Handle QtMainLoop::watchReadable(int descriptor, Task task) {
    auto notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [this, task = std::move(task)] { runTask(Task(task)); });
    return std::make_unique<SourceRegistration<QSocketNotifier>>(std::move(notifier));
}

void QtMainLoop::run() {
    if (!quit_) {
        QApplication::exec();
    }
    quit_ = false;
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
}

void QtMainLoop::quit() {
    quit_ = true;
    QMetaObject::invokeMethod(
        application_.get(), [] { QApplication::quit(); }, Qt::QueuedConnection);
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "host/linux/BusConnection.h"

#include "core/logging/CNSLog.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <poll.h>
#include <utility>

namespace kvn::host {
namespace {

using namespace std::chrono_literals;
using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// The most work that is done before the main loop runs its other tasks, such as those that the messages have
/// posted: so much time, and so many steps, of which a message takes two or three.
constexpr milliseconds kTurn{10};
constexpr int kStepsAtOnce = 100;
constexpr milliseconds kSoon{1};
/// How often the rest of what a full socket did not take is tried again.
constexpr milliseconds kUnsentInterval{20};
constexpr std::size_t kLongestReason = 200;

std::string reasonOf(sd_bus_message* error) {
    const sd_bus_error* details = sd_bus_message_get_error(error);
    const char* text = details->message ? details->message : details->name;
    return {text, strnlen(text, kLongestReason)};
}

/// Returns true for the error that there is no such service; buses give it two names.
bool isAbsence(sd_bus_message& error) {
    return sd_bus_message_is_method_error(&error, SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0 ||
           sd_bus_message_is_method_error(&error, SD_BUS_ERROR_SERVICE_UNKNOWN) > 0;
}

/// Calls `function` for the objects that still live, and drops the others. It may add and end objects.
template <class T, class Function>
void forEachLiving(std::vector<std::weak_ptr<T>>& objects, Function function) {
    std::erase_if(objects, [](const auto& weak) { return weak.expired(); });
    for (const auto& weak : std::vector(objects)) {
        if (const auto object = weak.lock()) {
            function(*object);
        }
    }
}

} // namespace

struct BusConnection::Signal : std::enable_shared_from_this<Signal> {
    Signal(std::string r, SignalHandler h, Signals s)
        : rule(std::move(r)), handler(std::move(h)), signals(s) {}

    static int take(sd_bus_message* message, void* signal, sd_bus_error*) {
        const auto self = static_cast<Signal*>(signal)->shared_from_this(); // the handler may end it
        if (self->signals == Signals::BroadcastAndDirect || !sd_bus_message_get_destination(message)) {
            self->handler(*message);
        }
        return 0;
    }

    const std::string rule;
    const SignalHandler handler;
    const Signals signals;
    BusSlot slot; // of the present connection
};

struct BusConnection::Served {
    const char* const path;
    const char* const interface;
    const sd_bus_vtable* const table;
    void* const object;
    BusSlot slot; // of the present connection
};

struct BusConnection::Call : std::enable_shared_from_this<Call> {
    Call(BusConnection& c, const BusMethod& m, AnswerHandler h)
        : connection(c), method(m.name), onlyIfRunning(m.onlyIfRunning), handler(std::move(h)) {}

    static int take(sd_bus_message* message, void* call, sd_bus_error*) {
        const auto self = static_cast<Call*>(call)->shared_from_this(); // the handler may end it
        const bool failed = sd_bus_message_is_method_error(message, nullptr) > 0;
        if (!failed) {
            self->connection.reported_.erase(self->method);
        } else if (!self->onlyIfRunning || !isAbsence(*message)) {
            self->connection.reportOnce(self->method, reasonOf(message));
        }
        self->handler(failed ? nullptr : message);
        return 0;
    }

    BusConnection& connection;
    const char* const method;
    const bool onlyIfRunning;
    const AnswerHandler handler;
    BusSlot slot;
};

MainLoop::Handle BusConnection::onState(StateHandler handler) {
    auto state = std::make_shared<StateHandler>(std::move(handler));
    states_.push_back(state);
    open();
    return keepAlive(std::move(state));
}

MainLoop::Handle BusConnection::onSignal(std::string rule, SignalHandler handler, Signals signals) {
    auto signal = std::make_shared<Signal>(std::move(rule), std::move(handler), signals);
    signals_.push_back(signal);
    if (connection_) {
        addMatch(*signal);
    }
    open();
    return keepAlive(std::move(signal));
}

MainLoop::Handle BusConnection::serve(const char* path, const char* interface, const sd_bus_vtable* table,
                                      void* object) {
    auto served = std::make_shared<Served>(Served{path, interface, table, object, nullptr});
    served_.push_back(served);
    if (connection_) {
        addObject(*served);
    }
    open();
    return keepAlive(std::move(served));
}

BusMessage BusConnection::newSignal(const char* path, const char* interface, const char* name) {
    sd_bus_message* message = nullptr;
    if (canSend()) {
        sd_bus_message_new_signal(connection_.get(), &message, path, interface, name);
    }
    return BusMessage(message);
}

BusMessage BusConnection::newCall(const BusMethod& method) {
    sd_bus_message* message = nullptr;
    if (canSend()) {
        sd_bus_message_new_method_call(connection_.get(), &message, method.service, method.path,
                                       method.interface, method.name);
        sd_bus_message_set_auto_start(message, !method.onlyIfRunning);
    }
    return BusMessage(message);
}

MainLoop::Handle BusConnection::send(const BusMethod& method, BusMessage message, AnswerHandler handler) {
    auto call = std::make_shared<Call>(*this, method, std::move(handler));
    sd_bus_slot* slot = nullptr;
    if (sd_bus_call_async(connection_.get(), &slot, message.get(), Call::take, call.get(),
                          microseconds(kCallTimeLimit).count()) < 0) {
        return nullptr;
    }
    call->slot.reset(slot);
    planReceive(false);
    return keepAlive(std::move(call));
}

int BusConnection::send(const BusMessage& message) {
    const int result = sd_bus_send(connection_.get(), message.get(), nullptr);
    planReceive(false);
    return result;
}

void BusConnection::reportOnce(const std::string& subject, const std::string& problem) {
    if (reported_.insert(subject).second) {
        Kvs::OCNSLog("%@ on the %s bus: %@", subject, bus_ == Bus::Session ? "session" : "system", problem);
    }
}

bool BusConnection::canSend() const {
    std::uint64_t unsent = 0;
    return connected_ && sd_bus_get_n_queued_write(connection_.get(), &unsent) >= 0 && unsent < kMostUnsent;
}

void BusConnection::open() {
    if (!connection_ && !nextChange_) {
        connect();
    }
}

void BusConnection::connect() {
    sd_bus* connection = nullptr;
    const int result = bus_ == Bus::Session ? sd_bus_open_user(&connection) : sd_bus_open_system(&connection);
    if (result < 0) {
        giveUp(std::strerror(-result));
        return;
    }
    connection_.reset(connection);
    sd_bus_set_method_call_timeout(connection, microseconds(kCallTimeLimit).count());
    forEachLiving(signals_, [this](Signal& signal) { addMatch(signal); });
    forEachLiving(served_, [this](Served& served) { addObject(served); });
    watch_ = mainLoop_.watchReadable(sd_bus_get_fd(connection), [this] { receive(); });
    nextChange_ = mainLoop_.startTimer(kConnectTimeLimit, [this] { giveUp("it does not answer"); });
    planReceive(false);
}

void BusConnection::addMatch(Signal& signal) {
    sd_bus_slot* slot = nullptr;
    // Without a handler of the bus's answer, the library ends the connection when the bus refuses the rule.
    sd_bus_add_match_async(connection_.get(), &slot, signal.rule.c_str(), Signal::take, nullptr, &signal);
    signal.slot.reset(slot);
}

void BusConnection::addObject(Served& served) {
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_vtable(connection_.get(), &slot, served.path, served.interface, served.table,
                             served.object);
    served.slot.reset(slot);
}

void BusConnection::receive() {
    const auto end = steady_clock::now() + kTurn;
    int result = 1;
    for (int step = 0; step < kStepsAtOnce && result > 0 && steady_clock::now() < end; ++step) {
        result = sd_bus_process(connection_.get(), nullptr);
    }
    if (result < 0) {
        giveUp(std::strerror(-result));
        return;
    }
    std::uint64_t unsent = 0;
    sd_bus_get_n_queued_write(connection_.get(), &unsent);
    if (unsent > kMostUnsent) { // the library's answers to calls of others
        giveUp("it does not take what is sent");
        return;
    }
    if (!connected_ && sd_bus_is_ready(connection_.get()) > 0) {
        noticeConnected();
    }
    planReceive(result > 0);
}

/// Calls `receive` for what the descriptor does not announce: messages that the library has read already if
/// there are `more`, the time limits of calls, and a socket that takes output again.
void BusConnection::planReceive(bool more) {
    std::uint64_t due = UINT64_MAX; // of CLOCK_MONOTONIC, in microseconds
    sd_bus_get_timeout(connection_.get(), &due);
    std::optional<milliseconds> delay;
    if (more) {
        delay = kSoon;
    } else if ((sd_bus_get_events(connection_.get()) & POLLOUT) != 0) {
        delay = kUnsentInterval;
    } else if (due != UINT64_MAX) {
        const auto rest =
            microseconds(due) - duration_cast<microseconds>(steady_clock::now().time_since_epoch());
        delay = std::max(kSoon, std::chrono::ceil<milliseconds>(rest));
    }
    nextTurn_ = delay ? mainLoop_.startTimer(*delay, [this] { receive(); }) : nullptr;
}

void BusConnection::noticeConnected() {
    nextChange_ = mainLoop_.startTimer(kLongestPause, [this] {
        pause_ = 0ms;
        nextChange_.reset();
    });
    connected_ = true;
    if (std::exchange(failureLogged_, false)) {
        Kvs::CNSLog("The %s bus is there again", bus_ == Bus::Session ? "session" : "system");
    }
    tell(true);
}

void BusConnection::giveUp(const std::string& reason) {
    const bool wasConnected = connected_.exchange(false);
    nextTurn_.reset();
    watch_.reset();
    forEachLiving(signals_, [](Signal& signal) { signal.slot.reset(); });
    forEachLiving(served_, [](Served& served) { served.slot.reset(); });
    connection_.reset();
    nextChange_ = mainLoop_.startTimer(std::max(pause_, kSoon), [this] { connect(); });
    pause_ = std::clamp<milliseconds>(2 * pause_, 1s, kLongestPause);
    if (!std::exchange(failureLogged_, true)) {
        if (bus_ == Bus::Session) {
            Kvs::OCNSLog("No session bus, notifications are neither sent nor received: %@", reason);
        } else {
            Kvs::OCNSLog("No system bus, the console user and sleep are not known: %@", reason);
        }
    }
    if (wasConnected) {
        tell(false);
    }
}

void BusConnection::tell(bool connected) {
    forEachLiving(states_, [connected](const StateHandler& handler) { handler(connected); });
}

} // namespace kvn::host

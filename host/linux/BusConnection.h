// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <systemd/sd-bus.h>
#include <utility>
#include <vector>

namespace kvn::host {

template <auto release>
struct BusRelease {
    template <class T>
    void operator()(T* object) const {
        release(object);
    }
};
using BusMessage = std::unique_ptr<sd_bus_message, BusRelease<sd_bus_message_unref>>;
using BusSlot = std::unique_ptr<sd_bus_slot, BusRelease<sd_bus_slot_unref>>;

/// A method of an object that another program has on the bus.
struct BusMethod {
    const char* service;
    const char* path;
    const char* interface;
    const char* name;
    /// The bus does not start the service for the call, and its absence is no problem that is logged.
    bool onlyIfRunning = false;
};

/// The connection of this process to a bus, for all that use the bus. It begins to connect at the first
/// registration. A bus that is missing, lost, or silent for `kConnectTimeLimit` is logged once and sought
/// again after pauses that double up to `kLongestPause`; a connection that lasted as long is first sought
/// again at once. Registrations outlast the connection.
///
/// No function waits for the bus: even the handshake is done piece by piece in the main loop. Handlers run
/// while the connection is in use and therefore must not destroy it. Main thread, except `isConnected`. The
/// main loop outlives this object, and this object its registrations.
class BusConnection {
public:
    enum class Bus { Session, System };

    static constexpr std::chrono::seconds kConnectTimeLimit{10};
    static constexpr std::chrono::seconds kCallTimeLimit{5};
    static constexpr std::chrono::seconds kLongestPause{64};

    /// Told true when the bus can be used, and false when it is lost: a call without an answer gets none
    /// then.
    using StateHandler = std::function<void(bool connected)>;
    using SignalHandler = std::function<void(sd_bus_message& signal)>;
    /// Told the answer, or null when there is an error or no answer in time; that has been logged.
    using AnswerHandler = std::function<void(sd_bus_message* answer)>;

    BusConnection(MainLoop& mainLoop, Bus bus) : mainLoop_(mainLoop), bus_(bus) {}
    ~BusConnection() = default;
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    /// Any thread.
    bool isConnected() const { return connected_; }

    [[nodiscard]] MainLoop::Handle onState(StateHandler handler);

    enum class Signals {
        Broadcast,
        /// Those to this connection alone, too. The bus delivers them whatever the rules say, so the rule
        /// must name the sender by its unique name: the library compares nothing else.
        BroadcastAndDirect,
    };

    /// Calls the handler for the signals that the rule matches. The bus compares the sender of broadcast
    /// signals with the rule.
    [[nodiscard]] MainLoop::Handle onSignal(std::string rule, SignalHandler handler,
                                            Signals signals = Signals::Broadcast);

    /// Serves an interface of an object to the other programs; sd_bus_add_object_vtable(3) describes the
    /// table, whose functions get `object`. All arguments outlive the registration.
    [[nodiscard]] MainLoop::Handle serve(const char* path, const char* interface, const sd_bus_vtable* table,
                                         void* object);

    /// Calls the method; `types` and `arguments` are those of sd_bus_message_append(3). Returns null when the
    /// call cannot be sent. Destroying the handle drops the answer.
    template <class... Arguments>
    [[nodiscard]] MainLoop::Handle call(const BusMethod& method, AnswerHandler handler, const char* types,
                                        Arguments... arguments) {
        auto message = newCall(method);
        if (!message || sd_bus_message_append(message.get(), types, arguments...) < 0) {
            return nullptr;
        }
        return send(method, std::move(message), std::move(handler));
    }

    /// Returns an empty signal to be filled and sent; null without a connection, and while the bus has left
    /// `kMostUnsent` messages unread.
    BusMessage newSignal(const char* path, const char* interface, const char* name);
    /// Returns 0 or a negative errno value.
    int send(const BusMessage& message);

    /// Logs the problem if it is the first with this subject, which is one of few texts. A call that succeeds
    /// makes its method a new subject.
    void reportOnce(const std::string& subject, const std::string& problem);

private:
    struct Signal;
    struct Served;
    struct Call;
    using Connection = std::unique_ptr<sd_bus, BusRelease<sd_bus_close_unref>>;

    static constexpr std::uint64_t kMostUnsent = 1024;

    void open();
    void connect();
    void receive();
    void noticeConnected();
    void giveUp(const std::string& reason);
    void planReceive(bool more);
    void tell(bool connected);
    void addMatch(Signal& signal);
    void addObject(Served& served);
    bool canSend() const;
    BusMessage newCall(const BusMethod& method);
    MainLoop::Handle send(const BusMethod& method, BusMessage message, AnswerHandler handler);

    MainLoop& mainLoop_;
    const Bus bus_;
    std::atomic<bool> connected_ = false;
    bool failureLogged_ = false;
    std::set<std::string> reported_;
    std::chrono::milliseconds pause_{1000}; // before the next attempt to connect
    std::vector<std::weak_ptr<StateHandler>> states_;
    std::vector<std::weak_ptr<Signal>> signals_;
    std::vector<std::weak_ptr<Served>> served_;
    Connection connection_;       // null between two attempts
    MainLoop::Handle watch_;      // of the connection's descriptor
    MainLoop::Handle nextTurn_;   // for what the descriptor does not announce
    MainLoop::Handle nextChange_; // to the next attempt, its failure, or the end of growing pauses
};

} // namespace kvn::host

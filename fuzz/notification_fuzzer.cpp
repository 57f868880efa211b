// SPDX-License-Identifier: MIT

#include "fuzz/Fuzz.h"
#include "host/linux/BusConnection.h"
#include "host/linux/NotificationMessage.h"

#include <sys/socket.h>

namespace {

using kvn::fuzz::require;

/// Takes values from the input; zeros and empty texts at its end.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(kvn::fuzz::textOf(data, size)) {}

    std::uint8_t byte() { return static_cast<std::uint8_t>(take(1).empty() ? 0 : last_); }
    std::string text() { return std::string(take(byte() % 16 == 15 ? 65536 : byte() % 32)); }
    std::uint64_t number() {
        std::uint64_t value = 0;
        for (const char c : take(sizeof value)) {
            value = value << 8U | static_cast<std::uint8_t>(c);
        }
        return value;
    }
    bool atEnd() const { return rest_.empty(); }

private:
    std::string_view take(std::size_t count) {
        const auto taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        last_ = taken.empty() ? '\0' : taken.back();
        return taken;
    }

    std::string_view rest_;
    char last_ = '\0';
};

/// Appends a value of a kind that the input chooses.
void appendValue(sd_bus_message* message, Input& input, char kind, int depth) {
    const std::uint64_t number = input.number();
    if (kind == 's') {
        sd_bus_message_append(message, "s", input.text().c_str());
    } else if (kind == 'v' && depth < 8) {
        constexpr std::string_view kKinds = "sbynqiuxtdv";
        const std::string held(1, kKinds[input.byte() % kKinds.size()]);
        if (sd_bus_message_open_container(message, 'v', held.c_str()) >= 0) {
            appendValue(message, input, held[0], depth + 1);
            sd_bus_message_close_container(message);
        }
    } else if (kind != 'v') {
        sd_bus_message_append_basic(message, kind, &number);
    }
}

/// Appends arguments that are often almost those of a notification.
void appendArguments(sd_bus_message* message, Input& input) {
    while (!input.atEnd()) {
        constexpr std::string_view kKinds = "ssssviyS";
        const char kind = kKinds[input.byte() % kKinds.size()];
        const char* const entry = input.byte() % 2 == 0 ? "ss" : "sv";
        if (kind != 'S') {
            appendValue(message, input, kind, 0);
        } else if (sd_bus_message_open_container(message, 'a', entry[1] == 's' ? "{ss}" : "{sv}") >= 0) {
            for (int rest = input.byte(); rest > 0 && !input.atEnd(); --rest) {
                sd_bus_message_open_container(message, 'e', entry);
                appendValue(message, input, 's', 0);
                appendValue(message, input, entry[1], 0);
                sd_bus_message_close_container(message);
            }
            sd_bus_message_close_container(message);
        }
    }
}

/// Returns a connection on which messages can be made, though its bus never answers.
sd_bus* silentBus() {
    sd_bus* bus = nullptr;
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0 && sd_bus_new(&bus) >= 0 &&
                sd_bus_set_fd(bus, ends[0], ends[0]) >= 0 && sd_bus_start(bus) >= 0,
            "no connection");
    return bus;
}

} // namespace

/// Makes a signal of arguments that the bytes choose, and reads it as a notification. What is read is written
/// again and must stay the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static sd_bus* const bus = silentBus();
    const auto newSignal = [] {
        sd_bus_message* message = nullptr;
        require(sd_bus_message_new_signal(bus, &message, "/a", "a.b", "c") >= 0, "no signal");
        return kvn::host::BusMessage(message);
    };
    const auto message = newSignal();
    Input input(data, size);
    appendArguments(message.get(), input);
    if (sd_bus_message_seal(message.get(), 1, 0) < 0) {
        return 0;
    }
    const auto notification = kvn::host::readNotification(*message);
    if (!notification) {
        return 0;
    }
    std::size_t bytes = notification->name.size() + notification->object.size();
    for (const auto& [key, value] : notification->userInfo) {
        bytes += key.size();
    }
    require(bytes <= kvn::host::kMaxNotificationBytes, "too long");
    const auto copy = newSignal();
    require(kvn::host::appendNotification(*copy, *notification) && sd_bus_message_seal(copy.get(), 2, 0) >= 0,
            "cannot be written");
    const auto again = kvn::host::readNotification(*copy);
    require(!again || again->userInfo == notification->userInfo, "another one is read");
    return 0;
}

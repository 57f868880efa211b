// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "tests/support/Test.h"

#include <sys/un.h>

namespace kvn::test {

enum BusMessageType : char { kCall = 1, kAnswer = 2, kSignal = 4 };

/// Returns a D-Bus message. The fields are pairs of a code and a text; the body has the signature; `answered`
/// is the number of the call that an answer belongs to.
inline std::string busMessage(BusMessageType type, const std::vector<std::pair<char, std::string>>& fields,
                              const std::string& signature, const std::string& body,
                              std::size_t answered = 0) {
    const auto number = [](std::size_t value) {
        const auto narrow = static_cast<std::uint32_t>(value);
        return std::string(reinterpret_cast<const char*>(&narrow), sizeof narrow);
    };
    const auto align = [](std::string& text) { text.resize((text.size() + 7) / 8 * 8); };
    std::string array = answered == 0 ? "" : "\x05\x01u"s + '\0' + number(answered);
    for (const auto& [code, text] : fields) {
        align(array);
        array += code + "\x01"s + (code == 1 ? 'o' : 's') + '\0' + number(text.size()) + text + '\0';
    }
    align(array);
    array += "\x08\x01g"s + '\0' + static_cast<char>(signature.size()) + signature + '\0';
    std::string message = "l"s + static_cast<char>(type) + '\0' + '\x01' + number(body.size()) + number(7) +
                          number(array.size()) + array;
    align(message);
    return message + body;
}

/// The answer of a bus to the proof of identity.
inline const std::string kAccepted = "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n";

/// Also the answers to the first message, which asks for a name, and to the rules that follow.
inline const std::string kWelcome = [] {
    const std::vector<std::pair<char, std::string>> sender{{'\x07', "org.freedesktop.DBus"}};
    std::string text = kAccepted + busMessage(kAnswer, sender, "s", "\x04\0\0\0:1.1\0"s, 1);
    for (std::size_t rule = 2; rule <= 4; ++rule) {
        text += busMessage(kAnswer, sender, "", "", rule);
    }
    return text;
}();

/// Serves as both buses and does not do what a bus does: it says a greeting, then the same text for ever, and
/// reads nothing.
class HostileBus {
public:
    struct Habits {
        std::string greeting = {};
        std::string flood = {}; // not repeated when empty
        bool hangsUp = false;   // after the greeting
    };

    explicit HostileBus(Habits habits) : habits_(std::move(habits)) {
        const std::string path = folder_.file("bus");
        sockaddr_un address{AF_UNIX, {}};
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        listener_ = Kvs::FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_.get(), 8), 0);
        setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
        thread_ = std::thread([this] { serve(); });
    }
    ~HostileBus() {
        ends_ = true;
        thread_.join();
    }
    HostileBus(const HostileBus&) = delete;
    HostileBus& operator=(const HostileBus&) = delete;

    int accepted() const { return accepted_; }
    void hangUp() { hangsUp_ = true; }

private:
    struct Guest {
        Kvs::FileDescriptor socket;
        std::size_t said = 0;
    };

    void serve() {
        while (!ends_) {
            pollfd waiting{listener_.get(), POLLIN, 0};
            if (poll(&waiting, 1, habits_.flood.empty() || guests_.empty() ? 1 : 0) == 1) {
                guests_.push_back({Kvs::FileDescriptor(accept(listener_.get(), nullptr, nullptr))});
                ++accepted_;
                const auto& text = habits_.greeting;
                send(guests_.back().socket.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
                if (habits_.hangsUp) {
                    guests_.pop_back();
                }
            }
            if (hangsUp_.exchange(false)) {
                guests_.clear();
            }
            std::for_each(guests_.begin(), guests_.end(), [this](Guest& guest) { flood(guest); });
        }
    }
    void flood(Guest& guest) const {
        const auto& text = habits_.flood;
        if (!text.empty()) {
            const auto sent = send(guest.socket.get(), text.data() + guest.said, text.size() - guest.said,
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
            guest.said = (guest.said + static_cast<std::size_t>(std::max<ssize_t>(sent, 0))) % text.size();
        }
    }

    TemporaryFolder folder_;
    const Habits habits_;
    Kvs::FileDescriptor listener_;
    std::vector<Guest> guests_; // of the thread
    std::atomic<int> accepted_ = 0;
    std::atomic<bool> hangsUp_ = false;
    std::atomic<bool> ends_ = false;
    std::thread thread_;
};

} // namespace kvn::test

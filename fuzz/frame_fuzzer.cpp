// SPDX-License-Identifier: MIT

#include "fuzz/Fuzz.h"
#include "privileged-helper/shared/PHProtocolHandler.h"

#include <algorithm>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using kvn::fuzz::require;

namespace {

class Reports : public kvn::PHConnectionDelegate {
public:
    void connctionFailedWithError(kvn::PHProtocolHandler& handler, const kvn::host::Error&) override {
        connectionClosed(handler);
    }
    void connectionClosed(kvn::PHProtocolHandler& handler) override {
        require(!handler.isConnected(), "a report before the connection is closed");
        ++count;
    }
    int count = 0;
};

/// Well below the size of a socket's buffer, so that one thread can write everything and then read.
constexpr std::size_t kMost = 32768;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvn::fuzz::logNothing();
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "no sockets");
    Kvs::FileDescriptor peer(ends[1]);
    Reports reports;
    kvn::PHProtocolHandler handler(Kvs::FileDescriptor{ends[0]}, true);
    handler.setDelegate(&reports);
    const std::size_t length = std::min(size, kMost);
    require(length == 0 || ::write(peer.get(), data, length) == static_cast<ssize_t>(length),
            "a short write");
    ::shutdown(peer.get(), SHUT_WR);

    std::size_t messages = 0;
    while (const auto message = handler.readMessage()) {
        ++messages;
        require(message->isStructured(), "a message that is no object or array");
        kvn::stringIn(*message, "version");
        kvn::integerIn(*message, "status");
        if (handler.sendMessage(*message)) { // sent back to the peer: it can be sent and read again
            std::string header(8, '\0');
            require(::read(peer.get(), header.data(), header.size()) == 8, "no frame was sent");
            std::string body(std::strtoul(header.c_str() + 3, nullptr, 16), '\0');
            require(::read(peer.get(), body.data(), body.size()) == static_cast<ssize_t>(body.size()),
                    "the frame's length is wrong");
            require(kvn::PHMessage::parse(body).serialize() == message->serialize(),
                    "a message changes on the way");
        }
    }
    require(messages <= length / 10, "more messages than frames");
    require(reports.count == 1 || reports.count == 2, "the end is not told");
    return 0;
}

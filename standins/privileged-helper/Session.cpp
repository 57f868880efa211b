#include "standins/privileged-helper/Session.h"

#include "core/logging/CNSLog.h"

#include <string_view>
#include <utility>

namespace kvn::helper {
namespace {

constexpr std::chrono::seconds kSendPatience{2};

/// What is written in place of a message.
std::string_view nonsense(Fault fault) {
    static const std::string kOversize = "F7100200" + std::string(0x200, ' ');
    switch (fault) {
    case Fault::ShortHeader:
        return "F7100";
    case Fault::ShortBody:
        return "F7100015{\"version\":";
    case Fault::Oversize:
        return kOversize;
    case Fault::BadJson:
        return "F7100008{\"a\":1,}";
    case Fault::None:
    case Fault::Silent:
    case Fault::Close:
        break;
    }
    return "";
}

} // namespace

Session::Session(host::MainLoop& loop, Kvs::FileDescriptor connection, Received received,
                 host::MainLoop::Task ended)
    : loop_(loop), handler_(std::move(connection), false) {
    PHSetNonBlocking(handler_.conFd(), false);
    handler_.connection()->limitSending(kSendPatience);
    handler_.setDelegate(this);
    reader_ = std::thread(
        [this, received = std::move(received), ended = std::move(ended)] { read(received, ended); });
}

Session::~Session() {
    ending_ = true;
    handler_.closeConnection();
    turns_.release();
    reader_.join();
}

void Session::read(const Received& received, const host::MainLoop::Task& ended) {
    while (!ending_) {
        const auto message = handler_.readMessage();
        if (!message) {
            break;
        }
        loop_.post([received, message = *message] { received(message); });
        turns_.acquire();
    }
    loop_.post(ended);
}

void Session::send(const PHMessage& message, Fault fault) {
    if (fault == Fault::None) {
        handler_.sendMessage(message);
        return;
    }
    const std::string_view bytes = nonsense(fault);
    if (const auto connection = handler_.connection(); connection && !bytes.empty()) {
        connection->writeAll(bytes.data(), bytes.size());
    }
    if (fault == Fault::Close || fault == Fault::ShortHeader || fault == Fault::ShortBody) {
        handler_.closeConnection();
    }
}

void Session::connctionFailedWithError(PHProtocolHandler& /*handler*/, const host::Error& error) {
    if (!ending_) {
        Kvs::OCNSLog("Connection failed: %@", error.reason);
    }
}

} // namespace kvn::helper

#include "standins/service-daemon/ServerPipe.h"

#include "core/text/FGStr.h"

#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn::daemon {
namespace {

bool sendAll(Kvs::FComMessenger& messenger, const std::string& peer, const std::string& bytes) {
    const auto target = Kvs::fWiden(peer);
    const auto* next = reinterpret_cast<const unsigned char*>(bytes.data());
    long left = static_cast<long>(bytes.size());
    do {
        long written = 0;
        if (messenger.send(target.c_str(), next, left, written) != Kvs::kSuccess) {
            return false;
        }
        next += written;
        left -= written;
    } while (left > 0);
    return true;
}

} // namespace

ServerPipe::ServerPipe(host::MainLoop& loop, const wchar_t* name, ServerPipeListener& listener)
    : loop_(loop), name_(name), path_(Kvs::FComMessengerPipe::pipeFullPath(name, true)), listener_(listener) {
    open();
}

ServerPipe::~ServerPipe() { close(); }

void ServerPipe::open() {
    messenger_ = std::make_unique<Kvs::FComMessengerPipe>(true, false);
    messenger_->DataReceived.add(this, &ServerPipe::dataReceived);
    messenger_->ReadError.add(this, &ServerPipe::readError);
    Kvs::FResult result = messenger_->open(name_.c_str());
    if (result == Kvs::kSuccess) {
        result = messenger_->beginReceive();
    }
    if (result != Kvs::kSuccess) {
        throw std::system_error(result, std::generic_category(), path_);
    }
}

void ServerPipe::close() {
    messenger_->close();
    messenger_->DataReceived.remove(this, &ServerPipe::dataReceived);
    messenger_->ReadError.remove(this, &ServerPipe::readError);
    messenger_.reset();
    ::unlink(path_.c_str());
}

bool ServerPipe::send(const std::string& peer, const std::string& bytes) {
    return sendAll(*messenger_, peer, bytes);
}

void ServerPipe::dropPeers() {
    close();
    std::set<std::string> dropped;
    {
        Kvs::FLockGuard guard(lock_);
        dropped = std::exchange(peers_, {});
    }
    for (const std::string& peer : dropped) {
        listener_.peerClosed(peer);
    }
    open();
}

void ServerPipe::dataReceived(Kvs::FComMessenger* /*messenger*/, Kvs::FComMessenger::DataReceivedArg& data) {
    const std::string peer = Kvs::fNarrow(data.sender);
    {
        Kvs::FLockGuard guard(lock_);
        peers_.insert(peer);
    }
    loop_.post([this, peer, bytes = std::string(data.data.begin(), data.data.end())] {
        listener_.received(*this, peer, bytes);
    });
}

// The error does not say whose connection ended. Its descriptor is still open now, so that its number
// belongs to no other peer yet: an empty write finds it.
void ServerPipe::readError(Kvs::FComMessenger* messenger, int& /*error*/) {
    Kvs::FLockGuard guard(lock_);
    for (auto peer = peers_.begin(); peer != peers_.end();) {
        if (sendAll(*messenger, *peer, {})) {
            ++peer;
            continue;
        }
        loop_.post([this, closed = *peer] { listener_.peerClosed(closed); });
        peer = peers_.erase(peer);
    }
}

} // namespace kvn::daemon

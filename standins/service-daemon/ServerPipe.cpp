// SPDX-License-Identifier: MIT

#include "standins/service-daemon/ServerPipe.h"

#include "core/text/FGStr.h"

#include <cstdio>
#include <string_view>
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

/// Prints one line at once, with control characters escaped and a long text cut.
void print(std::string_view mark, const std::string& peer, std::string_view text) {
    constexpr std::size_t kMostShown = 4096;
    std::printf("%.*s %s ", static_cast<int>(mark.size()), mark.data(), peer.c_str());
    for (const char c : text.substr(0, kMostShown)) {
        const auto byte = static_cast<unsigned char>(c);
        std::printf(byte < 0x20 || byte == 0x7F ? "\\x%02x" : "%c", byte);
    }
    if (text.size() > kMostShown) {
        std::printf("... (%zu bytes)", text.size());
    }
    std::printf("\n");
    std::fflush(stdout);
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
    // The socket file is removed before any peer notices the end, so it cannot be that of a successor.
    ::unlink(path_.c_str());
    messenger_->close();
    messenger_->DataReceived.remove(this, &ServerPipe::dataReceived);
    messenger_->ReadError.remove(this, &ServerPipe::readError);
    messenger_.reset();
}

bool ServerPipe::send(const std::string& peer, const std::string& bytes) {
    const bool sent = sendAll(*messenger_, peer, bytes);
    print(sent ? "->" : "-x", peer, bytes);
    return sent;
}

void ServerPipe::dropPeers() {
    close();
    std::set<std::string> dropped;
    {
        Kvs::FLockGuard guard(lock_);
        dropped = std::exchange(peers_, {});
    }
    for (const std::string& peer : dropped) {
        forget(peer);
    }
    open();
}

void ServerPipe::dataReceived(Kvs::FComMessenger* /*messenger*/, Kvs::FComMessenger::DataReceivedArg& data) {
    const std::string peer = Kvs::fNarrow(data.sender);
    {
        Kvs::FLockGuard guard(lock_);
        peers_.insert(peer);
    }
    // Asked here, where the descriptor is certainly still this peer's. A peer that is not known is nobody's.
    const auto credentials = Kvs::peerCredentialsOf(std::stoi(peer));
    const Kvs::PeerCredentials nobody{static_cast<uid_t>(-1), -1};
    loop_.post([this, sender = Peer{peer, credentials.value_or(nobody)},
                bytes = std::string(data.data.begin(), data.data.end())] { handle(sender, bytes); });
}

// The error does not name the connection that ended. Its descriptor is still open now, so its number does not
// belong to another peer yet, and an empty write finds it.
void ServerPipe::readError(Kvs::FComMessenger* messenger, int& /*error*/) {
    Kvs::FLockGuard guard(lock_);
    for (auto peer = peers_.begin(); peer != peers_.end();) {
        if (sendAll(*messenger, *peer, {})) {
            ++peer;
            continue;
        }
        loop_.post([this, closed = *peer] { forget(closed); });
        peer = peers_.erase(peer);
    }
}

// One delivery may contain several documents, such as an agent's "Pause" and the "GetStatus" after it.
void ServerPipe::handle(const Peer& peer, const std::string& bytes) {
    std::string_view rest = bytes;
    while (!rest.empty()) {
        long consumed = 0;
        if (!document_.loadXml(rest.data(), static_cast<long>(rest.size()), consumed)) {
            print("<?", peer.name, rest);
            return;
        }
        const auto length = static_cast<std::size_t>(consumed) + 1;
        print("<-", peer.name, rest.substr(0, length));
        rest.remove_prefix(length);
        if (const char* const problem = listener_.received(*this, peer, document_.root())) {
            print("--", peer.name, problem);
        }
    }
}

void ServerPipe::forget(const std::string& peer) {
    print("--", peer, "closed");
    listener_.peerClosed(peer);
}

} // namespace kvn::daemon

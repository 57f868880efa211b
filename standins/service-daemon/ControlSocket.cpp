#include "standins/service-daemon/ControlSocket.h"

#include "standins/LocalSocket.h"

#include <unistd.h>
#include <utility>

namespace kvn::daemon {

ControlSocket::ControlSocket(host::MainLoop& loop, std::string path, Perform perform)
    : loop_(loop), path_(std::move(path)), perform_(std::move(perform)),
      listener_(listeningAt(path_, 0600, 5)) {
    watch_ = loop_.watchReadable(listener_.get(), [this] { accept(); });
}

ControlSocket::~ControlSocket() { ::unlink(path_.c_str()); }

void ControlSocket::accept() {
    Kvs::FileDescriptor socket = acceptedFrom(listener_);
    if (!socket) {
        return;
    }
    const int number = socket.get();
    auto reader = std::make_unique<LineReader>(
        loop_, number, [this, number](const std::string& line) { answer(number, line); },
        [this, number] { forget(number); });
    clients_[number] = {std::move(socket), std::move(reader)};
}

void ControlSocket::answer(int client, const std::string& command) {
    const std::string line = perform_(command) + "\n";
    // A client that lets its answers pile up is none to wait for.
    if (::write(client, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        forget(client);
    }
}

// Not at once: the client's reader is the caller.
void ControlSocket::forget(int client) {
    loop_.post([this, client] { clients_.erase(client); });
}

} // namespace kvn::daemon

#include "standins/service-daemon/ControlSocket.h"

#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn::daemon {
namespace {

[[noreturn]] void fail(int error, const std::string& path) {
    throw std::system_error(error, std::generic_category(), path);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) {
        fail(ENAMETOOLONG, path);
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

bool isServed(const sockaddr_un& address) {
    const auto probe = Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM);
    return ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

void makeNonBlocking(int descriptor) {
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

} // namespace

ControlSocket::ControlSocket(host::MainLoop& loop, std::string path, Perform perform)
    : loop_(loop), path_(std::move(path)), perform_(std::move(perform)),
      listener_(Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM)) {
    const sockaddr_un address = addressOf(path_);
    if (!listener_) {
        fail(errno, path_);
    }
    if (isServed(address)) {
        fail(EADDRINUSE, path_);
    }
    ::unlink(path_.c_str());
    if (::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_.get(), 5) != 0) {
        fail(errno, path_);
    }
    makeNonBlocking(listener_.get());
    watch_ = loop_.watchReadable(listener_.get(), [this] { accept(); });
}

ControlSocket::~ControlSocket() { ::unlink(path_.c_str()); }

void ControlSocket::accept() {
    Kvs::FileDescriptor socket(::accept(listener_.get(), nullptr, nullptr));
    if (!socket) {
        return;
    }
    const int number = socket.get();
    makeNonBlocking(number);
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

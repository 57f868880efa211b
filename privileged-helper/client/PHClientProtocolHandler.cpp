#include "privileged-helper/client/PHClientProtocolHandler.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

namespace kvn {
namespace {

constexpr int kAttempts = 3;
constexpr std::chrono::seconds kPauseAfterFailure{1};

constexpr timeval kHandshakeTimeout = {2, 0};
constexpr timeval kUninstallTimeout = {10, 0};
constexpr timeval kNoTimeout = {0, 0};
// A helper that does not read must not hold up its caller for ever; it then counts as failed.
constexpr timeval kSendTimeout = {2, 0};

// The address is macOS's, whose path field has 104 bytes, on every system: a long name means the same
// file everywhere.
constexpr std::size_t kPathField = 104;
constexpr socklen_t kAddressLength = offsetof(sockaddr_un, sun_path) + kPathField;

/// Why an attempt failed.
struct IOException {
    std::string text;
    int code;
};

[[noreturn]] void fail(const char* text) { throw IOException{text, errno}; }

int setTimeout(int socket, int option, const timeval& timeout) {
    return ::setsockopt(socket, SOL_SOCKET, option, &timeout, sizeof timeout);
}

/// A listener that accepts nobody must not hold up the caller: with a full queue the attempt fails.
bool connectWithoutWaiting(int socket, const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, kPathField - 1);
    if (const int error = PHSetNonBlocking(socket, true); error != 0) {
        errno = error;
        return false;
    }
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), kAddressLength) != 0) {
        return false;
    }
    errno = PHSetNonBlocking(socket, false);
    return errno == 0;
}

/// A connected socket whose reads end after a while. Throws IOException.
Kvs::FileDescriptor connectedSocket(const std::string& bundleIdentifier) {
    Kvs::FileDescriptor socket = Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM);
    if (!socket) {
        fail("Failed to create Unix domain socket");
    }
    errno = Kvs::preventSigPipe(socket.get());
    if (errno != 0) {
        fail("Failed to set SO_NOSIGPIPE socket option");
    }
    const std::string path = Kvs::FSysInfoPaths::underRoot("/var/run/" + bundleIdentifier + ".socket");
    if (path.size() >= kPathField) {
        throw IOException{"Bundle name too long for Unix domain socket name", static_cast<int>(path.size())};
    }
    if (!connectWithoutWaiting(socket.get(), path)) {
        fail("Failed to connect Unix domain socket");
    }
    if (setTimeout(socket.get(), SO_RCVTIMEO, kHandshakeTimeout) != 0) {
        fail("failed to set socket receive timeout");
    }
    setTimeout(socket.get(), SO_SNDTIMEO, kSendTimeout);
    return socket;
}

} // namespace

std::optional<std::string>
PHClientProtocolHandler::connectPrivilegedAgent(const std::string& bundleIdentifier) {
    Kvs::FileDescriptor socket;
    for (int attempt = 1; !socket && attempt <= kAttempts; ++attempt) {
        try {
            socket = connectedSocket(bundleIdentifier);
        } catch (const IOException& exception) {
            Kvs::OCNSLog("%@: %@, error: %d", "IOException", exception.text, exception.code);
            sleeper_.sleepFor(kPauseAfterFailure);
            if (attempt < kAttempts) {
                Kvs::CNSLog("Retrying to connect PrivilegedAgent...");
            }
        }
    }
    setConnection(std::move(socket));
    auto version = getAgentVersion();
    const Connection established = connection();
    if (!established) {
        return version;
    }
    if (setTimeout(established->number(), SO_RCVTIMEO, kNoTimeout) != 0) {
        Kvs::CNSLog("failed to reset socket receive timeout, error: %d", errno);
    }
    Kvs::CNSLog("Connection to PrivilegedAgent established");
    return version;
}

std::optional<std::string> PHClientProtocolHandler::getAgentVersion() {
    if (!sendMessage(PHMessage::object({{"Ctrl", "getVersion"}}))) {
        return std::nullopt;
    }
    const auto answer = readMessage();
    return answer ? stringIn(*answer, "version") : std::nullopt;
}

std::optional<std::int32_t> PHClientProtocolHandler::uninstallAgent() {
    if (!sendMessage(PHMessage::object({{"Cmd", "UninstallInstallerAgent"}}))) {
        return std::nullopt;
    }
    if (const Connection current = connection()) {
        setTimeout(current->number(), SO_RCVTIMEO, kUninstallTimeout);
    }
    const auto answer = readMessage();
    return answer ? integerIn(*answer, "status") : std::nullopt;
}

} // namespace kvn

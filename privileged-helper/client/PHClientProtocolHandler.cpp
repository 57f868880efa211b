// SPDX-License-Identifier: MIT

#include "privileged-helper/client/PHClientProtocolHandler.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/LocalAddress.h"
#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <chrono>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace kvn {
namespace {

constexpr int kAttempts = 3;
constexpr std::chrono::seconds kPauseAfterFailure{1};

constexpr std::chrono::seconds kHandshakeTimeout{2};
constexpr std::chrono::seconds kUninstallTimeout{10};
constexpr std::chrono::milliseconds kNoTimeout{0};
// A helper that does not read must not block its caller for ever: after this time the send fails.
constexpr std::chrono::seconds kSendTimeout{2};

/// The reason why an attempt failed.
struct IOException {
    std::string text;
    int code;
};

void failIf(int error, const char* text) {
    if (error != 0) {
        throw IOException{text, error};
    }
}

/// Returns 0 or an `errno` value. Fails if the queue is full: a listener that accepts no connections must not
/// block the caller.
int connectWithoutWaiting(int socket, const std::string& path) {
    if (const int error = PHSetNonBlocking(socket, true); error != 0) {
        return error;
    }
    if (::connect(socket, Kvs::LocalAddress(path).get(), Kvs::LocalAddress::kLength) != 0) {
        return errno;
    }
    return PHSetNonBlocking(socket, false);
}

/// Returns true if the peer is root's program. Below another root the user's own programs play the helper.
bool isTrusted(int socket) {
    const auto peer = Kvs::peerCredentialsOf(socket);
    return peer &&
           (peer->user == 0 || (!Kvs::FSysInfoPaths::underRoot("").empty() && peer->user == ::geteuid()));
}

/// Connects to the helper, with a bound on the handshake's reads and on all writes. Throws IOException.
std::shared_ptr<PHConnection> connectionTo(const std::string& bundleIdentifier) {
    Kvs::FileDescriptor socket = Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM);
    failIf(socket ? 0 : errno, "Failed to create Unix domain socket");
    failIf(Kvs::preventSigPipe(socket.get()), "Failed to set SO_NOSIGPIPE socket option");
    const std::string path = Kvs::FSysInfoPaths::underRoot("/var/run/" + bundleIdentifier + ".socket");
    if (path.size() > Kvs::LocalAddress::kLongestPath) {
        throw IOException{"Bundle name too long for Unix domain socket name", static_cast<int>(path.size())};
    }
    failIf(connectWithoutWaiting(socket.get(), path), "Failed to connect Unix domain socket");
    failIf(isTrusted(socket.get()) ? 0 : EACCES, "Failed to connect Unix domain socket");
    auto connection = std::make_shared<PHConnection>(std::move(socket));
    failIf(connection->limitReading(kHandshakeTimeout), "failed to set socket receive timeout");
    connection->limitSending(kSendTimeout);
    return connection;
}

} // namespace

std::optional<std::string>
PHClientProtocolHandler::connectPrivilegedAgent(const std::string& bundleIdentifier) {
    Connection next;
    for (int attempt = 1; !next && attempt <= kAttempts; ++attempt) {
        try {
            next = connectionTo(bundleIdentifier);
        } catch (const IOException& exception) {
            Kvs::OCNSLog("%@: %@, error: %d", "IOException", exception.text, exception.code);
            sleeper_.sleepFor(kPauseAfterFailure);
            if (attempt < kAttempts) {
                Kvs::CNSLog("Retrying to connect PrivilegedAgent...");
            }
        }
    }
    setConnection(next);
    auto version = getAgentVersion();
    const Connection established = connection();
    if (!established) {
        return version;
    }
    if (const int error = established->limitReading(kNoTimeout); error != 0) {
        Kvs::CNSLog("failed to reset socket receive timeout, error: %d", error);
    }
    Kvs::CNSLog("Connection to PrivilegedAgent established");
    return version;
}

std::optional<std::string> PHClientProtocolHandler::getAgentVersion() {
    if (!sendMessage({{"Ctrl", "getVersion"}})) {
        return std::nullopt;
    }
    const auto answer = readMessage();
    return answer ? stringIn(*answer, "version") : std::nullopt;
}

std::optional<std::int32_t> PHClientProtocolHandler::uninstallAgent() {
    if (!sendMessage({{"Cmd", "UninstallInstallerAgent"}})) {
        return std::nullopt;
    }
    if (const Connection current = connection()) {
        current->limitReading(kUninstallTimeout);
    }
    const auto answer = readMessage();
    return answer ? integerIn(*answer, "status") : std::nullopt;
}

} // namespace kvn

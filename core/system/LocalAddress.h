// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

namespace Kvs {

/// The address of a Unix-domain socket. Every system uses macOS's address, whose path field has 104 bytes, so
/// that a long name means the same file everywhere.
class LocalAddress {
public:
    static constexpr std::size_t kLongestPath = 103; // the field also contains a NUL
    static constexpr socklen_t kLength = offsetof(sockaddr_un, sun_path) + kLongestPath + 1;

    /// Cuts the path to `kLongestPath` bytes.
    explicit LocalAddress(const std::string& path) {
        address_.sun_family = AF_UNIX;
        path.copy(address_.sun_path, kLongestPath);
    }

    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }

private:
    sockaddr_un address_{};
};

} // namespace Kvs

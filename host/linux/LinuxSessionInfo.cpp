// SPDX-License-Identifier: MIT

#include "host/linux/LinuxSessionInfo.h"

#include "core/system/ReadFile.h"

#include <charconv>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace kvn::host {
namespace {

constexpr std::uint32_t kUnsetSession = 4294967295; // AUDIT_SID_UNSET, linux/audit.h

std::string ownUserName() {
    const uid_t user = getuid();
    constexpr std::size_t kRoomForTexts = 16384;
    std::vector<char> texts(kRoomForTexts);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == 0 && found) {
        return found->pw_name;
    }
    return std::to_string(user);
}

} // namespace

std::optional<std::uint64_t> parseAuditSession(std::string_view text) {
    std::uint32_t session = kUnsetSession;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), session);
    const bool complete = end == text.data() + text.size() || *end == '\n';
    if (error != std::errc() || !complete || session == kUnsetSession) {
        return std::nullopt;
    }
    return session;
}

LinuxSessionInfo::LinuxSessionInfo() {
    constexpr std::size_t kLongestNumber = 64;
    const auto audit = parseAuditSession(Kvs::fReadFile("/proc/self/sessionid", kLongestNumber).value_or(""));
    own_ = {audit.value_or(static_cast<std::uint64_t>(getsid(0))), ownUserName()};
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "host/macos/MacSystemInfo.h"

#include "core/logging/CNSLog.h"
#include "host/macos/Conversions.h"
#include "host/posix/LanguageTag.h"

#import <Foundation/Foundation.h>
#include <bsm/audit.h>
#include <cerrno>
#include <ctime>
#include <sys/sysctl.h>

namespace kvn::host {

std::chrono::seconds MacSystemInfo::upTime() const {
    int name[] = {CTL_KERN, KERN_BOOTTIME};
    timeval start{};
    size_t size = sizeof start;
    if (::sysctl(name, 2, &start, &size, nullptr, 0) != 0) {
        Kvs::OCNSLog("The time of the system's start is not known: %@", posixError(errno));
        return std::chrono::seconds(0);
    }
    return std::chrono::seconds(std::time(nullptr) - start.tv_sec);
}

std::vector<std::string> MacSystemInfo::preferredLanguages() const {
    @autoreleasepool {
        std::vector<std::string> tags;
        for (NSString* tag in NSLocale.preferredLanguages) {
            tags.push_back(languageTag(stdString(tag)));
        }
        return tags;
    }
}

bool MacSystemInfo::isOperatingSystemAtLeast(int major, int minor, int patch) const {
    @autoreleasepool {
        return [NSProcessInfo.processInfo isOperatingSystemAtLeastVersion:{major, minor, patch}];
    }
}

LoginSession MacSessionInfo::ownSession() const {
    @autoreleasepool {
        LoginSession session{0, stdString(NSUserName())};
        auditinfo_addr info{};
        if (::getaudit_addr(&info, sizeof info) == 0) {
            session.identifier = static_cast<std::uint32_t>(info.ai_asid);
        } else {
            Kvs::OCNSLog("The audit session is not known: %@", posixError(errno));
        }
        return session;
    }
}

} // namespace kvn::host

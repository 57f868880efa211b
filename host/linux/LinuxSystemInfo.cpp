#include "host/linux/LinuxSystemInfo.h"

#include "host/linux/LocaleLanguages.h"

#include <cstdlib>
#include <ctime>

namespace kvn::host {
namespace {

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : std::string_view();
}

} // namespace

std::chrono::seconds LinuxSystemInfo::upTime() const {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec);
}

std::vector<std::string> LinuxSystemInfo::preferredLanguages() const {
    return preferredLanguagesOf(
        {variable("LANGUAGE"), variable("LC_ALL"), variable("LC_MESSAGES"), variable("LANG")});
}

} // namespace kvn::host

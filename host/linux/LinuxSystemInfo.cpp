#include "host/linux/LinuxSystemInfo.h"

#include <ctime>

namespace kvn::host {

std::chrono::seconds LinuxSystemInfo::upTime() const {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec);
}

} // namespace kvn::host

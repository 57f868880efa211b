#include "host/Host.h"

#include "host/linux/LinuxPowerManagement.h"
#include "host/linux/LinuxSessionInfo.h"
#include "host/linux/LinuxSystemInfo.h"
#include "host/linux/NoPointer.h"
#include "host/plist/XmlPropertyList.h"
#include "host/posix/AppBundle.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/SystemClock.h"

#include <filesystem>
#include <system_error>

namespace kvn::host {
namespace {

/// The bundle that this program lies in: X.app of X.app/Contents/MacOS/program.
std::string ownBundlePath() {
    std::error_code ignored;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
    return program.parent_path().parent_path().parent_path().string();
}

} // namespace

Host makeHost() {
    Host host;
    host.mainLoop = std::make_unique<PollMainLoop>();
    host.clock = std::make_unique<SystemClock>();
    host.systemInfo = std::make_unique<LinuxSystemInfo>();
    host.sessionInfo = std::make_unique<LinuxSessionInfo>();
    host.processRunner = std::make_unique<PosixProcessRunner>(*host.mainLoop);
    host.propertyList = std::make_unique<XmlPropertyList>();
    host.bundle = std::make_unique<AppBundle>(ownBundlePath(), *host.propertyList);
    host.powerManagement = std::make_unique<LinuxPowerManagement>(*host.mainLoop);
    host.pointer = std::make_unique<NoPointer>();
    return host;
}

} // namespace kvn::host

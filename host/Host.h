#pragma once

#include "host/Bundle.h"
#include "host/Clock.h"
#include "host/MainLoop.h"
#include "host/Pointer.h"
#include "host/PowerManagement.h"
#include "host/ProcessRunner.h"
#include "host/PropertyList.h"
#include "host/SessionInfo.h"
#include "host/SystemInfo.h"

#include <memory>

namespace kvn::host {

/// Everything that a backend gives. None is null; the later ones may use the earlier ones, and all
/// must go before the main loop does.
struct Host {
    std::unique_ptr<MainLoop> mainLoop;
    std::unique_ptr<Clock> clock;
    std::unique_ptr<SystemInfo> systemInfo;
    std::unique_ptr<SessionInfo> sessionInfo;
    std::unique_ptr<ProcessRunner> processRunner;
    std::unique_ptr<PropertyList> propertyList;
    std::unique_ptr<Bundle> bundle;
    std::unique_ptr<PowerManagement> powerManagement;
    std::unique_ptr<Pointer> pointer;
};

/// Builds the host of this process; each backend defines it. Throws FException when the process has no
/// descriptors left. Main thread.
Host makeHost();

} // namespace kvn::host

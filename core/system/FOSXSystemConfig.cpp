#include "core/system/FOSXSystemConfig.h"

#include "core/system/FSysInfoPaths.h"
#include "core/text/Widening.h"

namespace Kvs {

FOSXSystemConfig& FOSXSystemConfig::getInstance() {
    static FOSXSystemConfig instance;
    return instance;
}

FGStr<wchar_t> FOSXSystemConfig::getServiceConfigDirectory(const FGStr<wchar_t>& name) const {
    FGStr<wchar_t> path = fWiden(FSysInfoPaths::applicationSupportDirectory());
    path.append(L"/com.korvane.remote/config");
    if (!name.isEmpty()) {
        path.append(L"/").append(name.token());
    }
    return path;
}

FGStr<wchar_t> FOSXSystemConfig::getServiceLogDirectory(const FGStr<wchar_t>&) const {
    return FSysInfoPaths::getUserLogDirW();
}

} // namespace Kvs

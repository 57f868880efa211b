#pragma once

#include "core/text/FGStr.h"

namespace Kvs {

/// The directories of the service's configuration and logs. Any thread.
class FOSXSystemConfig {
public:
    static FOSXSystemConfig& getInstance();

    virtual ~FOSXSystemConfig() = default;

    /// The configuration directory of the named service, or of all services when the name is empty; no
    /// trailing "/". Nothing is created.
    virtual FGStr<wchar_t> getServiceConfigDirectory(const FGStr<wchar_t>& name) const;

    /// The user log directory, whatever the name; ends with "/".
    virtual FGStr<wchar_t> getServiceLogDirectory(const FGStr<wchar_t>& name) const;
};

} // namespace Kvs

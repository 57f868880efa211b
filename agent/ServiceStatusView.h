#pragma once

#include "remote/platform/OFRRecords.h"

#include <string>

namespace kvn {

/// Where the user sees the service's state. Main thread.
class ServiceStatusView {
public:
    virtual ~ServiceStatusView() = default;

    /// `details` is null when there are none; it is valid for the call.
    virtual void showStatus(const std::string& text, const OFRServiceInfo* details) = 0;
};

} // namespace kvn

#pragma once

#include "remote/platform/OFRRecords.h"

#include <cstdint>
#include <string>

namespace kvn {

/// Follows what the controller learns, for a front end that tells it in words. Main thread.
class AgentObserver {
public:
    virtual ~AgentObserver() = default;

    /// `details` may be null.
    virtual void statusShown(const std::string& text, const OFRServiceInfo* details) = 0;

    /// The helper has carried out a command, or failed to (any status but 0); `details` may be empty.
    virtual void commandCompleted(const std::string& command, std::int32_t status,
                                  const std::string& details) = 0;

    virtual void requestFailed(const std::string& text) = 0;
};

} // namespace kvn

#pragma once

#include "agent/DialogContentView.h"
#include "host/Bundle.h"
#include "remote/platform/OFRRecords.h"

#include <optional>
#include <string>

namespace kvn {

/// The service's state and what is known of its connections. Main thread.
class ServiceStatusView final : public DialogContentView {
public:
    explicit ServiceStatusView(const host::Bundle& bundle);

    /// `details` may be null.
    void showStatus(const std::string& text, const OFRServiceInfo* details);

    host::DialogLines lines() override;

private:
    host::DialogTable proxyTable() const;

    const host::Bundle& bundle_;
    std::string text_;
    std::optional<OFRServiceInfo> details_;
};

} // namespace kvn

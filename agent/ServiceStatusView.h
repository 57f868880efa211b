// SPDX-License-Identifier: MIT

#pragma once

#include "agent/DialogContentView.h"
#include "host/Bundle.h"
#include "remote/platform/OFRRecords.h"

#include <optional>
#include <string>

namespace kvn {

/// Shows the state of the service, and its details as far as they are known. Main thread.
class ServiceStatusView final : public DialogContentView {
public:
    explicit ServiceStatusView(const host::Bundle& bundle);

    /// `details` may be null.
    void showStatus(const std::string& text, const OFRServiceInfo* details);

    /// Shows the sentence below the details; an empty one is none.
    void setRemark(const std::string& remark);

    host::DialogLines lines() override;

private:
    host::DialogTable proxyTable() const;

    const host::Bundle& bundle_;
    std::string text_;
    std::string remark_;
    std::optional<OFRServiceInfo> details_;
};

} // namespace kvn

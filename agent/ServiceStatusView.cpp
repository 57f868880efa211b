// SPDX-License-Identifier: MIT

#include "agent/ServiceStatusView.h"

namespace kvn {

namespace {

constexpr double kWidth = 400.0;
constexpr double kHeight = 160.0;

} // namespace

ServiceStatusView::ServiceStatusView(const host::Bundle& bundle)
    : DialogContentView(kWidth, kHeight), bundle_(bundle) {}

void ServiceStatusView::showStatus(const std::string& text, const OFRServiceInfo* details) {
    text_ = text;
    details_ = details ? std::optional(*details) : std::nullopt;
    changed();
}

void ServiceStatusView::setRemark(const std::string& remark) {
    remark_ = remark;
    changed();
}

host::DialogLines ServiceStatusView::lines() {
    host::DialogLines lines;
    const auto addValue = [&](const char* label, const std::string& value) {
        if (!value.empty()) {
            lines.push_back({label, bundle_.localizedString(label), host::DialogValue{value}});
        }
    };
    addValue("StatusStateLabel", text_);
    if (details_) {
        addValue("StatusServerLabel", details_->server);
        addValue("StatusRegistrationLabel", details_->registration);
        addValue("StatusVersionLabel", details_->version);
        addValue("StatusLastErrorLabel", details_->lastError);
        if (!details_->proxyInfos.empty()) {
            lines.push_back({"proxies", bundle_.localizedString("StatusProxiesLabel"), proxyTable()});
        }
    }
    if (!remark_.empty()) {
        lines.push_back({"remark", remark_});
    }
    return lines;
}

host::DialogTable ServiceStatusView::proxyTable() const {
    host::DialogTable table;
    for (const char* title : {"StatusProxyName", "StatusProxyServer", "StatusProxyTime",
                              "StatusProxyPriority", "StatusProxyActive"}) {
        table.titles.push_back(bundle_.localizedString(title));
    }
    for (const OFRProxyInfo& proxy : details_->proxyInfos) {
        table.rows.push_back({proxy.name, proxy.server, proxy.time, proxy.priority,
                              bundle_.localizedString(proxy.active ? "Yes" : "No")});
    }
    return table;
}

} // namespace kvn

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

host::DialogRows ServiceStatusView::rows() {
    host::DialogRows rows;
    const auto addField = [&](const char* label, const std::string& value) {
        if (!value.empty()) {
            rows.emplace_back(host::DialogField{bundle_.localizedString(label), value});
        }
    };
    addField("StatusStateLabel", text_);
    if (!details_) {
        return rows;
    }
    addField("StatusServerLabel", details_->server);
    addField("StatusRegistrationLabel", details_->registration);
    addField("StatusVersionLabel", details_->version);
    addField("StatusLastErrorLabel", details_->lastError);
    if (!details_->proxyInfos.empty()) {
        rows.emplace_back(host::DialogText{bundle_.localizedString("StatusProxiesLabel")});
        rows.emplace_back(proxyTable());
    }
    return rows;
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

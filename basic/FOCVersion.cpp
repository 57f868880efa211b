#include "basic/FOCVersion.h"

namespace kvn {

std::optional<std::string> FOCVersion::versionInfo(const host::Bundle& bundle) {
    return bundle.infoValue("CFBundleVersion");
}

std::optional<std::string> FOCVersion::sourceRevision(const host::Bundle& bundle) {
    return bundle.infoValue("com.korvane.source.revision");
}

std::string FOCVersion::fullVersionInfo(const host::Bundle& bundle) {
    constexpr char kNone[] = "(null)";
    return bundle.infoValue("CFBundleShortVersionString").value_or(kNone) + "  (" +
           sourceRevision(bundle).value_or(kNone) + ")";
}

} // namespace kvn

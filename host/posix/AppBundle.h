#pragma once

#include "host/Bundle.h"
#include "host/PropertyList.h"

#include <map>

namespace kvn::host {

/// A bundle directory: Contents/Info.plist, Contents/MacOS/ and
/// Contents/Resources/en.lproj/Localizable.strings, which is read once.
class AppBundle final : public Bundle {
public:
    /// `path` is the bundle of this process; the property lists outlive the bundle.
    AppBundle(const std::string& path, const PropertyList& propertyLists);

    std::string localizedString(const std::string& key) const override;

    /// The executable that the information list names, else the one that is named as the bundle;
    /// nothing when there is no such file.
    std::optional<std::string> executableOf(const std::string& bundlePath) const override;

private:
    std::string executableName(const std::string& bundlePath) const;

    const PropertyList& propertyLists_;
    std::map<std::string, std::string, std::less<>> texts_;
};

} // namespace kvn::host

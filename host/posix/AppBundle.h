// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "host/PropertyList.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kvn::host {

/// Returns the bundle of a program: X.app of X.app/Contents/MacOS/program. Returns nullopt for a program in
/// another place.
std::optional<std::string> bundleOf(const std::string& executable);

/// A bundle directory with Contents/Info.plist, Contents/MacOS/ and Contents/Resources/. The string tables
/// are Contents/Resources/LANGUAGE.lproj/Localizable.strings: the table of the first preferred language
/// is read once, or English if that has none, and the English table supplies missing texts.
class AppBundle final : public Bundle {
public:
    /// `path` is the bundle of this process; the property lists outlive the bundle. The languages are
    /// tags, the best first.
    AppBundle(const std::string& path, const PropertyList& propertyLists,
              const std::vector<std::string>& preferredLanguages = {});

    std::string localizedString(const std::string& key) const override;
    std::map<std::string, std::string, std::less<>> localizedStrings() const override { return texts_; }
    /// Returns the text of when this process started: an update may replace the file meanwhile.
    std::optional<std::string> infoValue(const std::string& key) const override;
    std::optional<std::string> resourcePath(const std::string& name, const std::string& type) const override;

    /// Returns the executable that the information list names, or else the one with the bundle's name;
    /// nullopt when there is no such file.
    std::optional<std::string> executableOf(const std::string& bundlePath) const override;

    /// Also returns nullopt for a path that leads out of the folder.
    std::optional<std::string> auxiliaryExecutable(const std::string& path) const override;
    std::variant<PropertyValue::Dictionary, Error>
    embeddedInfoList(const std::string& executable) const override;

private:
    using Texts = std::map<std::string, std::string, std::less<>>;

    std::string tableOf(const std::string& language) const;
    std::string localization(const std::vector<std::string>& preferredLanguages) const;
    Texts readTexts(const std::string& language) const;
    PropertyValue::Dictionary infoListOf(const std::string& bundlePath) const;

    const std::string path_;
    const PropertyList& propertyLists_;
    const PropertyValue::Dictionary infoList_;
    Texts texts_;
};

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"
#include "remote/xml/FEncXmlDocument.h"

#include <cstddef>

namespace Kvs {

/// The service's configuration file: values are elements, found by tag name at any depth below the root
/// element, whose own name does not matter; of several the first in the document counts. One thread at
/// a time.
class FXmlConfigFile {
public:
    /// A larger file does not load.
    static constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

    /// Replaces what was loaded before. Returns false, and nothing is loaded, when the file cannot be opened
    /// as a trusted file (core/system/Trust.h), is too large or is not well-formed. Throws FException when it
    /// cannot be read.
    bool loadFromFile(const FGStr<wchar_t>& path);

    /// Returns true for "1", "true" and "on", in any case, and false for any other text.
    bool getBool(const wchar_t* name, bool defaultValue) const;

    /// Returns the element's decoded text.
    FGStr<wchar_t> getString(const wchar_t* name, const wchar_t* defaultValue) const;

private:
    FEncXmlDocument<wchar_t> document_;
};

} // namespace Kvs

// SPDX-License-Identifier: MIT

#pragma once

#include "host/PropertyList.h"

#include <expat.h>

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kvn::host {

/// Builds a property list from the events of the XML parser, without recursion. Ignores what stands behind
/// the document. Can be used once.
class PropertyListReader {
public:
    std::variant<PropertyValue, Error> read(std::string_view bytes);

private:
    /// An array or dictionary whose end tag has not come yet.
    struct Open {
        std::variant<PropertyValue::Array, PropertyValue::Dictionary> container;
        std::optional<std::string> key;
    };

    void start(std::string_view element);
    void end(std::string_view element);
    void characters(std::string_view text);
    void fail(std::string reason);

    bool valueMayStart() const;
    void startContainer(bool dictionary);
    void endContainer();
    void endLeaf();
    void add(PropertyValue value);

    XML_Parser parser_ = nullptr;
    std::vector<Open> open_;
    std::string leaf_; ///< the element whose text is being collected, if any
    std::string text_;
    bool inPlist_ = false;
    bool ended_ = false; ///< with the document's end tag
    std::optional<PropertyValue> root_;
    std::optional<Error> error_;
};

} // namespace kvn::host

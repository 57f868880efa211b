// SPDX-License-Identifier: MIT

#include "host/plist/PortablePropertyList.h"

#include "core/text/TextFunctions.h"
#include "host/plist/BinaryPropertyList.h"
#include "host/plist/PropertyListReader.h"
#include "host/plist/PropertyListText.h"

#include <cstddef>
#include <string_view>
#include <utility>

namespace kvn::host {
namespace {

constexpr std::string_view kBinaryMagic = "bplist";

/// Writes the XML form. A value that the form cannot hold gives a text that cannot be read back.
class Writer {
public:
    std::string text;

    void put(const PropertyValue& value) {
        indent();
        std::visit(*this, value.value);
    }

    void operator()(bool value) { text += value ? "<true/>\n" : "<false/>\n"; }
    void operator()(std::int64_t value) { element("integer", std::to_string(value)); }
    void operator()(std::uint64_t value) { element("integer", std::to_string(value)); }
    void operator()(double value) { element("real", textOfReal(value)); }
    void operator()(const std::string& value) { element("string", value); }
    void operator()(const PropertyValue::Data& value) { element("data", textOfData(value)); }
    void operator()(PropertyValue::Date value) {
        element("date", textOfDate(value).value_or("outside the years 1 to 9999"));
    }

    void operator()(const PropertyValue::Array& array) {
        container("array", array.empty(), [&] {
            for (const PropertyValue& item : array) {
                put(item);
            }
        });
    }

    void operator()(const PropertyValue::Dictionary& dictionary) {
        container("dict", dictionary.empty(), [&] {
            for (const auto& [key, item] : dictionary) {
                indent();
                element("key", key);
                put(item);
            }
        });
    }

private:
    void indent() { text.append(depth_, '\t'); }

    template <class Body>
    void container(std::string_view name, bool empty, Body body) {
        if (empty) {
            text.append("<").append(name).append("/>\n");
            return;
        }
        text.append("<").append(name).append(">\n");
        ++depth_;
        body();
        --depth_;
        indent();
        text.append("</").append(name).append(">\n");
    }

    void element(std::string_view name, std::string_view content) {
        text.append("<").append(name).append(">");
        for (const char c : content) {
            switch (c) {
            case '&':
                text += "&amp;";
                break;
            case '<':
                text += "&lt;";
                break;
            case '>':
                text += "&gt;";
                break;
            case '\r':
                text += "&#13;"; // a carriage return itself would be read as a line feed
                break;
            default:
                text += c;
            }
        }
        text.append("</").append(name).append(">\n");
    }

    std::size_t depth_ = 0;
};

std::string propertyListText(const PropertyValue& value) {
    Writer writer;
    writer.text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                  "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                  "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                  "<plist version=\"1.0\">\n";
    writer.put(value);
    writer.text += "</plist>\n";
    return std::move(writer.text);
}

} // namespace

std::variant<PropertyValue, Error> PortablePropertyList::parse(std::string_view bytes) const {
    if (bytes.size() > kMaxBytes) {
        return Error{"PropertyList", 0, "larger than " + std::to_string(kMaxBytes) + " bytes"};
    }
    if (bytes.starts_with(kBinaryMagic)) {
        auto read = readBinaryPropertyList(bytes);
        if (auto* value = std::get_if<PropertyValue>(&read)) {
            auto written = write(*value); // fails for values that only the binary form can hold
            if (auto* error = std::get_if<Error>(&written)) {
                return std::move(*error);
            }
        }
        return read;
    }
    return PropertyListReader().read(bytes);
}

std::variant<std::string, Error> PortablePropertyList::write(const PropertyValue& value) const {
    std::string text = propertyListText(value);
    // Reading it back is the only check that finds every value that the form cannot hold.
    auto readBack = parse(text);
    if (auto* error = std::get_if<Error>(&readBack)) {
        return std::move(*error);
    }
    return text;
}

bool readsPropertyListForm(std::string_view bytes) {
    if (bytes.starts_with(kBinaryMagic)) {
        return true;
    }
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    bytes.remove_prefix(bytes.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    bytes = Kvs::fTrimmed(bytes);
    const std::size_t end = bytes.find_first_not_of("0123456789abcdefABCDEF \t\r\n", 1);
    return bytes.starts_with('<') && end != bytes.npos && bytes[end] != '>';
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "core/text/FGStr.h"
#include "fuzz/Fuzz.h"
#include "remote/xml/FEncXml.h"
#include "remote/xml/FEncXmlDocument.h"

#include <string>
#include <string_view>

using kvn::fuzz::require;

namespace {

template <class C>
std::basic_string<C> decoded(Kvs::FStrToken<C> raw) {
    Kvs::FMStr<C> out;
    Kvs::FEncXml<C>::addDecoded(out, raw.data(), static_cast<long>(raw.size()));
    return std::basic_string<C>(out.token());
}

/// Reads every character of a node, so that the sanitizers check the access.
template <class C>
std::size_t touch(const Kvs::FEncXmlNode<C>& node) {
    std::size_t sum = node.name().token().size();
    int looked = 0;
    for (const auto& attribute : node.attributes()) {
        const std::basic_string<C> name(attribute.name.token());
        constexpr int kMostLooked = 4; // each look reads them all
        require(++looked > kMostLooked || name.find(C{}) != name.npos ||
                    node.attribute(name.c_str()) == attribute.value,
                "an attribute is not found by its name");
        sum += decoded<C>(attribute.value.token()).size();
    }
    for (const auto& text : node.text()) {
        require(!text.isEmpty(), "an empty text fragment");
        sum += decoded<C>(text.token()).size();
    }
    for (const auto& child : node.children()) {
        sum += touch(child);
    }
    return sum;
}

/// Reads all documents in the buffer, one after the other.
template <class C>
std::size_t readAll(std::basic_string_view<C> buffer) {
    Kvs::FEncXmlDocument<C> document;
    std::size_t sum = 0;
    long consumed = 0;
    while (document.loadXml(buffer.data(), static_cast<long>(buffer.size()), consumed)) {
        require(consumed >= 3 && static_cast<std::size_t>(consumed) < buffer.size() &&
                    buffer[static_cast<std::size_t>(consumed)] == '>',
                "consumed is not the position of the last \">\"");
        sum += touch(document.root());
        buffer.remove_prefix(static_cast<std::size_t>(consumed) + 1);
    }
    require(!document.root() && consumed == -1, "a failed load leaves something");
    return sum;
}

void writeAndReadBack(const std::string& value) {
    Kvs::FEncXmlAttributeMap attributes;
    attributes.set("A", value.c_str());
    Kvs::FMStr<char> out;
    Kvs::FEncXml<char>::addOpenTag(out, "T", &attributes);
    Kvs::FEncXml<char>::addCloseTag(out, "T");
    Kvs::FMStr<char> element;
    Kvs::FEncXml<char>::addElement(element, "T", {{"A", value.c_str()}});
    require(element.token() == out.token(), "an element differs from its tags");

    Kvs::FEncXmlDocument<char> document;
    require(document.loadXml(out.c_str()), "a written element does not load");
    require(decoded(document.root().attribute("A").token()) == value, "a value does not come back");

    Kvs::FMStr<char> encoded;
    Kvs::FEncXml<char>::addEncoded(encoded, value.data(), static_cast<long>(value.size()));
    require(document.root().attribute("A") == encoded.c_str(), "a value and a text are encoded differently");
}

template <class C>
void scanTag(const std::basic_string<C>& text) {
    Kvs::FEncXmlFragment<C> name;
    Kvs::FMap<Kvs::FEncXmlFragment<C>, Kvs::FEncXmlFragment<C>> attributes;
    long consumed = 0;
    bool selfClosing = false;
    if (Kvs::FEncXml<C>::decodeNextTag(text.c_str(), name, attributes, consumed, selfClosing)) {
        require(text[static_cast<std::size_t>(consumed) - 1] == '>', "a tag does not end with \">\"");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = kvn::fuzz::textOf(data, size);
    std::wstring wide;
    for (std::size_t i = 0; i < size; ++i) {
        wide.push_back(static_cast<wchar_t>(data[i]));
    }

    const std::size_t sum = readAll<char>(bytes);
    // Only documents of bytes may have a byte-order mark, which is skipped before each of them.
    if (bytes.find(Kvs::BOMLE) == bytes.npos) {
        require(sum == readAll<wchar_t>(wide), "char and wchar_t differ");
    }
    decoded(bytes);
    scanTag(std::string(bytes));
    scanTag(wide);
    writeAndReadBack(std::string(bytes.substr(0, bytes.find('\0'))));
    return 0;
}

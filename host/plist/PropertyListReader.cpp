// SPDX-License-Identifier: MIT

#include "host/plist/PropertyListReader.h"

#include "core/text/TextFunctions.h"
#include "host/plist/PropertyListText.h"

#include <memory>
#include <type_traits>
#include <utility>

namespace kvn::host {

namespace {

bool isBlank(std::string_view text) { return Kvs::fTrimmed(text).empty(); }

bool isLeaf(std::string_view element) {
    for (const std::string_view known : {"string", "integer", "real", "true", "false", "date", "data"}) {
        if (element == known) {
            return true;
        }
    }
    return false;
}

template <class T>
std::optional<PropertyValue> asValue(std::optional<T> value) {
    return value ? std::optional(PropertyValue{std::move(*value)}) : std::nullopt;
}

std::optional<PropertyValue> leafValue(std::string_view element, std::string text) {
    if (element == "string") {
        return PropertyValue{std::move(text)};
    }
    if (element == "integer") {
        return integerFromText(text);
    }
    if (element == "real") {
        return asValue(realFromText(text));
    }
    if (element == "date") {
        return asValue(dateFromText(text));
    }
    if (element == "data") {
        return asValue(dataFromText(text));
    }
    return isBlank(text) ? std::optional(PropertyValue{element == "true"}) : std::nullopt;
}

PropertyListReader& reader(void* userData) { return *static_cast<PropertyListReader*>(userData); }

} // namespace

std::variant<PropertyValue, Error> PropertyListReader::read(std::string_view bytes) {
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), XML_ParserFree);
    if (!parser) {
        return Error{"PropertyList", XML_ERROR_NO_MEMORY, XML_ErrorString(XML_ERROR_NO_MEMORY)};
    }
    parser_ = parser.get();
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(
        parser_, [](void* self, const XML_Char* name, const XML_Char**) { reader(self).start(name); },
        [](void* self, const XML_Char* name) { reader(self).end(name); });
    XML_SetCharacterDataHandler(parser_, [](void* self, const XML_Char* text, int length) {
        reader(self).characters({text, static_cast<std::size_t>(length)});
    });
    // The usual DOCTYPE names a DTD, which is never read. Lists that need it, or declare entities, are
    // refused.
    XML_SetEntityDeclHandler(parser_, [](void* self, const XML_Char*, int, const XML_Char*, int,
                                         const XML_Char*, const XML_Char*, const XML_Char*,
                                         const XML_Char*) { reader(self).fail("declares an entity"); });
    XML_SetSkippedEntityHandler(
        parser_, [](void* self, const XML_Char*, int) { reader(self).fail("uses an undeclared entity"); });

    const auto status = XML_Parse(parser_, bytes.data(), static_cast<int>(bytes.size()), XML_TRUE);
    if (status != XML_STATUS_OK && !ended_) {
        fail(XML_ErrorString(XML_GetErrorCode(parser_)));
    } else if (!root_) {
        fail("holds no value");
    }
    if (error_) {
        return std::move(*error_);
    }
    return std::move(*root_);
}

void PropertyListReader::start(std::string_view element) {
    if (error_) {
        return;
    }
    const bool atTop = open_.empty() && !root_;
    if (!leaf_.empty()) {
        fail("an element inside a scalar value");
    } else if (element == "plist" && atTop && !inPlist_) {
        inPlist_ = true;
    } else if (element == "key") {
        if (open_.empty() || !std::holds_alternative<PropertyValue::Dictionary>(open_.back().container) ||
            open_.back().key) {
            return fail("a misplaced key");
        }
        leaf_ = element;
    } else if (element != "dict" && element != "array" && !isLeaf(element)) {
        fail("an unknown element");
    } else if (!valueMayStart()) {
        fail("a misplaced value");
    } else if (isLeaf(element)) {
        leaf_ = element;
    } else {
        startContainer(element == "dict");
    }
}

bool PropertyListReader::valueMayStart() const {
    if (open_.empty()) {
        return !root_;
    }
    return std::holds_alternative<PropertyValue::Array>(open_.back().container) || open_.back().key;
}

void PropertyListReader::startContainer(bool dictionary) {
    if (open_.size() == PropertyList::kMaxDepth) {
        return fail("nested too deeply");
    }
    Open& opened = open_.emplace_back();
    if (dictionary) {
        opened.container = PropertyValue::Dictionary();
    }
}

void PropertyListReader::end(std::string_view element) {
    if (error_) {
        return;
    }
    if (!leaf_.empty()) {
        endLeaf();
    } else if (element != "plist") {
        endContainer();
    }
    // Behind the document the end of a longer one may stand, if a program was killed when it replaced that.
    if (!error_ && root_ && (element == "plist" || !inPlist_)) {
        ended_ = true;
        XML_StopParser(parser_, XML_FALSE);
    }
}

void PropertyListReader::endLeaf() {
    const std::string element = std::exchange(leaf_, {});
    std::string text = std::exchange(text_, {});
    if (element == "key") {
        open_.back().key = std::move(text);
    } else if (auto value = leafValue(element, std::move(text))) {
        add(std::move(*value));
    } else {
        fail("not a valid " + element);
    }
}

void PropertyListReader::endContainer() {
    if (open_.back().key) {
        return fail("a key without a value");
    }
    auto container = std::move(open_.back().container);
    open_.pop_back();
    std::visit([this](auto& whole) { add(PropertyValue{std::move(whole)}); }, container);
}

void PropertyListReader::add(PropertyValue value) {
    if (open_.empty()) {
        root_ = std::move(value);
    } else if (auto* array = std::get_if<PropertyValue::Array>(&open_.back().container)) {
        array->push_back(std::move(value));
    } else {
        auto& dictionary = std::get<PropertyValue::Dictionary>(open_.back().container);
        dictionary.insert_or_assign(std::move(*open_.back().key), std::move(value));
        open_.back().key.reset();
    }
}

void PropertyListReader::characters(std::string_view text) {
    if (error_) {
        return;
    }
    if (!leaf_.empty()) {
        text_ += text;
    } else if (!isBlank(text)) {
        fail("text outside a value");
    }
}

void PropertyListReader::fail(std::string reason) {
    if (!error_) {
        error_ =
            Error{"PropertyList", 0,
                  "line " + std::to_string(XML_GetCurrentLineNumber(parser_)) + ": " + std::move(reason)};
        XML_StopParser(parser_, XML_FALSE);
    }
}

} // namespace kvn::host

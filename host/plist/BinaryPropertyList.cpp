// SPDX-License-Identifier: MIT

#include "host/plist/BinaryPropertyList.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

namespace kvn::host {

namespace {

// The form is: the magic text, the objects, a table of their offsets, and a trailer. An object starts with a
// byte that holds its kind and its size or count. All numbers have their high byte first.
constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerBytes = 32;
/// What a value costs besides its own bytes, so that empty values are limited too.
constexpr std::size_t kValueCost = 16;
/// Dates count from 2001-01-01.
constexpr auto kReferenceDate = std::chrono::sys_days(std::chrono::year(2001) / 1 / 1);

enum Kind : unsigned {
    kSimple,
    kInteger,
    kReal,
    kDate,
    kData,
    kAscii,
    kUtf16,
    kArray = 0xA,
    kDictionary = 0xD
};

std::uint64_t number(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

double real(std::string_view bytes) {
    if (bytes.size() == 4) {
        const auto bits = static_cast<std::uint32_t>(number(bytes));
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return static_cast<double>(value);
    }
    const std::uint64_t bits = number(bytes);
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

void appendUtf8(std::string& text, std::uint32_t character) {
    const auto rest = [character](unsigned shift) {
        return static_cast<char>(0x80 | (character >> shift & 0x3F));
    };
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text.append({static_cast<char>(0xC0 | character >> 6), rest(0)});
    } else if (character < 0x10000) {
        text.append({static_cast<char>(0xE0 | character >> 12), rest(6), rest(0)});
    } else {
        text.append({static_cast<char>(0xF0 | character >> 18), rest(12), rest(6), rest(0)});
    }
}

std::optional<PropertyValue> utf16(std::string_view bytes) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 2) {
        auto character = static_cast<std::uint32_t>(number(bytes.substr(at, 2)));
        if (character >= 0xD800 && character < 0xE000) { // the first half of a pair
            at += 2;
            const auto second =
                at < bytes.size() ? static_cast<std::uint32_t>(number(bytes.substr(at, 2))) : 0;
            if (character >= 0xDC00 || second < 0xDC00 || second >= 0xE000) {
                return std::nullopt;
            }
            character = 0x10000 + ((character - 0xD800) << 10) + (second - 0xDC00);
        }
        appendUtf8(text, character);
    }
    return PropertyValue{std::move(text)};
}

std::optional<PropertyValue> simple(unsigned info) {
    constexpr unsigned kFalse = 8;
    constexpr unsigned kTrue = 9;
    return info == kFalse || info == kTrue ? std::optional(PropertyValue{info == kTrue}) : std::nullopt;
}

std::optional<PropertyValue> integer(std::string_view bytes) {
    // Shorter integers are never negative; one of 16 bytes is a number from 2^63 on.
    const bool large = bytes.size() == 16;
    if (bytes.size() > 8 && (!large || number(bytes.substr(0, 8)) != 0)) {
        return std::nullopt;
    }
    const std::uint64_t value = number(large ? bytes.substr(8) : bytes);
    if (large && value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return PropertyValue{value};
    }
    return PropertyValue{static_cast<std::int64_t>(value)};
}

std::optional<PropertyValue> date(std::string_view bytes) {
    constexpr double kMostSeconds = 1e12; // some 30,000 years
    if (bytes.size() != 8) {
        return std::nullopt;
    }
    const double seconds = std::floor(real(bytes));
    if (!(std::abs(seconds) < kMostSeconds)) { // or not a number
        return std::nullopt;
    }
    return PropertyValue{kReferenceDate + std::chrono::seconds(static_cast<std::int64_t>(seconds))};
}

class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    /// The functions return nullopt for what is not valid.
    std::optional<PropertyValue> read();

private:
    struct Object {
        unsigned kind;
        unsigned info;
        std::string_view content;
    };

    std::optional<std::string_view> takeBytes(std::size_t& offset, std::uint64_t size) const;
    std::optional<Object> takeObject(std::uint64_t index);
    std::optional<std::uint64_t> sizeOf(const Object& object, std::size_t& offset) const;
    std::uint64_t widthOf(unsigned kind) const;
    std::optional<PropertyValue> value(std::uint64_t index, std::size_t depth);
    std::optional<PropertyValue> array(std::string_view references, std::size_t depth);
    std::optional<PropertyValue> dictionary(std::string_view references, std::size_t depth);

    const std::string_view bytes_;
    std::size_t objectsEnd_ = 0; // where the table of offsets starts
    std::uint64_t objects_ = 0;
    std::size_t offsetBytes_ = 0;
    std::size_t referenceBytes_ = 0;
    std::size_t left_ = PropertyList::kMaxBytes; // for further values
};

std::optional<PropertyValue> Reader::read() {
    if (!bytes_.starts_with(kMagic) || bytes_.size() < kMagic.size() + kTrailerBytes) {
        return std::nullopt;
    }
    const std::string_view trailer = bytes_.substr(bytes_.size() - kTrailerBytes);
    const std::size_t tableEnd = bytes_.size() - kTrailerBytes;
    offsetBytes_ = static_cast<std::size_t>(number(trailer.substr(6, 1)));
    referenceBytes_ = static_cast<std::size_t>(number(trailer.substr(7, 1)));
    objects_ = number(trailer.substr(8, 8));
    const std::uint64_t table = number(trailer.substr(24, 8));
    const auto isWidth = [](std::size_t width) { return width >= 1 && width <= sizeof(std::uint64_t); };
    if (!isWidth(offsetBytes_) || !isWidth(referenceBytes_) || table < kMagic.size() || table > tableEnd ||
        objects_ > (tableEnd - table) / offsetBytes_) {
        return std::nullopt;
    }
    objectsEnd_ = static_cast<std::size_t>(table);
    return value(number(trailer.substr(16, 8)), 0);
}

/// Takes the bytes from the offset on, which moves behind them.
std::optional<std::string_view> Reader::takeBytes(std::size_t& offset, std::uint64_t size) const {
    if (offset > objectsEnd_ || size > objectsEnd_ - offset) {
        return std::nullopt;
    }
    const auto length = static_cast<std::size_t>(size);
    return bytes_.substr(std::exchange(offset, offset + length), length);
}

std::optional<Reader::Object> Reader::takeObject(std::uint64_t index) {
    if (index >= objects_ || left_ < kValueCost) {
        return std::nullopt;
    }
    const std::size_t entry = objectsEnd_ + static_cast<std::size_t>(index) * offsetBytes_;
    const std::uint64_t start = number(bytes_.substr(entry, offsetBytes_));
    if (start < kMagic.size() || start >= objectsEnd_) {
        return std::nullopt;
    }
    auto offset = static_cast<std::size_t>(start);
    const auto marker = static_cast<unsigned>(number(*takeBytes(offset, 1)));
    Object object{.kind = marker >> 4, .info = marker & 0xF, .content = {}};
    const auto size = sizeOf(object, offset);
    // A count above the number of bytes is wrong; multiplied, it might overflow.
    const auto content =
        size && *size <= objectsEnd_ ? takeBytes(offset, *size * widthOf(object.kind)) : std::nullopt;
    if (!content || content->size() > left_ - kValueCost) {
        return std::nullopt;
    }
    left_ -= kValueCost + content->size();
    object.content = *content;
    return object;
}

/// Returns the number of the object's elements, each of which has `widthOf` bytes.
std::optional<std::uint64_t> Reader::sizeOf(const Object& object, std::size_t& offset) const {
    constexpr unsigned kIntegerFollows = 0xF;
    if (object.kind == kSimple) {
        return 0;
    }
    if (object.kind == kInteger || object.kind == kReal || object.kind == kDate) {
        return std::uint64_t{1} << object.info;
    }
    if (object.info != kIntegerFollows) {
        return object.info;
    }
    const auto marker = takeBytes(offset, 1);
    const auto count = marker ? static_cast<unsigned>(number(*marker)) : 0;
    const bool valid = count >> 4 == kInteger && (count & 0xF) <= 3; // at most 8 bytes
    const auto bytes = valid ? takeBytes(offset, std::uint64_t{1} << (count & 0xF)) : std::nullopt;
    return bytes ? std::optional(number(*bytes)) : std::nullopt;
}

std::uint64_t Reader::widthOf(unsigned kind) const {
    switch (kind) {
    case kUtf16:
        return 2;
    case kArray:
        return referenceBytes_;
    case kDictionary:
        return 2 * referenceBytes_;
    default:
        return 1;
    }
}

std::optional<PropertyValue> Reader::value(std::uint64_t index, std::size_t depth) {
    const auto object = takeObject(index);
    if (!object) {
        return std::nullopt;
    }
    const std::string_view content = object->content;
    switch (object->kind) {
    case kSimple:
        return simple(object->info);
    case kInteger:
        return integer(content);
    case kReal:
        return content.size() == 4 || content.size() == 8 ? std::optional(PropertyValue{real(content)})
                                                          : std::nullopt;
    case kDate:
        return date(content);
    case kData:
        return PropertyValue{PropertyValue::Data(content.begin(), content.end())};
    case kAscii:
        return PropertyValue{std::string(content)};
    case kUtf16:
        return utf16(content);
    case kArray:
        return array(content, depth);
    case kDictionary:
        return dictionary(content, depth);
    default:
        return std::nullopt;
    }
}

std::optional<PropertyValue> Reader::array(std::string_view references, std::size_t depth) {
    if (depth == PropertyList::kMaxDepth) {
        return std::nullopt;
    }
    PropertyValue::Array values;
    for (std::size_t at = 0; at < references.size(); at += referenceBytes_) {
        auto value = this->value(number(references.substr(at, referenceBytes_)), depth + 1);
        if (!value) {
            return std::nullopt;
        }
        values.push_back(std::move(*value));
    }
    return PropertyValue{std::move(values)};
}

std::optional<PropertyValue> Reader::dictionary(std::string_view references, std::size_t depth) {
    const auto keys = array(references.substr(0, references.size() / 2), depth);
    auto values = keys ? array(references.substr(references.size() / 2), depth) : std::nullopt;
    if (!values) {
        return std::nullopt;
    }
    std::optional<PropertyValue> result(std::in_place); // filled in place: GCC 12 warns of a move out of it
    auto& whole = result->value.emplace<PropertyValue::Dictionary>();
    auto value = std::get<PropertyValue::Array>(values->value).begin();
    for (const PropertyValue& key : *keys->as<PropertyValue::Array>()) {
        const auto* text = key.as<std::string>();
        if (!text) {
            return std::nullopt;
        }
        whole.insert_or_assign(*text, std::move(*value++));
    }
    return result;
}

} // namespace

std::variant<PropertyValue, Error> readBinaryPropertyList(std::string_view bytes) {
    if (auto value = Reader(bytes).read()) {
        return std::move(*value);
    }
    return Error{"PropertyList", 0, "not a valid binary list"};
}

} // namespace kvn::host

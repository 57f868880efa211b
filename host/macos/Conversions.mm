#include "host/macos/Conversions.h"
#include <cmath>

namespace kvn::host {

Error errorOf(NSError* error, const char* fallbackDomain) {
    return error ? Error{stdString(error.domain), static_cast<int>(error.code),
                         stdString(error.localizedDescription)}
                 : Error{fallbackDomain, 0, "unknown"};
}

NSDate* nsDate(std::chrono::system_clock::time_point time) {
    return
        [NSDate dateWithTimeIntervalSince1970:std::chrono::duration<double>(time.time_since_epoch()).count()];
}

std::chrono::system_clock::time_point timePoint(NSDate* date) {
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::duration<double>(date.timeIntervalSince1970)));
}

namespace {
PropertyValue numberValue(NSNumber* number) {
    if (CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID()) {
        return {static_cast<bool>(number.boolValue)};
    }
    if (CFNumberIsFloatType((__bridge CFNumberRef)number)) {
        return {number.doubleValue};
    }
    if (number.unsignedLongLongValue > INT64_MAX && number.longLongValue < 0 && number.doubleValue > 0) {
        return {static_cast<std::uint64_t>(number.unsignedLongLongValue)};
    }
    return {static_cast<std::int64_t>(number.longLongValue)};
}
} // namespace

std::optional<PropertyValue> propertyValue(id object) {
    if ([object isKindOfClass:[NSString class]]) {
        return PropertyValue{stdString(object)};
    }
    if ([object isKindOfClass:[NSNumber class]]) {
        return numberValue(object);
    }
    if ([object isKindOfClass:[NSDate class]]) {
        return PropertyValue{std::chrono::floor<std::chrono::seconds>(timePoint(object))};
    }
    if (NSData* const data = [object isKindOfClass:[NSData class]] ? object : nil) {
        const auto* bytes = static_cast<const std::uint8_t*>(data.bytes);
        return PropertyValue{PropertyValue::Data(bytes, bytes + data.length)};
    }
    if ([object isKindOfClass:[NSArray class]]) {
        PropertyValue::Array array;
        for (id item in static_cast<NSArray*>(object)) {
            auto value = propertyValue(item);
            if (!value) {
                return std::nullopt;
            }
            array.push_back(std::move(*value));
        }
        return PropertyValue{std::move(array)};
    }
    if (NSDictionary* const entries = [object isKindOfClass:[NSDictionary class]] ? object : nil) {
        PropertyValue::Dictionary dictionary;
        for (NSString* key in entries) {
            auto value = propertyValue(entries[key]);
            if (!value) {
                return std::nullopt;
            }
            dictionary.emplace(stdString(key), std::move(*value));
        }
        return PropertyValue{std::move(dictionary)};
    }
    return std::nullopt;
}

id plistObject(const PropertyValue& value) {
    struct Visitor {
        id operator()(bool b) const { return @(b); }
        id operator()(std::int64_t n) const { return @(n); }
        id operator()(std::uint64_t n) const { return @(n); }
        id operator()(double d) const { return @(d); }
        id operator()(const std::string& text) const { return nsString(text); }
        id operator()(const PropertyValue::Data& data) const {
            return [NSData dataWithBytes:data.data() length:data.size()];
        }
        id operator()(PropertyValue::Date date) const { return nsDate(date); }
        id operator()(const PropertyValue::Array& array) const {
            NSMutableArray* const result = [NSMutableArray array];
            for (const auto& item : array) {
                [result addObject:plistObject(item)];
            }
            return result;
        }
        id operator()(const PropertyValue::Dictionary& entries) const {
            NSMutableDictionary* const result = [NSMutableDictionary dictionary];
            for (const auto& [key, item] : entries) {
                result[nsString(key)] = plistObject(item);
            }
            return result;
        }
    };
    return std::visit(Visitor{}, value.value);
}

} // namespace kvn::host

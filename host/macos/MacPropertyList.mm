// SPDX-License-Identifier: MIT

#include "host/macos/MacPropertyList.h"

#include "host/macos/Conversions.h"

namespace kvn::host {
namespace {

constexpr const char* kDomain = "PropertyList";

} // namespace

std::variant<PropertyValue, Error> MacPropertyList::parse(std::string_view bytes) const {
    if (bytes.size() > kMaxBytes || readsPropertyListForm(bytes)) {
        return portable_.parse(bytes);
    }
    @autoreleasepool {
        NSError* error = nil;
        NSData* const data = [NSData dataWithBytes:bytes.data() length:bytes.size()];
        const id list = [NSPropertyListSerialization propertyListWithData:data
                                                                  options:NSPropertyListImmutable
                                                                   format:nil
                                                                    error:&error];
        if (!list) {
            return errorOf(error, kDomain);
        }
        return propertyValueOf(list);
    }
}

std::variant<PropertyValue, Error> propertyValueOf(id propertyList) {
    @autoreleasepool {
        NSError* error = nil;
        NSData* const data = [NSPropertyListSerialization dataWithPropertyList:propertyList
                                                                        format:NSPropertyListXMLFormat_v1_0
                                                                       options:0
                                                                         error:&error];
        if (!data) {
            return errorOf(error, kDomain);
        }
        return PortablePropertyList().parse({static_cast<const char*>(data.bytes), data.length});
    }
}

} // namespace kvn::host

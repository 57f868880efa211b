// SPDX-License-Identifier: MIT

#include "host/linux/NotificationMessage.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace kvn::host {
namespace {

/// Reads the arguments one after the other. The results of the functions are false when an argument has
/// another type, and when the texts are too long.
class Reader {
public:
    explicit Reader(sd_bus_message& message) : message_(message) {}

    bool read(Notification& notification) {
        char type = 0;
        const char* contents = nullptr;
        if (!readText(notification.name) || !readText(notification.object) ||
            sd_bus_message_peek_type(&message_, &type, &contents) <= 0 || type != SD_BUS_TYPE_ARRAY) {
            return false;
        }
        const bool variants = std::string_view(contents) == "{sv}";
        const char* const entry = variants ? "sv" : "ss"; // entering fails when it is neither
        if (sd_bus_message_enter_container(&message_, SD_BUS_TYPE_ARRAY, variants ? "{sv}" : "{ss}") <= 0) {
            return false;
        }
        int entered = 0;
        while ((entered = sd_bus_message_enter_container(&message_, SD_BUS_TYPE_DICT_ENTRY, entry)) > 0) {
            std::string key;
            std::optional<std::string> value(std::in_place);
            if (!readText(key) || !(variants ? readVariant(value) : readText(*value)) ||
                sd_bus_message_exit_container(&message_) < 0) {
                return false;
            }
            if (value) {
                notification.userInfo.emplace(std::move(key), std::move(*value));
            }
        }
        return entered == 0;
    }

private:
    bool readText(std::string& text) {
        const char* read = nullptr;
        if (sd_bus_message_read_basic(&message_, SD_BUS_TYPE_STRING, static_cast<void*>(&read)) <= 0) {
            return false;
        }
        const std::size_t size = std::strlen(read);
        if (size > room_) {
            return false;
        }
        room_ -= size;
        text.assign(read, size);
        return true;
    }

    /// Leaves the value empty when it is neither a text nor an integer.
    bool readVariant(std::optional<std::string>& value) {
        char type = 0;
        const char* contents = nullptr;
        if (sd_bus_message_peek_type(&message_, &type, &contents) <= 0) {
            return false;
        }
        const std::string_view held(contents);
        if (held.size() != 1 || std::string_view("sbynqiuxt").find(held) == std::string_view::npos) {
            value.reset();
            return sd_bus_message_skip(&message_, "v") >= 0;
        }
        return sd_bus_message_enter_container(&message_, SD_BUS_TYPE_VARIANT, contents) > 0 &&
               readValue(held.front(), *value) && sd_bus_message_exit_container(&message_) >= 0;
    }

    bool readValue(char type, std::string& value) {
        switch (type) {
        case SD_BUS_TYPE_STRING:
            return readText(value);
        case SD_BUS_TYPE_BOOLEAN:
            return readNumber<int>(type, value);
        case SD_BUS_TYPE_BYTE:
            return readNumber<std::uint8_t>(type, value);
        case SD_BUS_TYPE_INT16:
            return readNumber<std::int16_t>(type, value);
        case SD_BUS_TYPE_UINT16:
            return readNumber<std::uint16_t>(type, value);
        case SD_BUS_TYPE_INT32:
            return readNumber<std::int32_t>(type, value);
        case SD_BUS_TYPE_UINT32:
            return readNumber<std::uint32_t>(type, value);
        case SD_BUS_TYPE_INT64:
            return readNumber<std::int64_t>(type, value);
        default:
            return readNumber<std::uint64_t>(type, value);
        }
    }

    template <class Number>
    bool readNumber(char type, std::string& value) {
        Number number{};
        if (sd_bus_message_read_basic(&message_, type, &number) <= 0) {
            return false;
        }
        value = std::to_string(number);
        return true;
    }

    sd_bus_message& message_;
    std::size_t room_ = kMaxNotificationBytes;
};

} // namespace

std::optional<Notification> readNotification(sd_bus_message& message) {
    Notification notification;
    return Reader(message).read(notification) ? std::optional(std::move(notification)) : std::nullopt;
}

bool appendNotification(sd_bus_message& message, const Notification& notification) {
    if (sd_bus_message_append(&message, "ss", notification.name.c_str(), notification.object.c_str()) < 0 ||
        sd_bus_message_open_container(&message, SD_BUS_TYPE_ARRAY, "{ss}") < 0) {
        return false;
    }
    for (const auto& [key, value] : notification.userInfo) {
        if (sd_bus_message_append(&message, "{ss}", key.c_str(), value.c_str()) < 0) {
            return false;
        }
    }
    return sd_bus_message_close_container(&message) >= 0;
}

} // namespace kvn::host

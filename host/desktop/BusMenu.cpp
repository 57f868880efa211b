// SPDX-License-Identifier: MIT

#include "host/desktop/BusMenu.h"

#include <QGuiApplication>
#include <algorithm>
#include <optional>
#include <span>
#include <string_view>

namespace kvn::host {
namespace {

constexpr const char* kInterface = "com.canonical.dbusmenu";
constexpr std::uint32_t kRevision = 1; // the entries stay the same
constexpr std::uint32_t kVersion = 3;  // of the interface

/// The most names, numbers or events in a call. A panel sends fewer, and the main thread must not be held by
/// another program that sends millions.
constexpr std::size_t kMostAsked = 256;

using Names = std::vector<std::string_view>; // of properties; empty means all

// An append that fails makes the later ones and the sending fail, too, so only the sending is checked.

/// Returns nullopt for too many names.
std::optional<Names> readNames(sd_bus_message* message) {
    Names names;
    const char* name = nullptr;
    sd_bus_message_enter_container(message, 'a', "s");
    while (sd_bus_message_read(message, "s", &name) > 0) {
        if (names.size() == kMostAsked) {
            return std::nullopt;
        }
        names.emplace_back(name);
    }
    sd_bus_message_exit_container(message);
    return names;
}

template <class Values, class Value>
bool isWanted(const Values& wanted, Value value) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), value) != wanted.end();
}

/// An underline marks the key of a title, and two are one of the text.
std::string labelOf(const std::string& title) {
    std::string label;
    for (const char character : title) {
        label.append(character == '_' ? 2 : 1, character);
    }
    return label;
}

/// Appends the properties of an entry, or those of the menu for null.
void appendProperties(sd_bus_message* message, const Menu::value_type* entry, const Names& names) {
    sd_bus_message_open_container(message, 'a', "{sv}");
    if (!entry && isWanted(names, "children-display")) {
        sd_bus_message_append(message, "{sv}", "children-display", "s", "submenu");
    }
    if (entry && std::holds_alternative<MenuSeparator>(*entry) && isWanted(names, "type")) {
        sd_bus_message_append(message, "{sv}", "type", "s", "separator");
    }
    if (const auto* item = entry ? std::get_if<MenuItem>(entry) : nullptr) {
        if (isWanted(names, "label")) {
            sd_bus_message_append(message, "{sv}", "label", "s", labelOf(item->title).c_str());
        }
        if (isWanted(names, "enabled")) {
            sd_bus_message_append(message, "{sv}", "enabled", "b", static_cast<int>(item->enabled));
        }
    }
    sd_bus_message_close_container(message);
}

int sendAnswer(sd_bus_message* call, const BusMessage& answer) {
    return sd_bus_send(sd_bus_message_get_bus(call), answer.get(), nullptr);
}

BusMessage newAnswer(sd_bus_message* call) {
    sd_bus_message* answer = nullptr;
    sd_bus_message_new_method_return(call, &answer);
    return BusMessage(answer);
}

} // namespace

/// The functions that the connection calls.
struct BusMenu::Table {
    static const sd_bus_vtable kEntries[];

    static const Menu& menuOf(void* object) { return static_cast<BusMenu*>(object)->item_.menu(); }

    /// Returns true if the menu or an entry has this number.
    static bool exists(void* object, std::int32_t id) {
        return id >= 0 && static_cast<std::size_t>(id) <= menuOf(object).size();
    }
    /// Returns null for the menu itself. The number exists.
    static const Menu::value_type* entryOf(void* object, std::int32_t id) {
        return id == 0 ? nullptr : &menuOf(object)[static_cast<std::size_t>(id) - 1];
    }
    static int fail(sd_bus_error* error) {
        return sd_bus_error_set_const(error, SD_BUS_ERROR_INVALID_ARGS, "The menu has no such entry");
    }
    static int failForLength(sd_bus_error* error) {
        return sd_bus_error_set_const(error, SD_BUS_ERROR_LIMITS_EXCEEDED, "The call asks for too much");
    }

    static int getLayout(sd_bus_message* call, void* object, sd_bus_error* error) {
        std::int32_t parent = 0;
        std::int32_t depth = 0;
        sd_bus_message_read(call, "ii", &parent, &depth);
        const auto names = readNames(call);
        if (!names) {
            return failForLength(error);
        }
        if (!exists(object, parent)) {
            return fail(error);
        }
        const auto answer = newAnswer(call);
        sd_bus_message_append(answer.get(), "u", kRevision);
        sd_bus_message_open_container(answer.get(), 'r', "ia{sv}av");
        sd_bus_message_append(answer.get(), "i", parent);
        appendProperties(answer.get(), entryOf(object, parent), *names);
        sd_bus_message_open_container(answer.get(), 'a', "v");
        const auto entries = static_cast<std::int32_t>(menuOf(object).size());
        for (std::int32_t id = 1; parent == 0 && depth != 0 && id <= entries; ++id) {
            sd_bus_message_open_container(answer.get(), 'v', "(ia{sv}av)");
            sd_bus_message_open_container(answer.get(), 'r', "ia{sv}av");
            sd_bus_message_append(answer.get(), "i", id);
            appendProperties(answer.get(), entryOf(object, id), *names);
            sd_bus_message_append(answer.get(), "av", 0);
            sd_bus_message_close_container(answer.get());
            sd_bus_message_close_container(answer.get());
        }
        sd_bus_message_close_container(answer.get());
        sd_bus_message_close_container(answer.get());
        return sendAnswer(call, answer);
    }

    static int getGroupProperties(sd_bus_message* call, void* object, sd_bus_error* error) {
        const void* ids = nullptr;
        std::size_t bytes = 0;
        sd_bus_message_read_array(call, 'i', &ids, &bytes);
        const std::span wanted(static_cast<const std::int32_t*>(ids), bytes / sizeof(std::int32_t));
        const auto names = readNames(call);
        if (!names || wanted.size() > kMostAsked) {
            return failForLength(error);
        }
        const auto answer = newAnswer(call);
        sd_bus_message_open_container(answer.get(), 'a', "(ia{sv})");
        for (std::int32_t id = 0; exists(object, id); ++id) {
            if (isWanted(wanted, id)) {
                sd_bus_message_open_container(answer.get(), 'r', "ia{sv}");
                sd_bus_message_append(answer.get(), "i", id);
                appendProperties(answer.get(), entryOf(object, id), *names);
                sd_bus_message_close_container(answer.get());
            }
        }
        sd_bus_message_close_container(answer.get());
        return sendAnswer(call, answer);
    }

    static int getProperty(sd_bus_message* call, void* object, sd_bus_error* error) {
        std::int32_t id = 0;
        const char* name = nullptr;
        sd_bus_message_read(call, "is", &id, &name);
        const auto* entry = exists(object, id) ? entryOf(object, id) : nullptr;
        const auto* item = entry ? std::get_if<MenuItem>(entry) : nullptr;
        if (item && std::string_view(name) == "label") {
            return sd_bus_reply_method_return(call, "v", "s", labelOf(item->title).c_str());
        }
        if (item && std::string_view(name) == "enabled") {
            return sd_bus_reply_method_return(call, "v", "b", static_cast<int>(item->enabled));
        }
        if (entry && !item && std::string_view(name) == "type") {
            return sd_bus_reply_method_return(call, "v", "s", "separator");
        }
        return fail(error);
    }

    /// Returns false if nothing has this number.
    static bool take(void* object, std::int32_t id, std::string_view event) {
        if (exists(object, id) && id != 0 && event == "clicked") {
            static_cast<BusMenu*>(object)->item_.choose(static_cast<std::size_t>(id) - 1);
        }
        return exists(object, id);
    }
    static int takeEvent(sd_bus_message* call, void* object, sd_bus_error* error) {
        std::int32_t id = 0;
        const char* event = nullptr;
        sd_bus_message_read(call, "is", &id, &event);
        return take(object, id, event) ? sd_bus_reply_method_return(call, "") : fail(error);
    }
    static int takeEventGroup(sd_bus_message* call, void* object, sd_bus_error* error) {
        const auto answer = newAnswer(call);
        sd_bus_message_open_container(answer.get(), 'a', "i");
        sd_bus_message_enter_container(call, 'a', "(isvu)");
        for (std::size_t events = 0; sd_bus_message_enter_container(call, 'r', "isvu") > 0; ++events) {
            if (events == kMostAsked) {
                return failForLength(error);
            }
            std::int32_t id = 0;
            const char* event = nullptr;
            sd_bus_message_read(call, "is", &id, &event);
            sd_bus_message_skip(call, "vu");
            sd_bus_message_exit_container(call);
            if (!take(object, id, event)) {
                sd_bus_message_append(answer.get(), "i", id);
            }
        }
        sd_bus_message_close_container(answer.get());
        return sendAnswer(call, answer);
    }

    // The panel is told of every change, so nothing has to be done before it shows the menu.
    static int aboutToShow(sd_bus_message* call, void*, sd_bus_error*) {
        return sd_bus_reply_method_return(call, "b", 0);
    }
    static int aboutToShowGroup(sd_bus_message* call, void*, sd_bus_error*) {
        return sd_bus_reply_method_return(call, "aiai", 0, 0);
    }

    static int property(sd_bus*, const char*, const char*, const char* name, sd_bus_message* answer, void*,
                        sd_bus_error*) {
        if (std::string_view(name) == "Version") {
            return sd_bus_message_append(answer, "u", kVersion);
        }
        if (std::string_view(name) == "TextDirection") {
            return sd_bus_message_append(answer, "s", QGuiApplication::isRightToLeft() ? "rtl" : "ltr");
        }
        return sd_bus_message_append(answer, "s", "normal"); // the status
    }
};

constexpr std::uint64_t kOpen = SD_BUS_VTABLE_UNPRIVILEGED;
const sd_bus_vtable BusMenu::Table::kEntries[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetLayout", "iias", "u(ia{sv}av)", getLayout, kOpen),
    SD_BUS_METHOD("GetGroupProperties", "aias", "a(ia{sv})", getGroupProperties, kOpen),
    SD_BUS_METHOD("GetProperty", "is", "v", getProperty, kOpen),
    SD_BUS_METHOD("Event", "isvu", "", takeEvent, kOpen),
    SD_BUS_METHOD("EventGroup", "a(isvu)", "ai", takeEventGroup, kOpen),
    SD_BUS_METHOD("AboutToShow", "i", "b", aboutToShow, kOpen),
    SD_BUS_METHOD("AboutToShowGroup", "ai", "aiai", aboutToShowGroup, kOpen),
    SD_BUS_SIGNAL("ItemsPropertiesUpdated", "a(ia{sv})a(ias)", 0),
    SD_BUS_SIGNAL("LayoutUpdated", "ui", 0),
    SD_BUS_PROPERTY("Version", "u", property, 0, 0),
    SD_BUS_PROPERTY("TextDirection", "s", property, 0, 0),
    SD_BUS_PROPERTY("Status", "s", property, 0, 0),
    SD_BUS_VTABLE_END};

BusMenu::BusMenu(BusConnection& bus, StatusItem& item)
    : bus_(bus), item_(item), object_(bus.serve(kPath, kInterface, Table::kEntries, this)) {
    for (std::size_t place = 0; place < item_.menu().size(); ++place) {
        told_.push_back(stateOf(place));
    }
}

BusMenu::State BusMenu::stateOf(std::size_t place) const {
    const auto* item = std::get_if<MenuItem>(&item_.menu()[place]);
    return item ? State(item->title, item->enabled) : State();
}

void BusMenu::announceChanges() {
    BusMessage signal;
    for (std::size_t place = 0; place < told_.size(); ++place) {
        State state = stateOf(place);
        if (std::exchange(told_[place], state) == state) {
            continue;
        }
        if (!signal) {
            signal = bus_.newSignal(kPath, kInterface, "ItemsPropertiesUpdated");
            if (!signal) {
                continue; // nobody shows the menu
            }
            sd_bus_message_open_container(signal.get(), 'a', "(ia{sv})");
        }
        sd_bus_message_open_container(signal.get(), 'r', "ia{sv}");
        sd_bus_message_append(signal.get(), "i", static_cast<std::int32_t>(place) + 1);
        appendProperties(signal.get(), &item_.menu()[place], {});
        sd_bus_message_close_container(signal.get());
    }
    if (signal) {
        sd_bus_message_close_container(signal.get());
        sd_bus_message_append(signal.get(), "a(ias)", 0);
        bus_.send(signal);
    }
}

} // namespace kvn::host

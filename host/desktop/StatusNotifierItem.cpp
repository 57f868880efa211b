// SPDX-License-Identifier: MIT

#include "host/desktop/StatusNotifierItem.h"

#include <QPoint>
#include <QtEndian>
#include <string_view>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kPath = "/StatusNotifierItem"; // where watchers expect it
constexpr const char* kInterface = "org.kde.StatusNotifierItem";
constexpr BusMethod kRegister{"org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                              "org.kde.StatusNotifierWatcher", "RegisterStatusNotifierItem"};

/// Appends the pictures as width, height, and pixels of 32 bits (alpha, red, green, blue) in network order.
int appendPictures(sd_bus_message* message, const std::vector<QImage>& pictures) {
    sd_bus_message_open_container(message, 'a', "(iiay)");
    for (const QImage& picture : pictures) {
        std::vector<quint32> pixels;
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x) {
                pixels.push_back(qToBigEndian<quint32>(picture.pixel(x, y)));
            }
        }
        sd_bus_message_open_container(message, 'r', "iiay");
        sd_bus_message_append(message, "ii", picture.width(), picture.height());
        sd_bus_message_append_array(message, 'y', pixels.data(), pixels.size() * sizeof(quint32));
        sd_bus_message_close_container(message);
    }
    return sd_bus_message_close_container(message);
}

} // namespace

/// The functions that the connection calls.
struct StatusNotifierItem::Table {
    static const sd_bus_vtable kEntries[];

    static StatusItem& itemOf(void* object) { return static_cast<StatusNotifierItem*>(object)->item_; }

    static int activate(sd_bus_message* call, void* object, sd_bus_error*) {
        itemOf(object).activate();
        return sd_bus_reply_method_return(call, "");
    }
    static int openMenu(sd_bus_message* call, void* object, sd_bus_error*) {
        std::int32_t x = 0;
        std::int32_t y = 0;
        sd_bus_message_read(call, "ii", &x, &y);
        itemOf(object).openMenu(QPoint(x, y));
        return sd_bus_reply_method_return(call, "");
    }
    static int scroll(sd_bus_message* call, void*, sd_bus_error*) {
        return sd_bus_reply_method_return(call, "");
    }

    static int property(sd_bus*, const char*, const char*, const char* propertyName, sd_bus_message* answer,
                        void* object, sd_bus_error*) {
        const std::string_view name = propertyName;
        if (name == "IconPixmap") {
            return appendPictures(answer, itemOf(object).pictures);
        }
        if (name == "Title") {
            return sd_bus_message_append(answer, "s", itemOf(object).description.c_str());
        }
        if (name == "ToolTip") { // an icon's name and its pictures, a title, a text
            return sd_bus_message_append(answer, "(sa(iiay)ss)", "", 0, itemOf(object).description.c_str(),
                                         "");
        }
        if (name == "Menu") {
            return sd_bus_message_append(answer, "o", BusMenu::kPath);
        }
        if (name == "ItemIsMenu") {
            return sd_bus_message_append(answer, "b", 0);
        }
        if (name == "WindowId") {
            return sd_bus_message_append(answer, "i", 0);
        }
        const char* const text = name == "Id"         ? "KvnGUIAgent"
                                 : name == "Category" ? "SystemServices"
                                 : name == "Status"   ? "Active"
                                                      : ""; // names of icons in the desktop's theme
        return sd_bus_message_append(answer, "s", text);
    }
};

constexpr std::uint64_t kOpen = SD_BUS_VTABLE_UNPRIVILEGED;
const sd_bus_vtable StatusNotifierItem::Table::kEntries[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Activate", "ii", "", activate, kOpen),
    SD_BUS_METHOD("SecondaryActivate", "ii", "", activate, kOpen),
    SD_BUS_METHOD("ContextMenu", "ii", "", openMenu, kOpen),
    SD_BUS_METHOD("Scroll", "is", "", scroll, kOpen),
    SD_BUS_SIGNAL("NewIcon", "", 0),
    SD_BUS_SIGNAL("NewTitle", "", 0),
    SD_BUS_SIGNAL("NewToolTip", "", 0),
    SD_BUS_SIGNAL("NewStatus", "s", 0),
    SD_BUS_PROPERTY("Id", "s", property, 0, 0),
    SD_BUS_PROPERTY("Category", "s", property, 0, 0),
    SD_BUS_PROPERTY("Status", "s", property, 0, 0),
    SD_BUS_PROPERTY("Title", "s", property, 0, 0),
    SD_BUS_PROPERTY("ToolTip", "(sa(iiay)ss)", property, 0, 0),
    SD_BUS_PROPERTY("WindowId", "i", property, 0, 0),
    SD_BUS_PROPERTY("IconName", "s", property, 0, 0),
    SD_BUS_PROPERTY("IconThemePath", "s", property, 0, 0),
    SD_BUS_PROPERTY("IconPixmap", "a(iiay)", property, 0, 0),
    SD_BUS_PROPERTY("Menu", "o", property, 0, 0),
    SD_BUS_PROPERTY("ItemIsMenu", "b", property, 0, 0),
    SD_BUS_VTABLE_END};

StatusNotifierItem::StatusNotifierItem(MainLoop& mainLoop, StatusItem& item, std::function<void()> refused)
    : mainLoop_(mainLoop), item_(item),
      refused_(std::make_shared<const std::function<void()>>(std::move(refused))),
      bus_(mainLoop, BusConnection::Bus::Session), menu_(bus_, item),
      object_(bus_.serve(kPath, kInterface, Table::kEntries, this)),
      connections_(bus_.onState([this](bool connected) {
          if (connected) {
              registerItem();
          }
      })) {}

void StatusNotifierItem::registerItem() {
    registration_ = bus_.call(
        kRegister,
        [this](sd_bus_message* answer) {
            if (!answer) { // posted, because the handler may end this object
                mainLoop_.post([weak = std::weak_ptr(refused_)] {
                    if (const auto handler = weak.lock()) {
                        (*handler)();
                    }
                });
            }
        },
        "s", kPath);
}

void StatusNotifierItem::showDescription() {
    announce("NewTitle");
    announce("NewToolTip");
}

void StatusNotifierItem::announce(const char* change) {
    if (const auto signal = bus_.newSignal(kPath, kInterface, change)) {
        bus_.send(signal);
    }
}

} // namespace kvn::host

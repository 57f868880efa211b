// SPDX-License-Identifier: MIT

#include "host/desktop/SystemTray.h"

#include "host/desktop/X11Display.h"

#include <QGuiApplication>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace kvn::host {
namespace {

constexpr std::uint32_t kRequestDock = 0; // of the tray's protocol
// These belong to the protocol for windows in windows.
constexpr std::uint32_t kEmbeddedNotify = 0;
constexpr std::uint32_t kVersionAndMapped[] = {0, 1};

int typeOf(const xcb_generic_event_t& event) {
    return event.response_type & 0x7F; // without the mark of events that a program has sent
}

/// Sends a request that may fail because its window has gone. Returns true if it succeeded.
bool succeeds(xcb_connection_t* connection, xcb_void_cookie_t request) {
    return !X11Answer<xcb_generic_error_t>(xcb_request_check(connection, request));
}

} // namespace

SystemTray::SystemTray(std::function<void()> changed) : changed_(std::move(changed)) {
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    connection_ = x11 ? x11->connection() : nullptr; // null without a screen, too
    if (!connection_) {
        return;
    }
    const auto [screen, number] = chosenScreen(connection_);
    screen_ = screen;
    selection_ = atom(("_NET_SYSTEM_TRAY_S" + std::to_string(number)).c_str());
    manager_ = atom("MANAGER");
    embed_ = atom("_XEMBED");
    // The toolkit selects events of the root window, too, in the same mask.
    const X11Answer<xcb_get_window_attributes_reply_t> root(xcb_get_window_attributes_reply(
        connection_, xcb_get_window_attributes(connection_, screen_->root), nullptr));
    const std::uint32_t mask = (root ? root->your_event_mask : 0) | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, screen_->root, XCB_CW_EVENT_MASK, &mask);
    find();
    qGuiApp->installNativeEventFilter(this);
}

SystemTray::~SystemTray() = default; // the base class removes the filter

xcb_atom_t SystemTray::atom(const char* name) const {
    const auto length = static_cast<std::uint16_t>(std::strlen(name));
    const X11Answer<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection_, xcb_intern_atom(connection_, 0, length, name), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

void SystemTray::find() {
    const X11Answer<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection_, xcb_get_selection_owner(connection_, selection_), nullptr));
    const xcb_window_t owner = reply ? reply->owner : XCB_NONE;
    // The request fails if the owner has gone meanwhile; another one announces itself.
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const bool lives = owner != XCB_NONE &&
                       succeeds(connection_, xcb_change_window_attributes_checked(connection_, owner,
                                                                                  XCB_CW_EVENT_MASK, &mask));
    if (owner != owner_) {
        change(XCB_NONE);
        change(lives ? owner : XCB_NONE);
    }
}

void SystemTray::change(xcb_window_t owner) {
    if (std::exchange(owner_, owner) != owner) {
        changed_();
    }
}

bool SystemTray::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    if (type != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (typeOf(*event) == XCB_CLIENT_MESSAGE) {
        const auto* told = reinterpret_cast<const xcb_client_message_event_t*>(event);
        if (told->type == manager_ && told->data.data32[1] == selection_) {
            find();
        }
    } else if (typeOf(*event) == XCB_DESTROY_NOTIFY && owner_ != XCB_NONE &&
               reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == owner_) {
        change(XCB_NONE);
    }
    return false;
}

bool SystemTray::wantsAlpha() const {
    const auto property = atom("_NET_SYSTEM_TRAY_VISUAL");
    const X11Answer<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection_, xcb_get_property(connection_, 0, owner_, property, XCB_ATOM_VISUALID, 0, 1), nullptr));
    if (!reply || xcb_get_property_value_length(reply.get()) != sizeof(xcb_visualid_t)) {
        return false;
    }
    xcb_visualid_t wanted = 0;
    std::memcpy(&wanted, xcb_get_property_value(reply.get()), sizeof wanted);
    for (auto depth = xcb_screen_allowed_depths_iterator(screen_); depth.rem != 0; xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem != 0;
             xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == wanted) {
                return depth.data->depth == 32;
            }
        }
    }
    return false;
}

void SystemTray::dock(WId window) const {
    const auto id = static_cast<xcb_window_t>(window);
    const auto info = atom("_XEMBED_INFO");
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, id, info, info, 32, 2, kVersionAndMapped);
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = owner_;
    event.type = atom("_NET_SYSTEM_TRAY_OPCODE");
    event.data.data32[0] = XCB_CURRENT_TIME;
    event.data.data32[1] = kRequestDock;
    event.data.data32[2] = id;
    // A tray that has gone meanwhile announces it, too.
    succeeds(connection_, xcb_send_event_checked(connection_, 0, owner_, XCB_EVENT_MASK_NO_EVENT,
                                                 reinterpret_cast<const char*>(&event)));
}

bool SystemTray::tellsOfDocking(const void* event) const {
    const auto* told = static_cast<const xcb_client_message_event_t*>(event);
    return typeOf(*static_cast<const xcb_generic_event_t*>(event)) == XCB_CLIENT_MESSAGE &&
           told->type == embed_ && told->data.data32[1] == kEmbeddedNotify;
}

QImage SystemTray::backgroundOf(WId window) const {
    const auto id = static_cast<xcb_window_t>(window);
    const std::uint32_t parentRelative = XCB_BACK_PIXMAP_PARENT_RELATIVE;
    const X11Answer<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, id), nullptr));
    if (!geometry || geometry->depth != 24 ||
        !succeeds(connection_, xcb_change_window_attributes_checked(connection_, id, XCB_CW_BACK_PIXMAP,
                                                                    &parentRelative))) {
        return {}; // the tray's windows have another depth
    }
    xcb_clear_area(connection_, 0, id, 0, 0, 0, 0);
    const X11Answer<xcb_get_image_reply_t> pixels(
        xcb_get_image_reply(connection_,
                            xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, id, 0, 0, geometry->width,
                                          geometry->height, ~std::uint32_t{0}),
                            nullptr));
    const std::size_t bytes = std::size_t{4} * geometry->width * geometry->height;
    if (!pixels || static_cast<std::size_t>(xcb_get_image_data_length(pixels.get())) != bytes) {
        return {};
    }
    return QImage(xcb_get_image_data(pixels.get()), geometry->width, geometry->height, QImage::Format_RGB32)
        .copy();
}

} // namespace kvn::host

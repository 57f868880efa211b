// SPDX-License-Identifier: MIT

#include "host/desktop/X11HotKeys.h"

#include "core/logging/CNSLog.h"
#include "host/desktop/KeyTable.h"
#include "host/desktop/X11Display.h"
#include "host/desktop/X11Keyboard.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kvn::host {
namespace {

constexpr std::chrono::milliseconds kSoon{1};
constexpr HotKeys::Reference kReference = 1;
constexpr std::uint8_t kBadAccess = 10; // X11: another client has grabbed the key

constexpr std::uint8_t kTypeOfEvent = 0x7F; // the other bit is that of SendEvent

using Event = X11Answer<xcb_generic_event_t>;
using Error = X11Answer<xcb_generic_error_t>;

/// Returns the root window of the screen; 0 without a connection.
xcb_window_t rootOf(xcb_connection_t* connection) {
    if (xcb_connection_has_error(connection) != 0) {
        return 0;
    }
    return chosenScreen(connection).screen->root;
}

} // namespace

X11HotKeys::X11HotKeys(MainLoop& mainLoop)
    : mainLoop_(mainLoop), connection_(xcb_connect(nullptr, nullptr)), root_(rootOf(connection_.get())) {}

const char* X11HotKeys::commandKey() const { return kCommandKey; }

std::int32_t X11HotKeys::installHandler(Handler handler) {
    handler_ = std::move(handler);
    return 0;
}

std::int32_t X11HotKeys::registerHotKey(const Key& key, Reference& reference) {
    reference = 0;
    const std::int32_t result = grab(key);
    if (result == 0) {
        key_ = key;
        reference = kReference;
        watch_ = mainLoop_.watchReadable(xcb_get_file_descriptor(connection_.get()), [this] { receive(); });
    }
    return result;
}

void X11HotKeys::unregisterHotKey(Reference reference) {
    if (reference == kReference && key_) {
        watch_.reset();
        nextRead_.reset();
        key_.reset();
        release();
    }
}

/// Returns nullopt when the keyboard does not have the key or a modifier.
std::optional<X11HotKeys::Grab> X11HotKeys::find(const Key& key, const X11Keyboard& keyboard) {
    const NamedKey* const named = namedKey(key.code, key.modifiers);
    const auto keycode = named ? keyboard.keyOf(named->symbol) : std::nullopt;
    if (!keycode) {
        return std::nullopt;
    }
    std::uint16_t wanted = 0;
    for (const ModifierKey& modifier : kModifierKeys) {
        if ((key.modifiers & modifier.mask) != 0) {
            const std::uint16_t mask = keyboard.modifierOf({modifier.left, modifier.right});
            if (mask == 0) {
                return std::nullopt;
            }
            wanted |= mask;
        }
    }
    Grab grab{*keycode, {wanted, static_cast<std::uint16_t>(wanted | XCB_MOD_MASK_LOCK)}};
    if (const std::uint16_t numLock = keyboard.modifierOf({XK_Num_Lock})) {
        for (const std::uint16_t mask : std::vector(grab.modifiers)) {
            grab.modifiers.push_back(mask | numLock);
        }
    }
    return grab;
}

std::int32_t X11HotKeys::grab(const Key& key) {
    xcb_connection_t* const connection = connection_.get();
    if (const int lost = xcb_connection_has_error(connection)) {
        return lost;
    }
    const auto found = find(key, X11Keyboard(*connection));
    if (!found) {
        return kUnknownKey;
    }
    grab_ = *found;
    std::vector<xcb_void_cookie_t> asked;
    for (const std::uint16_t mask : grab_.modifiers) {
        asked.push_back(xcb_grab_key_checked(connection, 0, root_, mask, grab_.key, XCB_GRAB_MODE_ASYNC,
                                             XCB_GRAB_MODE_ASYNC));
    }
    std::int32_t result = 0;
    for (const xcb_void_cookie_t cookie : asked) {
        if (const Error error(xcb_request_check(connection, cookie)); error) {
            result = error->error_code == kBadAccess ? kTaken : error->error_code;
        }
    }
    if (result != 0) {
        release();
    }
    // The answers may have brought events, for which the descriptor does not become readable any more.
    nextRead_ = mainLoop_.startTimer(kSoon, [this] {
        nextRead_.reset();
        receive();
    });
    return result;
}

void X11HotKeys::release() {
    for (const std::uint16_t mask : grab_.modifiers) {
        xcb_ungrab_key(connection_.get(), grab_.key, root_, mask);
    }
    xcb_flush(connection_.get());
    grab_ = {};
    isDown_ = false;
}

void X11HotKeys::receive() {
    Event event(xcb_poll_for_event(connection_.get()));
    while (event) {
        Event next(xcb_poll_for_event(connection_.get()));
        switch (event->response_type & kTypeOfEvent) {
        case XCB_KEY_PRESS:
            if (!std::exchange(isDown_, true)) {
                tell(kPressed);
            }
            break;
        case XCB_KEY_RELEASE: {
            // A key that is held down repeats: the X server sends a release and a press of the same time.
            const auto time = [](const Event& e) {
                return reinterpret_cast<const xcb_key_press_event_t*>(e.get())->time;
            };
            const bool repeats =
                next && (next->response_type & kTypeOfEvent) == XCB_KEY_PRESS && time(next) == time(event);
            if (!repeats && std::exchange(isDown_, false)) {
                tell(kReleased);
            }
            break;
        }
        case XCB_MAPPING_NOTIFY:
            follow(*reinterpret_cast<const xcb_mapping_notify_event_t*>(event.get()));
            break;
        default:
            break;
        }
        event = std::move(next);
    }
    if (xcb_connection_has_error(connection_.get()) != 0) {
        watch_.reset();
    }
}

void X11HotKeys::follow(const xcb_mapping_notify_event_t& change) {
    if (change.request == XCB_MAPPING_POINTER || !key_) {
        return;
    }
    const bool wasOurs = isGrabbed();
    release();
    const std::int32_t result = grab(*key_);
    if (isGrabbed() != wasOurs) {
        Kvs::CNSLog("The hot key in the new layout of the keyboard: %d", result);
        tell(isGrabbed() ? kGranted : kRefused);
    }
}

void X11HotKeys::tell(Kind kind) const {
    if (handler_) {
        handler_(kind);
    }
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#pragma once

#include "host/HotKeys.h"
#include "host/MainLoop.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>
#include <xcb/xcb.h>

namespace kvn::host {

class X11Keyboard;

/// A global key of an X11 display: grabs it, whatever the locks of the keyboard are, as long as it is
/// registered. One key at a time. Has a connection of its own, to the display that the environment names;
/// calls wait for the display's answers, and the X server releases the key when the process ends. Main
/// thread.
class X11HotKeys final : public HotKeys {
public:
    /// The main loop outlives this object.
    explicit X11HotKeys(MainLoop& mainLoop);

    const char* commandKey() const override;

    /// The handler must not destroy this object. Told `kRefused` when a new layout of the keyboard does not
    /// have the key, or has it where another program has its own, and `kGranted` when a later one has it.
    std::int32_t installHandler(Handler handler) override;

    /// The result is `kTaken`, `kUnknownKey`, an error code of X11, or one of xcb_connection_has_error(3).
    std::int32_t registerHotKey(const Key& key, Reference& reference) override;
    void unregisterHotKey(Reference reference) override;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    /// The events that the X server is asked for: a key with modifiers.
    struct Grab {
        xcb_keycode_t key = 0;
        std::vector<std::uint16_t> modifiers; // with each state of the locks
    };

    static std::optional<Grab> find(const Key& key, const X11Keyboard& keyboard);
    std::int32_t grab(const Key& key);
    void release();
    void receive();
    void follow(const xcb_mapping_notify_event_t& change);
    void tell(Kind kind) const;
    bool isGrabbed() const { return !grab_.modifiers.empty(); }

    MainLoop& mainLoop_;
    const std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    const xcb_window_t root_;
    Handler handler_;
    std::optional<Key> key_; // that is registered
    Grab grab_;
    bool isDown_ = false;
    MainLoop::Handle watch_;
    MainLoop::Handle nextRead_; // of the events that came with an answer
};

} // namespace kvn::host

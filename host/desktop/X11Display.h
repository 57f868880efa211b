// SPDX-License-Identifier: MIT

#pragma once

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace kvn::host {

struct FreeX11Answer {
    void operator()(void* answer) const { std::free(answer); }
};
/// An answer, event or error of the X server.
template <class T>
using X11Answer = std::unique_ptr<T, FreeX11Answer>;

struct X11Screen {
    xcb_screen_t* screen; // owned by the connection
    int number;
};

/// Returns the screen that the environment names, of a connection without an error to the display that it
/// names.
inline X11Screen chosenScreen(xcb_connection_t* connection) {
    char* host = nullptr;
    int display = 0;
    int number = 0;
    xcb_parse_display(nullptr, &host, &display, &number);
    const X11Answer<char> owned(host);
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int other = 0; other < number && screens.rem > 1; ++other) {
        xcb_screen_next(&screens);
    }
    return {screens.data, number};
}

} // namespace kvn::host

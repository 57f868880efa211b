// SPDX-License-Identifier: MIT

#pragma once

#include <histedit.h>

namespace kvn::host {

/// The functions of libedit that are used. The program does not link the library: only a person at a terminal
/// needs it and the three libraries that it needs, and every agent would have them in memory.
struct Libedit {
    /// Loads the library at the first call. Returns null, which is logged once, when it is missing. Main
    /// thread.
    static const Libedit* load();

    decltype(&::el_init_fd) initFd;
    decltype(&::el_end) end;
    decltype(&::el_set) set;
    decltype(&::el_wset) wideSet;
    decltype(&::el_get) get;
    decltype(&::el_gets) gets;
    decltype(&::el_line) line;
    decltype(&::el_insertstr) insertText;
    decltype(&::el_resize) resize;
    decltype(&::history_init) historyInit;
    decltype(&::history_end) historyEnd;
    decltype(&::history) history;
};

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#include "host/terminal/Libedit.h"

#include "core/logging/CNSLog.h"

#include <dlfcn.h>
#include <optional>

namespace kvn::host {
namespace {

template <class Function>
bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

std::optional<Libedit> found() {
    void* library = dlopen("libedit.so.2", RTLD_NOW | RTLD_LOCAL); // on Debian
    library = library ? library : dlopen("libedit.so.0", RTLD_NOW | RTLD_LOCAL);
    Libedit functions{};
    if (library && find(library, "el_init_fd", functions.initFd) && find(library, "el_end", functions.end) &&
        find(library, "el_set", functions.set) && find(library, "el_wset", functions.wideSet) &&
        find(library, "el_get", functions.get) && find(library, "el_gets", functions.gets) &&
        find(library, "el_line", functions.line) && find(library, "el_insertstr", functions.insertText) &&
        find(library, "el_resize", functions.resize) &&
        find(library, "history_init", functions.historyInit) &&
        find(library, "history_end", functions.historyEnd) && find(library, "history", functions.history)) {
        return functions;
    }
    Kvs::CNSLog("Lines cannot be edited: %s", dlerror());
    return std::nullopt;
}

} // namespace

const Libedit* Libedit::load() {
    static const std::optional<Libedit> functions = found();
    return functions ? &*functions : nullptr;
}

} // namespace kvn::host

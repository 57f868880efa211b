// SPDX-License-Identifier: MIT

#include "host/linux/DesktopModule.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace kvn::host {

DesktopModule& desktopModule() {
    static DesktopModule* module = nullptr;
    if (!module) {
        std::error_code ignored;
        const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
        const auto path = program.parent_path().parent_path() / "PlugIns" / "KvnDesktop.so";
        void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        void* const entry = library ? dlsym(library, kDesktopModuleEntry) : nullptr;
        if (!entry) {
            throw std::runtime_error(std::string("the desktop front end cannot be loaded: ") + dlerror());
        }
        module = reinterpret_cast<DesktopModuleEntry>(entry)();
    }
    return *module;
}

bool desktopCanBeUsed() {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
        return false;
    }
    try {
        return desktopModule().displayAnswers();
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace kvn::host

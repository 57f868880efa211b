// SPDX-License-Identifier: MIT

#include "host/linux/DesktopModule.h"

#include "core/logging/CNSLog.h"

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
        if (!std::filesystem::exists(path, ignored)) {
            throw std::runtime_error(
                "the desktop front end is not installed (package kvn-gui-agent-desktop)");
        }
        void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        void* const entry = library ? dlsym(library, kDesktopModuleEntry) : nullptr;
        if (!entry) {
            throw std::runtime_error(std::string("the desktop front end cannot be loaded, it needs Qt 6 "
                                                 "(packages libqt6widgets6 and libqt6svg6): ") +
                                     dlerror());
        }
        module = reinterpret_cast<DesktopModuleEntry>(entry)();
    }
    return *module;
}

bool desktopCanBeUsed() {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
        return false;
    }
    std::string problem;
    try {
        problem = desktopModule().displayProblem();
    } catch (const std::exception& exception) {
        problem = exception.what();
    }
    if (!problem.empty()) {
        Kvs::OCNSLog("The desktop front end is not used: %@", problem);
    }
    return problem.empty();
}

} // namespace kvn::host

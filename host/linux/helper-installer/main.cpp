// SPDX-License-Identifier: MIT

#include "core/system/ProgramOptions.h"
#include "host/linux/helper-installer/InstallerService.h"

#include <stdexcept>
#include <unistd.h>

// The agent starts this program as root, with the user's authorization. It takes no options, so that whoever
// is authorized to install the product's helper cannot have it do anything else.

namespace {

constexpr char kUsage[] =
    "usage: KvnHelperInstaller\n"
    "\n"
    "  Installs the privileged helper for KvnGUIAgent, which starts this program as root.\n";

int run(const Kvs::ProgramOptions&) {
    if (::geteuid() != 0) {
        throw std::runtime_error("only root can install a privileged helper");
    }
    return kvn::host::serveInstaller(kvn::host::Trust::RootOnly) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    return Kvs::fRunProgram("KvnHelperInstaller", kUsage, argc, argv, {}, run);
}

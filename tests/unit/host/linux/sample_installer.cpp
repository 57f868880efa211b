// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "host/linux/helper-installer/InstallerService.h"

#include <cstdio>

// The installer of helpers for the tests: serves like the product's, below the root that its argument names,
// and installs its user's own files.

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: sample_installer ROOT\n");
        return 2;
    }
    Kvs::FSysInfoPaths::setRoot(argv[1]);
    return kvn::host::serveInstaller(kvn::host::Trust::Own) ? 0 : 1;
}

#pragma once

#include "core/text/FGStr.h"

namespace Kvs {

/// File-system calls on the library's wide paths. Any thread.
class TFSysFile {
public:
    /// Whether anything can be found at the path.
    static bool exists(const FGStr<wchar_t>& path);

    /// Whether the directory was made, with mode 0777 less the umask; parents are not. `errno` says why not.
    static bool makeDirectory(const FGStr<wchar_t>& path);
};

} // namespace Kvs

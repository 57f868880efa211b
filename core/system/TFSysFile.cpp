#include "core/system/TFSysFile.h"

#include "core/text/Widening.h"

#include <sys/stat.h>

namespace Kvs {

bool TFSysFile::exists(const FGStr<wchar_t>& path) {
    struct stat status {};
    return ::stat(fNarrow(path).c_str(), &status) == 0;
}

bool TFSysFile::makeDirectory(const FGStr<wchar_t>& path) {
    return ::mkdir(fNarrow(path).c_str(), 0777) == 0;
}

} // namespace Kvs

#include "agent/ToolsLink.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"

#include <filesystem>
#include <system_error>

namespace kvn {

namespace fs = std::filesystem;

void verifyKvnRemoteToolsLink() {
    const fs::path applications = Kvs::FSysInfoPaths::underRoot(Kvs::FSysInfoPaths::getHomeFolder().c_str() +
                                                                std::string("Applications"));
    const fs::path link = applications / "KvnRemotedTools";
    const fs::path tools = Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/tools";
    std::error_code ignored;
    const fs::file_status found = fs::symlink_status(link, ignored);
    if (fs::is_symlink(found)) {
        return;
    }
    if (fs::is_directory(found)) {
        fs::remove_all(link, ignored);
    } else if (std::error_code error;
               !fs::exists(applications, ignored) && !fs::create_directory(applications, error)) {
        Kvs::OCNSLog("Failed to create user specific Applications folder: %@, error: %@",
                     applications.string(), error.message());
    }
    fs::create_symlink(tools, link, ignored);
}

} // namespace kvn

#include "host/linux/SandboxPrivacy.h"
#include "core/system/FSysInfoPaths.h"
#include "host/plist/XmlPropertyList.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace kvn::test {
namespace {

TEST(SandboxPrivacy, GrantsWhatItsFileDoesNotRefuse) {
    const TemporaryFolder root;
    Kvs::FSysInfoPaths::setRoot(root.path());
    std::filesystem::create_directories(root.file("var/db"));
    const host::XmlPropertyList propertyLists;
    host::SandboxPrivacy privacy("KvnGUIAgent", propertyLists);
    struct {
        std::string contents; // of the file; none when empty
        bool accessibility;
        bool screenRecording;
        bool complains;
    } const cases[] = {
        {"", true, true, false},
        {"<dict><key>Other</key><false/></dict>", true, true, false},
        {"<dict><key>KvnGUIAgent</key><dict><key>accessibility</key><false/></dict></dict>", false, true,
         false},
        {"<dict><key>KvnGUIAgent</key><dict><key>screenRecording</key><integer>1</integer></dict></dict>",
         true, false, false},
        {"<dict><key>KvnGUIAgent</key><true/></dict>", false, false, true},
        {"<true/>", false, false, true},
        {"garbage", false, false, true},
    };
    for (const auto& [contents, accessibility, screenRecording, complains] : cases) {
        if (!contents.empty()) {
            writeFile(root.file("var/db/com.korvane.remote.privacy.plist"),
                      "<plist version=\"1.0\">" + contents + "</plist>");
        }
        CapturedLog log;
        EXPECT_EQ(privacy.isAccessibilityTrusted(false), accessibility) << contents;
        EXPECT_EQ(privacy.onScreenWindows().value().at(0).name.has_value(), screenRecording) << contents;
        EXPECT_EQ(!log.lines().empty(), complains) << contents;
        EXPECT_EQ(privacy.isAccessibilityTrusted(true), accessibility);
        EXPECT_EQ(log.contains("asked to allow KvnGUIAgent: accessibility"), !accessibility);
        EXPECT_EQ(privacy.requestScreenCapture(), screenRecording);
        EXPECT_EQ(log.contains("asked to allow KvnGUIAgent: screen recording"), !screenRecording);
    }
    Kvs::FSysInfoPaths::setRoot("");
}

} // namespace
} // namespace kvn::test

// SPDX-License-Identifier: MIT

#include "host/linux/LinuxPrivilegedJobs.h"
#include "core/system/FSysInfoPaths.h"
#include "host/linux/helper-installer/HelperProcess.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using host::Error;
using host::PrivilegedJobs;
using host::PropertyValue;

constexpr char kLabel[] = "com.korvane.remote.KvnServiceController";
constexpr std::uint32_t kAsk = 19;
constexpr std::uint32_t kDoNotAsk = 18;

class LinuxPrivilegedJobs : public testing::Test {
protected:
    LinuxPrivilegedJobs() {
        signal(SIGPIPE, SIG_IGN); // as the program does
        Kvs::FSysInfoPaths::setRoot(root_);
        for (const char* name : {"a root/var/run", "a root/usr/bin", "Agent.app/Contents/MacOS",
                                 "Agent.app/Contents/Library/LaunchServices"}) {
            fs::create_directories(folder_.file(name));
        }
        fs::copy_file(SAMPLE_HELPER, source_);
        fs::create_symlink(SAMPLE_INSTALLER, folder_.file("Agent.app/Contents/MacOS/KvnHelperInstaller"));
    }
    ~LinuxPrivilegedJobs() override {
        host::endHelper(tool_);
        authorization_.reset();
        EXPECT_TRUE(pumpUntil(loop_, [] { return waitpid(-1, nullptr, WNOHANG) < 0; })); // no child is left
        Kvs::FSysInfoPaths::setRoot("");
    }

    std::int32_t copyRights(std::uint32_t flags = kAsk) {
        EXPECT_EQ(jobs_.createAuthorization({}, flags, authorization_), 0);
        return jobs_.copyRights(*authorization_, "com.apple.ServiceManagement.blesshelper",
                                {{"prompt", "May I?\n\n"}}, flags);
    }
    Error bless(const std::string& label = kLabel) {
        return jobs_.bless(label, *authorization_).value_or(Error{});
    }
    pid_t helper() const { return std::stoi(readFile(root_ + "/helper.log")); }
    bool isGone(pid_t pid) {
        return pumpUntil(loop_, [pid] { return kill(pid, 0) != 0; });
    }
    auto installedFiles() const {
        const fs::recursive_directory_iterator files(root_ + "/Library");
        return std::count_if(begin(files), end(files), [](const auto& file) { return !file.is_directory(); });
    }
    /// Makes it impossible to install, for root too, until the file in the way is removed.
    void blockFolders() const { writeFile(root_ + "/Library", "in the way"); }
    void makeProgram(const std::string& name, const std::string& body) const {
        const std::string path = root_ + "/usr/bin/" + name;
        writeFile(path, "#!/bin/sh\ncd '" + root_ + "'\n" + body + "\n");
        chmod(path.c_str(), 0755);
    }
    void makePkexec(const std::string& body) const { makeProgram("pkexec", body); }

    TemporaryFolder folder_;
    const std::string root_ = folder_.file("a root");
    const std::string tool_ = root_ + "/Library/PrivilegedHelperTools/" + kLabel;
    const std::string job_ = root_ + "/Library/LaunchDaemons/" + kLabel + ".plist";
    const std::string source_ = folder_.file("Agent.app/Contents/Library/LaunchServices/") + kLabel;
    CapturedLog log_;
    host::PollMainLoop loop_;
    host::PosixProcessRunner runner_{loop_};
    host::PortablePropertyList propertyLists_;
    host::AppBundle bundle_{folder_.file("Agent.app"), propertyLists_};
    host::LinuxPrivilegedJobs jobs_{bundle_, runner_, propertyLists_};
    std::unique_ptr<PrivilegedJobs::Authorization> authorization_;
};

TEST_F(LinuxPrivilegedJobs, InstallsStartsAndReplaces) {
    std::string prompt;
    jobs_.presentPromptsWith([&](const std::string& text) { prompt = text; });
    EXPECT_EQ(jobs_.jobDictionary(kLabel), std::nullopt);
    umask(077);
    ASSERT_EQ(copyRights(kDoNotAsk), 0);
    ASSERT_EQ(bless().reason, "");
    umask(022);
    EXPECT_EQ(prompt, "May I?");
    EXPECT_EQ(fs::status(tool_).permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(job_).permissions(), fs::perms(0644));
    EXPECT_EQ(fs::status(root_ + "/Library").permissions(), fs::perms(0755));
    const PropertyValue::Array arguments{{tool_}, {"--root"s}, {root_}};
    EXPECT_EQ(jobs_.jobDictionary(kLabel), (PropertyValue::Dictionary{{"Label", {std::string(kLabel)}},
                                                                      {"ProgramArguments", {arguments}}}));
    const pid_t first = helper();
    EXPECT_EQ(getsid(first), first);
    // It keeps neither this process's output nor its folder.
    const std::string process = "/proc/" + std::to_string(first);
    for (const char* name : {"/fd/0", "/fd/1", "/fd/2"}) {
        EXPECT_EQ(fs::read_symlink(process + name), "/dev/null");
    }
    EXPECT_EQ(fs::read_symlink(process + "/cwd"), "/");

    writeFile(root_ + "/helper.mode", "stubborn");
    ASSERT_EQ(bless().reason, "");
    EXPECT_TRUE(isGone(first));
    const pid_t second = helper();
    ASSERT_EQ(bless().reason, ""); // after the 3 seconds that the second one lets pass
    EXPECT_TRUE(isGone(second));
    const pid_t third = helper();
    EXPECT_EQ(kill(third, 0), 0);

    writeFile(root_ + "/Library/PrivilegedHelperTools/."s + kLabel + ".new",
              "of an installer that was killed");
    std::thread blessing([&] { EXPECT_EQ(bless().code, ECANCELED); }); // the third one is stubborn, too
    EXPECT_TRUE(
        waitUntil([&] { return fs::read_symlink("/proc/" + std::to_string(third) + "/exe") != tool_; }));
    jobs_.interrupt();
    blessing.join();
    EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(third) + "/exe"), tool_ + " (deleted)");
    EXPECT_EQ(bless().code, ECANCELED);
    EXPECT_EQ(helper(), third); // nothing was started
    EXPECT_EQ(installedFiles(), 2);
    kill(third, SIGKILL);

    for (const char* broken : {"<plist><dict>", "<plist version=\"1.0\"><string>text</string></plist>"}) {
        writeFile(job_, broken);
        EXPECT_EQ(jobs_.jobDictionary(kLabel), std::nullopt);
    }
    EXPECT_EQ(log_.count("Could not read " + job_), 2U);
}

TEST_F(LinuxPrivilegedJobs, RefusesOtherPrograms) {
    const std::string other = folder_.file("Agent.app/Contents/Library/LaunchServices/other");
    EXPECT_EQ(jobs_.createAuthorization({}, kAsk, authorization_), 0);
    EXPECT_EQ(bless().code, PrivilegedJobs::kDenied); // no right to anything yet
    ASSERT_EQ(copyRights(), 0);
    const auto expectRefusal = [&](const std::string& label, int code) {
        EXPECT_EQ(bless(label).code, code) << label;
        EXPECT_EQ(installedFiles(), 0);
    };
    fs::copy_file(source_, fs::path(other).replace_filename(".hidden"));
    for (const std::string& label : {""s, "missing"s, "../LaunchServices/"s + kLabel, ".hidden"s}) {
        expectRefusal(label, ENOENT);
    }
    fs::copy_file(source_, other);
    expectRefusal("other", EINVAL); // its information list names another label
    fs::remove(other);
    fs::create_symlink(source_, other);
    expectRefusal("other", ELOOP);
    fs::remove(other);
    writeFile(other, "#!/bin/sh\n");
    expectRefusal("other", 1);

    const host::HelperInstallation installation(runner_, propertyLists_);
    const std::string fifo = folder_.file("fifo"); // must not make anyone wait for a writer
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto errorOf = [&](const std::string& source, const std::string& label, host::Trust trust) {
        return installation.bless(source, label, trust).value_or(Error{}).code;
    };
    EXPECT_EQ(errorOf(fifo, kLabel, host::Trust::Own), EINVAL);
    EXPECT_EQ(errorOf(source_, std::string(kLabel) + "/", host::Trust::Own), EINVAL);
    EXPECT_EQ(errorOf(source_, kLabel, host::Trust::RootOnly), EPERM); // everybody may write to /tmp
    EXPECT_EQ(installedFiles(), 0);
}

TEST_F(LinuxPrivilegedJobs, HasSystemdStartTheHelperWhereItRunsOrTheFormerOne) {
    fs::create_directories(root_ + "/run/systemd/system");
    makeProgram("systemctl",
                "echo \"$@\" >>calls\n"
                "case $1 in\n"
                "restart) Library/PrivilegedHelperTools/* --root \"$PWD\" >/dev/null & echo $! >pid ;;\n"
                "show) cat pid ;;\n"
                "stop) test -e pid && kill $(cat pid) ;;\n"
                "esac");
    const std::string name = std::string(kLabel) + ".service";
    const std::string started = "daemon-reload\nenable " + name + "\nrestart " + name +
                                "\nshow --property=MainPID --value " + name + "\n";
    const std::string unit = root_ + "/etc/systemd/system/" + name;
    ASSERT_EQ(copyRights(), 0);
    ASSERT_EQ(bless().reason, "");
    EXPECT_EQ(readFile(root_ + "/calls"), "stop " + name + "\n" + started);
    EXPECT_THAT(readFile(unit), HasSubstr("\nExecStart=" + tool_ + "\nRestart=always\n"));
    const pid_t first = helper();
    EXPECT_FALSE(log_.contains("has no systemd"));

    const std::string former = readFile(tool_);
    writeFile(source_, former + "another");
    writeFile(root_ + "/helper.mode", "ends-once");
    fs::remove(root_ + "/calls");
    const Error error = bless();
    EXPECT_EQ(error.code, ECHILD);
    EXPECT_THAT(error.reason, HasSubstr("the former helper runs again"));
    EXPECT_EQ(readFile(tool_), former);
    EXPECT_EQ(readFile(root_ + "/calls"),
              "stop " + name + "\n" + started + "disable --now " + name + "\n" + started);
    EXPECT_TRUE(isGone(first));
    EXPECT_TRUE(waitUntil([&] { return helper() != first; }));

    writeFile(root_ + "/helper.mode", "ends");
    for (const std::string& file : {tool_, job_, unit}) {
        fs::remove(file);
    }
    EXPECT_EQ(bless().code, ECHILD);
    EXPECT_FALSE(fs::exists(unit));
    EXPECT_EQ(installedFiles(), 0);
    fs::remove_all(root_ + "/run/systemd");
    host::endHelper(tool_);
}

TEST_F(LinuxPrivilegedJobs, AsksForRightsThatItDoesNotHave) {
    blockFolders();
    EXPECT_EQ(copyRights(kDoNotAsk), PrivilegedJobs::kInteractionNotAllowed);
    EXPECT_EQ(copyRights(), PrivilegedJobs::kInternal); // no pkexec
    for (const auto& [body, code] : {std::pair("exit 126", PrivilegedJobs::kCanceled),
                                     {"exit 127", PrivilegedJobs::kDenied},
                                     {"exit 0", PrivilegedJobs::kDenied},
                                     {"echo nonsense; exec cat", PrivilegedJobs::kDenied}}) {
        makePkexec(body);
        EXPECT_EQ(copyRights(), code) << body;
    }
    EXPECT_EQ(bless().code, PrivilegedJobs::kDenied);
    makePkexec("echo ready; exec true"); // an installer that dies
    EXPECT_EQ(copyRights(), 0);
    EXPECT_EQ(bless().code, EPIPE);
    fs::remove(folder_.file("Agent.app/Contents/MacOS/KvnHelperInstaller"));
    EXPECT_EQ(copyRights(), PrivilegedJobs::kInternal);
}

TEST_F(LinuxPrivilegedJobs, InstallsThroughTheInstaller) {
    blockFolders();
    // What is impossible here is possible there.
    makePkexec("rm Library; export SECRET=1; exec \"$@\" \"$PWD\"");
    ASSERT_EQ(copyRights(), 0);
    writeFile(root_ + "/helper.mode", "ends");
    const Error error = bless();
    EXPECT_EQ(error.code, ECHILD) << error.description();
    EXPECT_EQ(error.domain, "posix");
    writeFile(root_ + "/helper.mode", "");
    ASSERT_EQ(bless().reason, "");
    const std::string environment = readFile("/proc/" + std::to_string(helper()) + "/environ");
    EXPECT_EQ(environment.find("SECRET"), environment.npos);
    EXPECT_NE(environment.find("PATH="), environment.npos);
    authorization_.reset(); // the rights end, the helper goes on
    EXPECT_LT(waitpid(-1, nullptr, WNOHANG), 0);
    EXPECT_EQ(kill(helper(), 0), 0);
}

TEST_F(LinuxPrivilegedJobs, GivesUpAskingWhenTheProgramEnds) {
    blockFolders();
    makePkexec("touch asked; exec sleep 600");
    std::thread asking([this] { EXPECT_EQ(copyRights(), PrivilegedJobs::kCanceled); });
    EXPECT_TRUE(waitUntil([this] { return fs::exists(root_ + "/asked"); }));
    jobs_.interrupt();
    asking.join();
}

} // namespace
} // namespace kvn::test

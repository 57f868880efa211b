// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "host/Host.h"
#include "host/linux/LinuxSessionInfo.h"
#include "host/linux/LinuxSystemInfo.h"
#include "host/linux/LogindConsoleUser.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/LanguageTag.h"
#include "host/posix/SandboxPrivacy.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

#include <set>

namespace kvn::test {
namespace {

TEST(LinuxSessionInfo, ReadsTheAuditSession) {
    const std::pair<const char*, std::optional<std::uint64_t>> cases[] = {
        {"3", 3},           {"4294967294\n", 4294967294}, {"4294967295", std::nullopt}, // no login has set it
        {"", std::nullopt}, {"3x", std::nullopt},
    };
    for (const auto& [text, session] : cases) {
        EXPECT_EQ(host::parseAuditSession(text), session) << text;
    }
}

TEST(LocaleLanguages, FollowTheRulesOfGettext) {
    using Tags = std::vector<std::string>;
    const struct {
        host::LocaleVariables variables;
        Tags tags;
    } cases[] = {
        {{"", "", "", "de_AT.UTF-8"}, {"de-AT"}},
        {{"", "ca_ES@valencia", "it_IT", "de_DE"}, {"ca-ES"}},
        {{"", "", "it_IT", "de_DE"}, {"it-IT"}},
        {{"pt_BR:pt:en", "", "", "de_DE.UTF-8"}, {"pt-BR", "pt", "en"}},
        {{":de::de_AT:de:", "", "", "en_US.UTF-8"}, {"de", "de-AT"}},
        {{"zh_HK:zh_SG:zh", "", "", "zh_TW"}, {"zh-Hant", "zh-Hans"}},
        // The locale C, set or by default, has no language, and ends a list.
        {{"", "", "", ""}, {}},
        {{"de", "C.UTF-8", "", "de_DE"}, {}},
        {{"de", "", "POSIX", "de_DE"}, {}},
        {{"fr:C:de", "", "", "de_DE"}, {"fr"}},
        {{"../../tmp/x:d:de_/..:fr_FR", "", "", "de_DE"}, {"fr-FR"}},
    };
    for (const auto& example : cases) {
        EXPECT_EQ(host::preferredLanguagesOf(example.variables), example.tags)
            << example.variables.language << "|" << example.variables.all << "|" << example.variables.lang;
    }
}

TEST(LanguageTag, NamesTheScriptOfChineseOnly) {
    const std::pair<const char*, const char*> cases[] = {
        {"zh-Hant-TW", "zh-Hant"}, {"zh-Hant", "zh-Hant"}, {"zh-HK", "zh-Hant"}, {"zh-Hans-HK", "zh-Hans"},
        {"zh-CN", "zh-Hans"},      {"zh", "zh-Hans"},      {"de-AT", "de-AT"},   {"zha-TW", "zha-TW"},
    };
    for (const auto& [tag, expected] : cases) {
        EXPECT_EQ(host::languageTag(tag), expected) << tag;
    }
}

TEST(SandboxPrivacy, GrantsWhatItsFileDoesNotRefuse) {
    const TemporaryFolder root;
    Kvs::FSysInfoPaths::setRoot(root.path());
    fs::create_directories(root.file("var/db"));
    const host::PortablePropertyList propertyLists;
    host::SandboxPrivacy privacy("KvnGUIAgent", propertyLists);
    const std::string own = "<dict><key>KvnGUIAgent</key>";
    const struct {
        std::string contents; // of the file; none when empty
        bool accessibility, screenRecording;
    } cases[] = {
        {"", true, true},
        {"<dict><key>Other</key><false/></dict>", true, true},
        {own + "<dict><key>accessibility</key><false/></dict></dict>", false, true},
        {own + "<dict><key>screenRecording</key><integer>1</integer></dict></dict>", true, false},
        {own + "<true/></dict>", false, false},
        {"<true/>", false, false},
        {"garbage", false, false},
    };
    for (const auto& [contents, accessibility, screenRecording] : cases) {
        if (!contents.empty()) {
            writeFile(root.file("var/db/com.korvane.remote.privacy.plist"),
                      "<plist version=\"1.0\">" + contents + "</plist>");
        }
        const CapturedLog log;
        EXPECT_EQ(privacy.onScreenWindows().value().at(0).name.has_value(), screenRecording) << contents;
        EXPECT_EQ(privacy.isAccessibilityTrusted(false), accessibility) << contents;
        EXPECT_FALSE(log.contains("asked to allow"));
        EXPECT_EQ(privacy.requestScreenCapture(), screenRecording);
        EXPECT_EQ(privacy.isAccessibilityTrusted(true), accessibility);
        EXPECT_EQ(log.count("asked to allow KvnGUIAgent: "), !screenRecording + !accessibility);
    }
    Kvs::FSysInfoPaths::setRoot("");
}

TEST(LinuxHost, GuardsPrivacyUnderARootOnly) {
    for (const std::string root : {"/nowhere", ""}) {
        Kvs::FSysInfoPaths::setRoot(root);
        EXPECT_EQ(host::makeHost(host::FrontEnd::None).privacyPermissions->isGuarded(), !root.empty());
    }
}

using Arguments = std::vector<std::string>;
using Pids = std::set<pid_t>; // 0 is the asking process

TEST(LinuxRunningApplications, KnowsTheInstancesOfItsProgramAndRoot) {
    const TemporaryFolder folder;
    const std::string program = folder.file("program");
    const std::string root = folder.file("root");
    fs::create_directory(root);
    host::PollMainLoop loop;
    host::PosixProcessRunner runner(loop);
    const auto start = [&](const std::string& path, const Arguments& arguments) {
        return std::get<pid_t>(runner.launch(path, arguments, {}));
    };
    const auto run = [&](const Arguments& arguments) {
        return std::get<host::ProcessRunner::Outcome>(runner.run(program, arguments, {20s, 10'000}));
    };
    const auto instances = [&](const Arguments& arguments) {
        std::istringstream output(run(arguments).output);
        return Pids(std::istream_iterator<pid_t>(output), {});
    };
    const auto end = [&](pid_t process) { return run({std::to_string(process)}).exitStatus; };

    fs::copy_file(INSTANCE_SAMPLE, program);
    const pid_t old = start(program, {"wait"});
    fs::remove(program); // an update
    fs::copy_file(INSTANCE_SAMPLE, program);
    const pid_t current = start(program, {"wait"});
    const pid_t absolute = start(program, {"--root", root, "wait"});
    const pid_t relative = start(program, {"--root", fs::relative(root).string() + "/", "wait"});
    const pid_t elsewhere = start(program, {"--root", folder.path(), "wait"});
    const pid_t asking = start(program, {"--root", root, "--show", "wait"});
    const pid_t stranger = start(INSTANCE_SAMPLE, {"wait"}); // another file
    // A program that is being started has no arguments yet.
    EXPECT_TRUE(waitUntil([&] {
        return instances({"--root", root, "list"}) == Pids{0, absolute, relative};
    }));
    EXPECT_TRUE(waitUntil([&] { return instances({"list"}) == Pids{0, old, current}; }));

    for (const pid_t other : {absolute, elsewhere, asking, stranger, getpid(), pid_t{0}, pid_t{-1}}) {
        EXPECT_EQ(end(other), 1) << other;
    }
    EXPECT_EQ(end(old), 0);
    EXPECT_TRUE(pumpUntil(loop, [old] { return kill(old, 0) != 0; }));
    EXPECT_EQ(instances({"list"}), (Pids{0, current}));
    EXPECT_EQ(instances({"--root", root, "list"}), (Pids{0, absolute, relative}));
    for (const pid_t process : {current, absolute, relative, elsewhere, asking, stranger}) {
        kill(process, SIGKILL);
    }
}

template <class T>
using Reference = sdbus::Struct<T, sdbus::ObjectPath>;

/// A logind with a seat and the sessions "a" and "g".
class FakeLogind {
public:
    FakeLogind() {
        describe(*alice_, "user", "alice", 501);
        describe(*greeter_, "greeter", "gdm", 117);
        seat_->registerProperty("ActiveSession").onInterface(kSeat).withGetter([this] {
            const std::string path = active_ == '/' ? "/" : std::string("/session/") + active_.load();
            return Reference<std::string>("id", sdbus::ObjectPath(path));
        });
        seat_->finishRegistration();
        program_.serve({"org.freedesktop.login1"});
    }
    void activate(char session) {
        active_ = session;
        seat_->emitPropertiesChangedSignal(kSeat, {"ActiveSession"});
    }

private:
    static constexpr const char* kSeat = "org.freedesktop.login1.Seat";

    static void describe(sdbus::IObject& session, std::string kind, std::string name, std::uint32_t uid) {
        const auto add = [&](const char* property, auto value) {
            session.registerProperty(property)
                .onInterface("org.freedesktop.login1.Session")
                .withGetter([value] { return value; });
        };
        add("Class", kind);
        add("Name", name);
        add("User", Reference<std::uint32_t>(uid, sdbus::ObjectPath("/user")));
        session.finishRegistration();
    }

    std::atomic<char> active_ = 'g';
    BusProgram program_;
    std::unique_ptr<sdbus::IObject> alice_ = program_.makeObject("/session/a");
    std::unique_ptr<sdbus::IObject> greeter_ = program_.makeObject("/session/g");
    std::unique_ptr<sdbus::IObject> seat_ = program_.makeObject("/org/freedesktop/login1/seat/seat0");
};

TEST(LogindConsoleUser, FollowsTheForegroundSession) {
    const CapturedLog log;
    PrivateBus bus(false);
    host::LogindConsoleUser console(bus.loop(), bus.connection());
    int changes = 0;
    const auto registration = console.onChange([&] { ++changes; });
    auto awaitChange = [&, known = 0]() mutable {
        return pumpUntil(bus.loop(), [&] { return changes > known; }) && (known = changes);
    };
    EXPECT_EQ(console.current().name, std::nullopt);
    bus.start(); // without services
    ASSERT_TRUE(awaitChange());
    EXPECT_EQ(console.current().name, std::nullopt);
    EXPECT_EQ(log.lines().size(), 3U); // no bus, a bus, no logind

    FakeLogind logind;
    const std::tuple<char, std::optional<std::string>, uid_t> cases[] = {
        {'g', "loginwindow", 117}, {'a', "alice", 501},
        {'/', std::nullopt, 0},    {'x', std::nullopt, 0}, // ended before it was asked for
        {'g', "loginwindow", 117},
    };
    for (const auto& [session, name, uid] : cases) {
        logind.activate(session);
        ASSERT_TRUE(awaitChange());
        const auto owner = console.current();
        EXPECT_EQ(std::pair(owner.name, owner.uid), std::pair(name, uid));
    }
    EXPECT_EQ(log.lines().size(), 4U);

    bus.stop();
    ASSERT_TRUE(pumpUntil(bus.loop(), [&] { return !bus.connection()->isConnected(); }));
    EXPECT_EQ(console.current().name, std::nullopt);
}

} // namespace
} // namespace kvn::test

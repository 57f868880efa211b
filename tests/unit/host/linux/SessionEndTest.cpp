// SPDX-License-Identifier: MIT

#include "host/linux/LinuxWorkspace.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

constexpr const char* kLogind = "/org/freedesktop/login1";
constexpr const char* kSession = "/org/freedesktop/login1/session/_31";
constexpr const char* kLogindManager = "org.freedesktop.login1.Manager";
constexpr const char* kLogindSession = "org.freedesktop.login1.Session";
constexpr const char* kManager = "org.gnome.SessionManager";
constexpr const char* kClient = "/org/gnome/SessionManager/Client1";
constexpr const char* kClientInterface = "org.gnome.SessionManager.ClientPrivate";

/// A logind with one session, and a desktop's session manager, which notes who registers.
class SessionServices {
public:
    SessionServices() {
        program.method(kLogind, kLogindManager, "GetSession",
                       [](const std::string& id) { return sdbus::ObjectPath(id == "1" ? kSession : "/"); });
        program.property(kSession, kLogindSession, "State",
                         [this] { return std::string(closing_ ? "closing" : "active"); });
        const std::string path = "/org/gnome/SessionManager";
        program.method(path, kManager, "RegisterClient",
                       [this, &manager = program.object(path)](const std::string& application,
                                                               const std::string& startupId) {
                           program.note(manager.getCurrentlyProcessedMessage()->getSender());
                           program.note(application + " " + startupId);
                           return sdbus::ObjectPath(kClient);
                       });
        program.method(kClient, kClientInterface, "EndSessionResponse",
                       [this](const bool& agreed, const std::string&) { ++(agreed ? answers : refusals); });
        program.serve({"org.freedesktop.login1", kManager});
    }

    void removeSession(const char* path) {
        program.emit("", kLogind, kLogindManager, "SessionRemoved", "1", sdbus::ObjectPath(path));
    }
    void change(bool closing) {
        closing_ = closing;
        program.object(kSession).emitPropertiesChangedSignal(kLogindSession, {"State"});
    }
    bool hasClient() const { return program.notes().size() == 2; }

    /// Sends a signal to the registered program alone, as the session managers do.
    void tell(const char* name) {
        program.emit(program.notes().at(0), kClient, kClientInterface, name, std::uint32_t{0});
    }

    std::atomic<int> answers = 0, refusals = 0;

private:
    std::atomic<bool> closing_ = false;

public:
    BusProgram program;
};

class SessionEnd : public testing::Test {
protected:
    SessionEnd() {
        setenv("DESKTOP_AUTOSTART_ID", "startup", 1);
        workspace_.emplace(bus_.loop(), runner_, bus_.connection(), bus_.connection());
    }
    void observe() {
        observer_ = workspace_->observe([this](host::Workspace::Event event) {
            ends_ += event == host::Workspace::Event::WillEndSession ? 1 : 0;
        });
    }
    [[nodiscard]] bool soon(const std::function<bool()>& condition) {
        return pumpUntil(bus_.loop(), condition);
    }

    PrivateBus bus_;
    host::PollMainLoop unused_;
    host::PosixProcessRunner runner_{unused_};
    std::optional<host::LinuxWorkspace> workspace_;
    host::MainLoop::Handle observer_;
    int ends_ = 0;
};

TEST_F(SessionEnd, IsToldByLogind) {
    setenv("XDG_SESSION_ID", "1", 1);
    unsetenv("XDG_SESSION_TYPE");
    SessionServices services;
    observe();
    ASSERT_TRUE(soon([&] { return services.hasClient(); }));
    emitToEach(kLogind, kLogindManager, "SessionRemoved", std::string("1"), sdbus::ObjectPath(kSession));
    services.removeSession("/org/freedesktop/login1/session/_32");
    services.change(false);
    // Told again and again, because the agent may not have learned yet which session is its own.
    EXPECT_TRUE(soon([&] {
        services.change(true);
        return ends_ != 0;
    }));
    observer_.reset();
    ends_ = 0;
    observe();
    EXPECT_TRUE(soon([&] {
        services.removeSession(kSession);
        return ends_ != 0;
    }));
    unsetenv("XDG_SESSION_ID");
}

TEST_F(SessionEnd, IsAgreedWithTheSessionManager) {
    EXPECT_EQ(std::getenv("DESKTOP_AUTOSTART_ID"), nullptr); // launched programs would use it, too
    observe();
    ASSERT_TRUE(bus_.isConnectedSoon());
    SessionServices services; // which comes later
    ASSERT_TRUE(soon([&] { return services.hasClient(); }));
    EXPECT_EQ(services.program.notes().back(), "com.korvane.remote.KvnGUIAgent startup");
    EXPECT_TRUE(soon([&] {
        services.tell("QueryEndSession");
        return services.answers != 0;
    }));
    emitToEach(kClient, kClientInterface, "EndSession", std::uint32_t{0}); // of a stranger
    const int answers = services.answers;
    services.tell("CancelEndSession");
    services.tell("QueryEndSession");
    EXPECT_TRUE(soon([&] { return services.answers > answers; }));
    EXPECT_EQ(ends_, 0);
    services.tell("EndSession");
    EXPECT_TRUE(soon([&] { return ends_ == 1; }));
    services.tell("Stop");
    EXPECT_TRUE(soon([&] { return ends_ == 2; }));
    EXPECT_EQ(services.refusals, 0);
}

} // namespace
} // namespace kvn::test

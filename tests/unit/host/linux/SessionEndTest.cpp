// SPDX-License-Identifier: MIT

#include "host/linux/LinuxWorkspace.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

#include <mutex>

namespace kvn::test {
namespace {

constexpr const char* kSession = "/org/freedesktop/login1/session/_31";
constexpr const char* kLogindManager = "org.freedesktop.login1.Manager";
constexpr const char* kLogindSession = "org.freedesktop.login1.Session";
constexpr const char* kManager = "org.gnome.SessionManager";
constexpr const char* kClient = "/org/gnome/SessionManager/Client1";
constexpr const char* kClientInterface = "org.gnome.SessionManager.ClientPrivate";

/// A logind with one session, and a desktop's session manager.
class SessionServices {
public:
    SessionServices() {
        logind_->registerMethod("GetSession")
            .onInterface(kLogindManager)
            .implementedAs(
                [](const std::string& id) { return sdbus::ObjectPath(id == "1" ? kSession : "/"); });
        logind_->registerSignal("SessionRemoved")
            .onInterface(kLogindManager)
            .withParameters<std::string, sdbus::ObjectPath>();
        logind_->finishRegistration();
        session_->registerProperty("State").onInterface(kLogindSession).withGetter([this] {
            return std::string(closing_ ? "closing" : "active");
        });
        session_->finishRegistration();
        manager_->registerMethod("RegisterClient")
            .onInterface(kManager)
            .implementedAs([this](const std::string& application, const std::string& startupId) {
                const std::lock_guard guard(lock_);
                registered_ = application + " " + startupId;
                agent_ = manager_->getCurrentlyProcessedMessage()->getSender();
                return sdbus::ObjectPath(kClient);
            });
        manager_->finishRegistration();
        client_->registerMethod("EndSessionResponse")
            .onInterface(kClientInterface)
            .implementedAs([this](const bool& agreed, const std::string&) { answers += agreed ? 1 : 100; });
        client_->finishRegistration();
        program_.serve({"org.freedesktop.login1", kManager});
    }

    void removeSession(const char* path) {
        logind_->emitSignal("SessionRemoved")
            .onInterface(kLogindManager)
            .withArguments(std::string("1"), sdbus::ObjectPath(path));
    }
    void change(bool closing) {
        closing_ = closing;
        session_->emitPropertiesChangedSignal(kLogindSession, {"State"});
    }

    /// Sends a signal to the registered program alone, as the session managers do.
    void tell(const char* name) {
        auto signal = client_->createSignal(kClientInterface, name);
        static_cast<void>(signal << std::uint32_t{0});
        {
            const std::lock_guard guard(lock_); // not while the bus has its own lock
            signal.setDestination(agent_);
        }
        client_->emitSignal(signal);
    }
    std::string registered() const {
        const std::lock_guard guard(lock_);
        return registered_;
    }

    std::atomic<int> answers = 0;

private:
    mutable std::mutex lock_;
    std::string registered_;
    std::string agent_;
    std::atomic<bool> closing_ = false;
    BusProgram program_;
    std::unique_ptr<sdbus::IObject> logind_ = program_.makeObject("/org/freedesktop/login1");
    std::unique_ptr<sdbus::IObject> session_ = program_.makeObject(kSession);
    std::unique_ptr<sdbus::IObject> manager_ = program_.makeObject("/org/gnome/SessionManager");
    std::unique_ptr<sdbus::IObject> client_ = program_.makeObject(kClient);
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
    ASSERT_TRUE(soon([&] { return services.registered() != ""; }));
    emitToEach("/org/freedesktop/login1", kLogindManager, "SessionRemoved", std::string("1"),
               sdbus::ObjectPath(kSession));
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
    ASSERT_TRUE(soon([&] { return services.registered() != ""; }));
    EXPECT_EQ(services.registered(), "com.korvane.remote.KvnGUIAgent startup");
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
    EXPECT_LT(services.answers, 100);
}

} // namespace
} // namespace kvn::test

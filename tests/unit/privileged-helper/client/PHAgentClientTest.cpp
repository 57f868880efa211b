// SPDX-License-Identifier: MIT

#include "privileged-helper/client/PHAgentClient.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeHelper.h"
#include "tests/support/FakePrivilegedJobs.h"
#include "tests/support/FakeSleeper.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/Test.h"

#include <sys/time.h>

namespace kvn::test {
namespace {

using Texts = std::vector<std::string>;

const char* const kPath = "Library/LaunchServices/helper";
const char* const kInstalledTool = "/Library/PrivilegedHelperTools/helper";
const char* const kLabel = "label";
const PHMessage kCompleted = {{"Event", "CommandCompleted"}, {"status", 0}};

class EventHandler : public PHAgentEventHandler {
public:
    bool processAgentEvent(const PHMessage& event) override {
        events.push_back(event.text());
        return true;
    }
    void processErrorEvent(const host::Error* error) override {
        EXPECT_EQ(error, nullptr);
        {
            const std::lock_guard guard(lock_);
            client_.reset();
        }
        ++ends; // last: who sees it may destroy this object
    }
    void dropAtTheEnd(std::shared_ptr<PHAgentClient> client) {
        const std::lock_guard guard(lock_);
        client_ = std::move(client);
    }
    Texts events;
    std::atomic<int> ends = 0;

private:
    std::mutex lock_;
    std::shared_ptr<PHAgentClient> client_;
};

class PHAgentClientTest : public testing::Test {
protected:
    PHAgentClientTest() {
        std::signal(SIGPIPE, SIG_IGN);
        setEmbeddedVersion("2.0");
    }

    void setEmbeddedVersion(const std::string& version) {
        bundle.embedded[*bundle.auxiliaryExecutable(kPath)] = {
            {"CFBundleIdentifier", {std::string("helper")}}, {"CFBundleVersion", {version}}};
    }
    void setInstalledVersion(const std::string& version) {
        jobs.job = {{"ProgramArguments",
                     {host::PropertyValue::Array{{std::string(kInstalledTool)}, {std::string("-x")}}}}};
        bundle.embedded[kInstalledTool] = {{"CFBundleVersion", {version}}};
    }
    std::shared_ptr<PHAgentClient> makeClient() {
        return std::make_shared<PHAgentClient>(environment, handler, kPath, false);
    }
    void startHelper() {
        helper = std::make_unique<FakeHelper>("helper", [this](const PHMessage& message) {
            const auto control = stringIn(message, "Ctrl");
            return !control           ? std::optional(kCompleted)
                   : control == "bye" ? std::nullopt
                                      : std::optional(PHMessage{{"version", helperVersion.load()}});
        });
    }

    TemporaryRoot root;
    CapturedLog log;
    FakeClock clock;
    ManualMainLoop loop{clock};
    FakeSleeper sleeper;
    FakeBundle bundle;
    FakePrivilegedJobs jobs;
    EventHandler handler;
    PHAgentClient::Environment environment{loop, sleeper, bundle, jobs};
    std::atomic<const char*> helperVersion = "2.0";
    std::unique_ptr<FakeHelper> helper;
};

TEST_F(PHAgentClientTest, TriesThreeTimesASecondApartToConnect) {
    const std::size_t around = Kvs::FSysInfoPaths::underRoot("/var/run/.socket").size();
    PHClientProtocolHandler protocol(Kvs::FileDescriptor(), false, sleeper);
    Texts lines;
    for (const auto& [length, reason] :
         {std::pair(103, "Failed to connect Unix domain socket, error: 2"),
          std::pair(104, "Bundle name too long for Unix domain socket name, error: 104")}) {
        const std::string identifier(static_cast<std::size_t>(length) - around, 'b');
        EXPECT_EQ(protocol.connectPrivilegedAgent(identifier), std::nullopt);
        const std::string failed = "IOException: "s + reason;
        const std::string again = "Retrying to connect PrivilegedAgent...";
        lines.insert(lines.end(), {failed, again, failed, again, failed});
    }
    EXPECT_EQ(log.lines(), lines);
    EXPECT_EQ(sleeper.slept(), std::vector(6, 1000ms));

    // The bound on reads ends with the handshake.
    startHelper();
    EXPECT_EQ(protocol.connectPrivilegedAgent("helper"), "2.0");
    timeval timeout{9, 9};
    socklen_t size = sizeof timeout;
    EXPECT_EQ(::getsockopt(protocol.conFd(), SOL_SOCKET, SO_RCVTIMEO, &timeout, &size), 0);
    EXPECT_TRUE(timeout.tv_sec == 0 && timeout.tv_usec == 0);
    EXPECT_TRUE(log.contains("Connection to PrivilegedAgent established"));
}

TEST_F(PHAgentClientTest, VerifiesTheVersionExactly) {
    startHelper();
    auto current = makeClient();
    EXPECT_TRUE(current->verifyAgentConnection());
    EXPECT_EQ(current->getAgentVersion(), "2.0");
    current->stopEventThread();
    EXPECT_TRUE(current->verifyAgentConnection());
    EXPECT_EQ(helper->transcript().size(), 1U); // no second handshake
    current.reset();

    helperVersion = "2.0.0";
    const auto other = makeClient();
    EXPECT_FALSE(other->verifyAgentConnection());
    EXPECT_FALSE(other->tryToConnect());
    EXPECT_TRUE(log.contains("Privileged helper:Library/LaunchServices/helper must be updated, installed "
                             "version: 2.0.0, current: 2.0\n"));
    EXPECT_TRUE(other->verifyAgentConnection()); // left open
}

TEST_F(PHAgentClientTest, CountsFailedInstallsUpToFive) {
    const auto client = makeClient();
    const auto install = [&](PHAgentClient::InstallResult expected, const Texts& lines) {
        EXPECT_EQ(client->installPrivilegedAgent(kLabel, "", "", ""), expected);
        for (const std::string& line : lines) {
            EXPECT_TRUE(log.contains(line)) << line;
        }
    };
    jobs.rightsError = host::PrivilegedJobs::kCanceled;
    install(PHAgentClient::kNotAuthorized,
            {"PHProtocolHandler AuthorizationCopyRights request canceled by user"});
    jobs.creationError = -60008;
    install(PHAgentClient::kNotAuthorized, {"PHProtocolHandler failed to create Authorization: -60008"});
    EXPECT_EQ(client->installErrorCount(), 0);

    jobs.creationError = 0;
    jobs.rightsError = -60005; // the blessing is tried nevertheless
    jobs.blessError = host::Error{"CFErrorDomainLaunchd", 4, "no"};
    install(PHAgentClient::kInstallFailed,
            {"PHProtocolHandler AuthorizationCopyRights failed with error: -60005",
             "Failed to install privileged helper tool: label: error:no (CFErrorDomainLaunchd 4)"});
    jobs.blessError.reset();
    install(PHAgentClient::kInstallFailed, {"Failed to get version of privileged helper tool: label"});
    helperVersion = "1.9";
    startHelper();
    for (int i = 0; i < 3; ++i) {
        install(PHAgentClient::kInstallFailed,
                {"Failed to update privileged helper tool: label",
                 "Failed to install privileged helper tool: label: error:(null)"});
    }
    EXPECT_FALSE(client->tryToConnect());
    install(PHAgentClient::kInstallSkipped, {"Too many install errors of privileged agent: label, skipping "
                                             "installation in this session"});
    EXPECT_EQ(jobs.blessed.size(), 5U);
}

TEST_F(PHAgentClientTest, AsksForTheRightWithUserOrPrompt) {
    const struct {
        std::string user, password, prompt, creationFlags, flags, environment, logged;
    } cases[] = {
        {"ann", "pw", "?", "0", "18", " username=ann password=pw", "2, 3, ann"},
        {"", "", "Allow?", "19", "19", " prompt=Allow?\n\n", "1, 8, Allow?\\n\\n"},
        {"", "", "", "19", "19", "", "0"},
    };
    const auto client = makeClient();
    for (const auto& [user, password, prompt, creationFlags, flags, environment, logged] : cases) {
        jobs.requests.clear();
        EXPECT_TRUE(client->createAuthorizationForUser(user, password, prompt));
        EXPECT_THAT(jobs.requests,
                    ElementsAre("create " + creationFlags + environment,
                                "com.apple.ServiceManagement.blesshelper " + flags + environment));
        EXPECT_TRUE(log.contains(", flags: " + flags + ", env items: " + logged)) << logged;
    }
    EXPECT_TRUE(log.contains("AuthorizationCreate: flags: 19"));
}

TEST_F(PHAgentClientTest, DowngradesOnlyFromANewerVersion) {
    const struct {
        const char *embedded, *installed;
        bool required;
    } cases[] = {
        {"2.10.0", "2.9.5", false},
        {"2.9", "2.9.1", true},
        {"2.9", "2.9.0", false},
        {"1.99", "2", true},
        {"2.x.1", "2.0", false},
        {"2", "99999999999999999999999", true},
        {"1.202611200000", "1.202611211915", true},
    };
    EXPECT_FALSE(makeClient()->downgradeRequiredForAgent(kLabel));
    for (const auto& [embedded, installed, required] : cases) {
        setEmbeddedVersion(embedded);
        setInstalledVersion(installed);
        EXPECT_EQ(makeClient()->downgradeRequiredForAgent(kLabel), required) << embedded << " " << installed;
    }
    EXPECT_TRUE(log.contains("Must downgrade label from version: 2.9.1 to version:2.9"));
}

TEST_F(PHAgentClientTest, UninstallsANewerHelperBeforeItBlesses) {
    helperVersion = "3.0";
    setInstalledVersion("3.0");
    startHelper();
    Texts beforeBlessing;
    jobs.onBless = [&] {
        beforeBlessing = helper->transcript();
        EXPECT_THAT(sleeper.slept(), ElementsAre(4000ms));
        helperVersion = "2.0";
    };
    const auto client = makeClient();
    EXPECT_FALSE(client->verifyAgentConnection());
    EXPECT_EQ(client->installPrivilegedAgent(kLabel, "", "", ""), PHAgentClient::kInstalled);
    const char* const getVersion = R"({"Ctrl":"getVersion"})";
    EXPECT_THAT(beforeBlessing, ElementsAre(getVersion, R"({"Ctrl":"bye"})", getVersion,
                                            R"({"Cmd":"UninstallInstallerAgent"})"));
    EXPECT_TRUE(log.contains("Privileged helper tool version: 3.0, uninstalled: 0"));
    EXPECT_TRUE(log.contains("Privileged helper label is up-to-date, version: 2.0"));
    EXPECT_TRUE(client->tryToConnect());
    loop.advance(250ms); // closes the connection that was told "bye", which is not the present one
    EXPECT_TRUE(client->sendMessage(kCompleted));
    client->startEventThread();
    EXPECT_THROW(client->readMessage(), PHAgentClientInvalidState);
}

TEST_F(PHAgentClientTest, DeliversEventsUntilTheFirstEnd) {
    startHelper();
    const auto client = makeClient();
    const auto before = openDescriptors();
    for (int connection = 0; connection < 2; ++connection) {
        EXPECT_TRUE(client->verifyAgentConnection());
        client->verifyEventThreadRunning();
        helper->push(kCompleted);
        EXPECT_TRUE(waitUntil([&] { return loop.scheduledCount() > 0; }));
        loop.runPending();
        helper->hangUp();
        EXPECT_TRUE(waitUntil([&] { return !client->sendMessage(kCompleted); }));
        EXPECT_TRUE(waitUntil([&] { return handler.ends > 0; }));
    }
    EXPECT_EQ(handler.ends, 1);
    EXPECT_EQ(handler.events, Texts{kCompleted.text()});
    EXPECT_FALSE(client->deliversEvents());
    client->terminatePrivilegedAgent(); // drops the ended connection and its thread
    loop.advance(250ms);
    EXPECT_TRUE(waitUntil([&] { return openDescriptors() == before; }));
}

TEST_F(PHAgentClientTest, EndsItsConnectionAfterByeAndMayEndWithIt) {
    startHelper();
    auto client = makeClient();
    EXPECT_TRUE(client->verifyAgentConnection());
    client->startEventThread();
    client->terminatePrivilegedAgent();
    loop.advance(249ms);
    EXPECT_TRUE(client->isConnected());
    loop.advance(1ms);
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(handler.ends, 0);

    EXPECT_TRUE(client->verifyAgentConnection());
    client->startEventThread();
    const std::weak_ptr<PHAgentClient> weak = client;
    handler.dropAtTheEnd(std::move(client)); // on the client's own event thread
    helper->hangUp();
    EXPECT_TRUE(waitUntil([&] { return handler.ends > 0 && weak.expired(); }));
}

TEST_F(PHAgentClientTest, DoesNotInstallWhenItIsEndedDuringTheAuthorization) {
    const auto client = makeClient();
    jobs.onCopyRights = [&] { client->end(); };
    EXPECT_EQ(client->installPrivilegedAgent(kLabel, "", "", ""), PHAgentClient::kInstallFailed);
    EXPECT_TRUE(jobs.blessed.empty());
}

TEST_F(PHAgentClientTest, WaitsForTheUninstallToComplete) {
    startHelper();
    for (const bool answers : {true, false}) {
        environment.uninstallTimeout = answers ? 1h : 10ms;
        const auto client = makeClient();
        EXPECT_TRUE(client->verifyAgentConnection());
        if (answers) {
            client->startEventThread();
        }
        std::atomic<bool> done = false;
        std::thread worker([&] {
            client->uninstallPrivilegedAgent();
            done = true;
        });
        EXPECT_TRUE(loop.runUntil([&] { return done.load(); }));
        worker.join();
        EXPECT_FALSE(client->isConnected());
    }
    EXPECT_EQ(handler.events.size(), 1U);
}

} // namespace
} // namespace kvn::test

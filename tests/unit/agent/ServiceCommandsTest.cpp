// SPDX-License-Identifier: MIT

#include "agent/GUIAgentController.h"
#include "tests/support/Test.h"

#include "tests/support/FakeHelper.h"
#include "tests/unit/agent/ApplicationFixture.h"

namespace kvn::test {
namespace {

constexpr char kHelperId[] = "com.korvane.remote.KvnServiceController";

/// A helper of the embedded version that completes what it is told to.
std::optional<PHMessage> obey(const PHMessage& message) {
    if (const auto control = stringIn(message, "Ctrl")) {
        return control == "getVersion" ? std::optional(PHMessage{{"version", "2.0.0"}}) : std::nullopt;
    }
    std::optional<PHMessage> response;
    if (const PHMessage requestId = message.valueIn("requestId"); !requestId.isNull()) {
        response = {{"requestId", requestId}, {"result", "done"}};
    }
    return PHMessage{{"Event", "CommandCompleted"},
                     {"Cmd", message.valueIn("Cmd")},
                     {"status", 0},
                     {"Response", response}};
}

class ServiceCommands : public Application {
protected:
    ServiceCommands() { app.applicationDidFinishLaunching(); }

    bool completes(std::size_t commands) {
        workQueue.runAll();
        return env.loop.runUntil([&] { return ui.messages.size() >= commands; });
    }
};

TEST_F(ServiceCommands, AreSentAsMessagesAndCompleteOnTheMainThread) {
    FakeHelper helper(kHelperId, obey);
    std::string result;
    app.mainController().stopService();
    app.mainController().startService();
    app.mainController().restartService();
    app.mainController().executeTask("/bin/x", {"-a", "b c"}, [&](const auto* r) { result = r->text(); });
    app.mainController().executeTask("/bin/y", {}, nullptr);
    EXPECT_THAT(helper.transcript(), IsEmpty()); // the main thread does not wait for the helper
    ASSERT_TRUE(completes(3));                   // a task that succeeds has its own completion
    EXPECT_TRUE(env.loop.runUntil([&] { return helper.transcript().size() == 6; }));
    EXPECT_TRUE(env.loop.runUntil([&] { return env.log.contains("unknown request"); }));
    EXPECT_THAT(ui.messages, ElementsAre("stop: completed", "start: completed", "restart: completed"));
    EXPECT_EQ(result, "\"done\"");
    EXPECT_THAT(helper.transcript(),
                ElementsAre(R"({"Ctrl":"getVersion"})", R"({"Cmd":"StopService"})",
                            R"({"Cmd":"StartService"})", R"({"Cmd":"RestartService"})",
                            R"({"Cmd":"ExecuteTask","args":["-a","b c"],"requestId":1,"task":"/bin/x"})",
                            R"({"Cmd":"ExecuteTask","args":[],"task":"/bin/y"})"));
    EXPECT_EQ(env.log.count("Received response: (null) for unknown request: (null)"), 1U);
}

TEST_F(ServiceCommands, TellFailuresOfTheHelper) {
    FakeHelper helper(kHelperId, [](const PHMessage& message) -> std::optional<PHMessage> {
        const auto command = stringIn(message, "Cmd");
        if (!command) {
            return obey(message);
        }
        std::optional<PHMessage> details;
        if (command == "StartService") {
            details = "no such program";
        }
        return PHMessage{
            {"Event", "CommandCompleted"}, {"Cmd", *command}, {"status", -201}, {"ErrorDetails", details}};
    });
    app.mainController().restartService();
    app.mainController().startService();
    ASSERT_TRUE(completes(2));
    EXPECT_THAT(ui.messages, ElementsAre("restart: failed (-201)", "start: failed (-201): no such program"));
    EXPECT_THAT(env.log.linesWith("Command "),
                ElementsAre("Command RestartService failed, status: -201",
                            "Command StartService failed, status: -201\nDetails: no such program"));

    helper.push({{"Event", "CommandCompleted"},
                 {"Cmd", 5},
                 {"status", "x"},
                 {"Response", PHMessage::parse("[1,2]")}});
    helper.push({{"Event", "Other"}, {"Cmd", "StopService"}});
    helper.push({{"Event", "CommandCompleted"},
                 {"Cmd", "ExecuteTask"},
                 {"Response", PHMessage::parse(R"({"requestId":99,"result":{"a":1}})")}});
    EXPECT_TRUE(env.loop.runUntil(
        [&] { return env.log.contains("Received response: {\"a\":1} for unknown request: 99"); }));
    EXPECT_THAT(ui.messages, SizeIs(3)); // the event of another kind completes nothing
    EXPECT_EQ(ui.messages.back(), ": failed (-1)");
}

TEST_F(ServiceCommands, CompleteATaskWhateverHappensToIt) {
    FakeHelper helper(kHelperId, [](const PHMessage& message) {
        return stringIn(message, "Ctrl") ? obey(message) : PHMessage::parse(R"({"Event":"CommandCompleted",
            "Cmd":"ExecuteTask","status":"0","Response":{"requestId":3.0,"result":7}})");
    });
    std::vector<std::string> results;
    for (const std::string& argument : {std::string(500, 'x'), "\xC3"s, ""s}) { // too long, not UTF-8, sent
        app.mainController().executeTask("/bin/x", {argument}, [&](const PHMessage* result) {
            results.push_back(result ? result->text() : "none");
        });
    }
    workQueue.runAll();
    EXPECT_TRUE(env.loop.runUntil([&] { return results.size() == 3; }));
    EXPECT_THAT(results, ElementsAre("none", "none", "7"));
    const std::string error = "error: the command could not be sent to the privileged helper";
    EXPECT_THAT(ui.messages, ElementsAre(error, error, "task: failed (-1)"));
    EXPECT_TRUE(env.log.contains("Command ExecuteTask failed, status: -1"));
}

TEST_F(ServiceCommands, InstallAMissingHelperAndAreDroppedWithoutOne) {
    jobs.blessError = host::Error{"posix", 13, "Permission denied"};
    int abandoned = 0;
    app.mainController().executeTask("/bin/x", {}, [&](const PHMessage* result) { abandoned += !result; });
    app.mainController().startService();
    workQueue.runAll();
    env.loop.runPending();
    EXPECT_THAT(jobs.blessed, ElementsAre(kHelperId, kHelperId));
    EXPECT_THAT(jobs.requests.at(0), testing::EndsWith(" prompt=ServiceCtrlAuthPromt\n\n"));
    const std::string unavailable = "Can't start/stop service, priviliged helper tool not available";
    EXPECT_EQ(env.log.count(unavailable + " (-2)"), 2U);
    EXPECT_THAT(ui.messages, ElementsAre("error: " + unavailable, "error: " + unavailable));
    EXPECT_EQ(abandoned, 1);
    EXPECT_FALSE(env.log.contains("Sending start service command"));

    std::optional<FakeHelper> helper;
    jobs.blessError.reset();
    jobs.onBless = [&] { helper.emplace(kHelperId, obey); };
    std::string result;
    app.mainController().startService();
    app.mainController().executeTask("/bin/x", {}, [&](const auto* r) { result = r ? r->text() : "none"; });
    workQueue.runAll();
    // The failures were no end of a connection, so the first connection delivers.
    EXPECT_TRUE(env.loop.runUntil([&] { return !result.empty(); }));
    EXPECT_EQ(result, "\"done\"");
    EXPECT_EQ(ui.messages.back(), "start: completed");
    EXPECT_FALSE(env.log.contains("ServiceCrtlClient error"));
    EXPECT_EQ(jobs.blessed.size(), 3U);
}

TEST_F(ServiceCommands, DeliverAfterADismissedUpdate) {
    std::atomic<const char*> version = "1.0.0";
    FakeHelper helper(kHelperId, [&](const PHMessage& message) {
        return stringIn(message, "Ctrl") == "getVersion" ? PHMessage{{"version", version.load()}}
                                                         : obey(message);
    });
    std::vector<std::string> results;
    jobs.rightsError = host::PrivilegedJobs::kCanceled; // before the old helper has obeyed "bye"
    for (int command = 0; command < 3; ++command) {
        app.mainController().executeTask("/bin/x", {}, [&](const PHMessage* result) {
            results.push_back(result ? result->text() : "none");
        });
        workQueue.runAll();
        EXPECT_TRUE(env.loop.runUntil([&] { return results.size() > static_cast<std::size_t>(command); }));
        if (command == 1) {
            env.loop.advance(std::chrono::seconds(1));
            jobs.rightsError = 0;
            version = "2.0.0";
        }
    }
    EXPECT_THAT(results, ElementsAre("none", "none", "\"done\""));
}

TEST_F(ServiceCommands, ReconnectAfterAHelperHasEnded) {
    int abandoned = 0;
    {
        FakeHelper helper(kHelperId, [](const PHMessage& message) {
            return stringIn(message, "Ctrl") ? obey(message) : std::nullopt; // never completes
        });
        app.mainController().executeTask("/bin/x", {},
                                         [&](const PHMessage* result) { abandoned += !result; });
        workQueue.runAll();
        ASSERT_TRUE(waitUntil([&] { return helper.transcript().size() == 2; }));
        app.mainController().stopService(); // waits in the queue, before what the end will bring there
    }
    EXPECT_TRUE(env.loop.runUntil([&] { return abandoned == 1; }));
    EXPECT_THAT(env.log.linesWith("ServiceCrtlClient error"), ElementsAre("ServiceCrtlClient error: (null)"));

    FakeHelper helper(kHelperId, obey);
    workQueue.runAll();
    env.loop.advance(std::chrono::seconds(1));
    app.mainController().executeTask("/bin/y", {}, [&](const PHMessage* result) { abandoned += !result; });
    workQueue.runAll();
    EXPECT_TRUE(waitUntil([&] { return helper.transcript().size() >= 3; }));
    EXPECT_THAT(helper.transcript(),
                ElementsAre(R"({"Ctrl":"getVersion"})", R"({"Cmd":"StopService"})",
                            R"({"Cmd":"ExecuteTask","args":[],"requestId":2,"task":"/bin/y"})"));
    EXPECT_TRUE(env.loop.runUntil([&] { return abandoned == 2; })); // events are not delivered any more
}

} // namespace
} // namespace kvn::test

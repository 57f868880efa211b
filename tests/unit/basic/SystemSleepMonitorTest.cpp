// SPDX-License-Identifier: MIT

#include "basic/SystemSleepMonitor.h"
#include "core/logging/CNSLog.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using host::PowerManagement;
using Kvs::CNSLog;

// The fakes log what they are told, so that one list of lines shows calls and log texts in their order.

struct FakePower : PowerManagement {
    std::int32_t declareUserActivity(const std::string& name, UserActivity kind, AssertionId& id) override {
        CNSLog("declare %s %s, %u", kind == UserActivity::Local ? "local" : "remote", name.c_str(), id);
        id = 42;
        return error;
    }
    std::int32_t preventIdleDisplaySleep(const std::string& name, AssertionId& id) override {
        CNSLog("prevent %s", name.c_str());
        id = error == 0 ? ++lastAssertion : id;
        return error;
    }
    std::int32_t releaseAssertion(AssertionId id) override {
        CNSLog("release %x", id);
        return error;
    }
    bool registerForSystemPower(MessageHandler handler) override {
        send = error == 0 ? std::move(handler) : nullptr;
        return error == 0;
    }
    std::int32_t deregisterForSystemPower() override {
        send = nullptr;
        return error;
    }
    void allowPowerChange(std::intptr_t argument) override { CNSLog("allow %d", static_cast<int>(argument)); }
    void cancelPowerChange(std::intptr_t argument) override {
        CNSLog("cancel %d", static_cast<int>(argument));
    }

    std::int32_t error = 0; // the result of every call
    AssertionId lastAssertion = 0x1A;
    MessageHandler send; // empty while not registered
};

struct FakePointer : host::Pointer {
    host::Point location() const override { return {100, 250}; }
    double mainScreenHeight() const override { return 800; }
    void postMove(host::Point to) override { CNSLog("move to %.0f, %.0f", to.x, to.y); }
};

struct FakeObserver : SystemSleepObserver {
    bool canSystemSleep() override { return answer; }
    void systemWillSleep() override { CNSLog("told of sleep"); }
    void systemDidWakeup() override { CNSLog("told of wake-up"); }

    bool answer = true;
};

class SystemSleepMonitorTest : public testing::Test {
protected:
    template <class Action>
    void expect(Action action, const std::vector<std::string>& lines) {
        const CapturedLog log;
        action();
        EXPECT_EQ(log.lines(), lines);
    }

    CapturedLog log_;
    FakeClock clock_;
    ManualMainLoop loop_{clock_};
    FakePower power_;
    FakePointer pointer_;
    SystemSleepMonitor monitor_{power_, pointer_, loop_};
    FakeObserver observer_;
};

TEST_F(SystemSleepMonitorTest, ObserversReceivePowerMessagesAndRefuseAtMostThreeSleeps) {
    const auto add = [&] { monitor_.addObserver(observer_); };
    const auto remove = [&] { monitor_.removeObserver(observer_); };
    const auto send = [&](std::uint32_t message) { return [=, this] { power_.send(message, 0xCDE); }; };
    expect(add, {"IORegisterForSystemPower succeded\n"});
    expect(add, {});
    expect(send(PowerManagement::kSystemWillSleep), {"SystemSleepMonitor: kIOMessageSystemWillSleep",
                                                     "System will sleep", "told of sleep", "allow 3294"});
    expect(send(PowerManagement::kSystemHasPoweredOn),
           {"SystemSleepMonitor: kIOMessageSystemHasPoweredOn", "System did wakeup", "told of wake-up"});
    expect(send(PowerManagement::kSystemWillPowerOn), {});
    expect(send(0xAB), {"SystemSleepMonitor: messageType 000000ab, arg 00000cde\n"});
    expect(remove, {"IODeregisterForSystemPower succeded\n"});
    EXPECT_FALSE(power_.send);
    expect(remove, {});

    observer_.answer = false;
    expect(add, {"IORegisterForSystemPower succeded\n"});
    for (const char* counter : {"1", "2", "3"}) {
        expect(send(PowerManagement::kCanSystemSleep),
               {"Allowing system to sleep: no, request: "s + counter,
                "SystemSleepMonitor: kIOMessageCanSystemSleep cancelled", "cancel 3294"});
    }
    expect(send(PowerManagement::kCanSystemSleep),
           {"Allowing system to sleep: yes, request: 0",
            "SystemSleepMonitor: kIOMessageCanSystemSleep allowed", "allow 3294"});
}

TEST_F(SystemSleepMonitorTest, DeclaresLocalActivityAnewAfterAFailure) {
    const auto declare = [&] { EXPECT_EQ(monitor_.declareLocalUserActivity(), power_.error == 0); };
    const std::string call = "declare local Remote desktop session starting, ";
    expect(declare, {call + "0", "IOPMAssertionDeclareUserActivity succeeded"});
    power_.error = static_cast<std::int32_t>(0xE00002BCU); // a typical code of the system
    expect(declare, {call + "42", "IOPMAssertionDeclareUserActivity failed: e00002bc"});
    power_.error = 0;
    expect(declare, {call + "0", "IOPMAssertionDeclareUserActivity succeeded"});
}

TEST_F(SystemSleepMonitorTest, WakesTheDisplayAndHoldsOneAssertion) {
    const auto wake = [&] { EXPECT_EQ(monitor_.wakeupDisplayAndPreventSleep(), power_.error == 0 ? 0 : -1); };
    const std::string call = "declare remote Remote desktop session running, ",
                      woken = "Wakeup display: DeclareUserActivity succeeded",
                      prevent = "prevent Remote desktop session running";
    power_.error = 0x10;
    expect(wake, {call + "0", "IOPMAssertionDeclareUserActivity failed: 10"});
    EXPECT_EQ(loop_.scheduledCount(), 0U);
    power_.error = 0;
    expect(wake, {call + "0", woken});
    expect([&] { loop_.advance(199ms); }, {});
    expect([&] { loop_.advance(1ms); }, {"move to 103, 548", "move to 100, 550"});
    expect(wake, {call + "42", woken});
    expect([&] { loop_.advance(1799ms); }, {"move to 103, 548", "move to 100, 550"});
    expect([&] { loop_.advance(1ms); },
           {prevent, "IOPMAssertPreventUserIdleDisplaySleep succeeded with assertionID: 1b"});
    expect([&] { loop_.advance(1s); },
           {"release 1b", "Allowing display to sleep. Succeeded with assertionID: 1b", prevent,
            "IOPMAssertPreventUserIdleDisplaySleep succeeded with assertionID: 1c"});
    power_.error = -1;
    expect([&] { monitor_.allowDisplaySleep(); },
           {"release 1c", "Allowing display to sleep. Failed with assertionID: 1c, error: ffffffff"});
    expect([&] { monitor_.allowDisplaySleep(); }, {});
}

} // namespace
} // namespace kvn::test

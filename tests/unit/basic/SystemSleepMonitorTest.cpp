#include "basic/SystemSleepMonitor.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ManualMainLoop.h"

#include <gtest/gtest.h>
#include <set>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
using host::PowerManagement;
using Lines = std::vector<std::string>;

/// Keeps what it is told; fails with `error` while that is not 0.
class FakePower : public PowerManagement {
public:
    std::int32_t declareUserActivity(const std::string& name, UserActivity kind, AssertionId& id) override {
        calls.push_back("declare " + name + (kind == UserActivity::Local ? ", local " : ", remote ") +
                        std::to_string(id));
        id = 42;
        return error;
    }
    std::int32_t preventIdleDisplaySleep(const std::string& name, AssertionId& id) override {
        calls.push_back("prevent " + name);
        if (error == 0) {
            id = ++lastAssertion_;
            held.insert(id);
        }
        return error;
    }
    std::int32_t releaseAssertion(AssertionId id) override {
        EXPECT_EQ(held.erase(id), 1U);
        return error;
    }
    bool registerForSystemPower(MessageHandler handler) override {
        if (error == 0) {
            send = std::move(handler);
        }
        return error == 0;
    }
    std::int32_t deregisterForSystemPower() override {
        send = nullptr;
        return error;
    }
    void allowPowerChange(std::intptr_t argument) override {
        calls.push_back("allow " + std::to_string(argument));
    }
    void cancelPowerChange(std::intptr_t argument) override {
        calls.push_back("cancel " + std::to_string(argument));
    }

    std::int32_t error = 0;
    Lines calls;
    std::set<AssertionId> held;
    MessageHandler send; // none while not registered

private:
    AssertionId lastAssertion_ = 0x1A;
};

class FakePointer : public host::Pointer {
public:
    host::Point location() const override { return {100, 250}; }
    double mainScreenHeight() const override { return 800; }
    void postMove(host::Point to) override { moves.emplace_back(to.x, to.y); }

    std::vector<std::pair<double, double>> moves;
};

class FakeObserver : public SystemSleepObserver {
public:
    bool canSystemSleep() override { return answer; }
    void systemWillSleep() override { told += "sleep "; }
    void systemDidWakeup() override { told += "wake "; }

    bool answer = true;
    std::string told;
};

class SystemSleepMonitor : public testing::Test {
protected:
    /// The lines that were logged since the last call.
    Lines newLines() {
        const Lines all = log_.lines();
        Lines fresh(all.begin() + static_cast<std::ptrdiff_t>(seen_), all.end());
        seen_ = all.size();
        return fresh;
    }

    CapturedLog log_;
    std::size_t seen_ = 0;
    FakeClock clock_;
    ManualMainLoop loop_{clock_};
    FakePower power_;
    FakePointer pointer_;
    kvn::SystemSleepMonitor monitor_{power_, pointer_, loop_};
    FakeObserver observer_;
};

TEST_F(SystemSleepMonitor, IsRegisteredWhileItHasObservers) {
    FakeObserver second;
    monitor_.addObserver(observer_);
    monitor_.addObserver(observer_);
    monitor_.addObserver(second);
    EXPECT_EQ(newLines(), Lines{"IORegisterForSystemPower succeded\n"});
    power_.send(PowerManagement::kSystemHasPoweredOn, 0);
    EXPECT_EQ(observer_.told, "wake ");
    monitor_.removeObserver(observer_);
    EXPECT_TRUE(power_.send);
    newLines();
    monitor_.removeObserver(second);
    EXPECT_FALSE(power_.send);
    EXPECT_EQ(newLines(), Lines{"IODeregisterForSystemPower succeded\n"});
    monitor_.removeObserver(second);
    EXPECT_EQ(newLines(), Lines{});

    monitor_.addObserver(second);
    newLines();
    power_.error = 5;
    monitor_.removeObserver(second);
    monitor_.addObserver(second);
    monitor_.removeObserver(second);
    EXPECT_EQ(newLines(), (Lines{"IODeregisterForSystemPower failed.", "IORegisterForSystemPower failed\n"}));
}

TEST_F(SystemSleepMonitor, RefusesAtMostThreeSleepsInARow) {
    FakeObserver willing;
    monitor_.addObserver(willing);
    monitor_.addObserver(observer_);
    newLines();
    struct Step {
        bool answer;
        bool allowed;
        int counter;
    };
    const Step steps[] = {{false, false, 1}, {false, false, 2}, {false, false, 3}, {false, true, 0},
                          {false, false, 1}, {true, true, 0},   {false, false, 1}};
    std::intptr_t argument = 100;
    for (const Step& step : steps) {
        observer_.answer = step.answer;
        power_.calls.clear();
        power_.send(PowerManagement::kCanSystemSleep, ++argument);
        EXPECT_EQ(power_.calls, Lines{(step.allowed ? "allow " : "cancel ") + std::to_string(argument)});
        EXPECT_EQ(newLines(),
                  (Lines{std::string("Allowing system to sleep: ") + (step.allowed ? "yes" : "no") +
                             ", request: " + std::to_string(step.counter),
                         std::string("SystemSleepMonitor: kIOMessageCanSystemSleep ") +
                             (step.allowed ? "allowed" : "cancelled")}));
    }
}

TEST_F(SystemSleepMonitor, AnswersPowerMessages) {
    monitor_.addObserver(observer_);
    newLines();
    power_.send(PowerManagement::kSystemWillSleep, 7);
    EXPECT_EQ(power_.calls, Lines{"allow 7"});
    EXPECT_EQ(newLines(), (Lines{"SystemSleepMonitor: kIOMessageSystemWillSleep", "System will sleep"}));
    power_.send(PowerManagement::kSystemHasPoweredOn, 8);
    EXPECT_EQ(newLines(), (Lines{"SystemSleepMonitor: kIOMessageSystemHasPoweredOn", "System did wakeup"}));
    power_.send(PowerManagement::kSystemWillPowerOn, 9);
    power_.send(0xAB, 0xCDE);
    EXPECT_EQ(newLines(), Lines{"SystemSleepMonitor: messageType 000000ab, arg 00000cde\n"});
    EXPECT_EQ(power_.calls, Lines{"allow 7"});
    EXPECT_EQ(observer_.told, "sleep wake ");
}

TEST_F(SystemSleepMonitor, ObserversMayLeaveWhileTheyAreTold) {
    class Leaving : public FakeObserver {
    public:
        Leaving(kvn::SystemSleepMonitor& monitor, SystemSleepObserver& other)
            : monitor_(monitor), other_(other) {}
        void systemWillSleep() override {
            monitor_.removeObserver(*this);
            monitor_.removeObserver(other_);
        }

    private:
        kvn::SystemSleepMonitor& monitor_;
        SystemSleepObserver& other_;
    };
    Leaving leaving(monitor_, observer_);
    monitor_.addObserver(leaving);
    monitor_.addObserver(observer_);
    monitor_.systemWillSleep();
    EXPECT_EQ(observer_.told, "");
    EXPECT_FALSE(power_.send);
}

TEST_F(SystemSleepMonitor, DeclaresLocalActivity) {
    EXPECT_TRUE(monitor_.declareLocalUserActivity());
    power_.error = static_cast<std::int32_t>(0xE00002BCU); // as the system's codes look
    EXPECT_FALSE(monitor_.declareLocalUserActivity());
    power_.error = 0;
    EXPECT_TRUE(monitor_.declareLocalUserActivity());
    // A failure forgets the assertion.
    EXPECT_EQ(power_.calls, (Lines{"declare Remote desktop session starting, local 0",
                                   "declare Remote desktop session starting, local 42",
                                   "declare Remote desktop session starting, local 0"}));
    EXPECT_EQ(newLines(), (Lines{"IOPMAssertionDeclareUserActivity succeeded",
                                 "IOPMAssertionDeclareUserActivity failed: e00002bc",
                                 "IOPMAssertionDeclareUserActivity succeeded"}));
}

TEST_F(SystemSleepMonitor, KeepsOneAssertionAfterTwoWakeUps) {
    EXPECT_EQ(monitor_.wakeupDisplayAndPreventSleep(), 0);
    EXPECT_EQ(newLines(), Lines{"Wakeup display: DeclareUserActivity succeeded"});
    loop_.advance(1s);
    EXPECT_EQ(monitor_.wakeupDisplayAndPreventSleep(), 0);
    loop_.advance(999ms);
    EXPECT_TRUE(power_.held.empty());
    loop_.advance(1s + 1ms);
    EXPECT_EQ(power_.held, std::set<PowerManagement::AssertionId>{0x1C});
    EXPECT_EQ(power_.calls,
              (Lines{"declare Remote desktop session running, remote 0",
                     "declare Remote desktop session running, remote 42",
                     "prevent Remote desktop session running", "prevent Remote desktop session running"}));
    EXPECT_EQ(newLines(), (Lines{"Wakeup display: DeclareUserActivity succeeded",
                                 "IOPMAssertPreventUserIdleDisplaySleep succeeded with assertionID: 1b",
                                 "Allowing display to sleep. Succeeded with assertionID: 1b",
                                 "IOPMAssertPreventUserIdleDisplaySleep succeeded with assertionID: 1c"}));
    power_.error = -1;
    monitor_.allowDisplaySleep();
    monitor_.allowDisplaySleep(); // none is held any more
    EXPECT_EQ(newLines(), Lines{"Allowing display to sleep. Failed with assertionID: 1c, error: ffffffff"});
}

TEST_F(SystemSleepMonitor, TellsOfFailedWakeUps) {
    power_.error = 0x10;
    EXPECT_EQ(monitor_.wakeupDisplayAndPreventSleep(), -1);
    EXPECT_EQ(loop_.scheduledCount(), 0U);
    power_.error = 0;
    EXPECT_EQ(monitor_.wakeupDisplayAndPreventSleep(), 0);
    power_.error = 0x11;
    loop_.advance(2s);
    EXPECT_EQ(newLines(), (Lines{"IOPMAssertionDeclareUserActivity failed: 10",
                                 "Wakeup display: DeclareUserActivity succeeded",
                                 "IOPMAssertPreventUserIdleDisplaySleep failed with error: 11"}));
}

TEST_F(SystemSleepMonitor, NudgesThePointer) {
    monitor_.closeScreenSaver();
    loop_.advance(199ms);
    EXPECT_TRUE(pointer_.moves.empty());
    loop_.advance(1ms);
    EXPECT_EQ(pointer_.moves, (std::vector<std::pair<double, double>>{{103, 548}, {100, 550}}));
}

} // namespace
} // namespace kvn::test

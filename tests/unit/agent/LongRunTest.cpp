#include "tests/support/FakeService.h"
#include "tests/unit/agent/ApplicationFixture.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <system_error>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
using Event = host::Workspace::Event;

/// 0 for a folder that this system does not have.
std::size_t entriesOf(const char* folder) {
    std::error_code missing;
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder, missing),
                                                  std::filesystem::directory_iterator()));
}

/// What the heap holds by a sanitizer's count; 0 without a sanitizer.
std::size_t allocatedBytes() {
    const auto count =
        reinterpret_cast<std::size_t (*)()>(dlsym(RTLD_DEFAULT, "__sanitizer_get_current_allocated_bytes"));
    return count ? count() : 0;
}

/// Keeps no line, where others would pile up.
class NoLogBook : public Kvs::FLogBook {
    bool add(const Kvs::FLogRecord&) override { return true; }
};

/// The application with every permission, which counts the answers to its polls.
class LongRun : public Application, public AgentObserver {
protected:
    LongRun() {
        Kvs::FTransferLog::useLogBook(Kvs::FRef<Kvs::FLogBook>(new NoLogBook));
        privacy.trusted = true;
        privacy.windows = {{"Mail", 0, 1}};
        app.applicationDidFinishLaunching();
        app.mainController().setObserver(this);
        for (const auto& observer : notifications.observers) {
            observer.handler(
                {"com.korvane.remote.Permissions", "", {{"accessibility", "1"}, {"recording", "1"}}});
        }
    }

    /// A service without a past, which the application has found.
    testing::AssertionResult renewService() {
        service_.reset();
        service_.emplace(answerAsOnlineService);
        for (int polls = 0; polls < 100; ++polls) {
            state_.clear();
            env.loop.advance(5s);
            env.loop.runUntil([this] { return !state_.empty(); }, 1s);
            const bool asked = service_->count("<GetStatus") > 0; // else the former one has answered
            if (asked && state_ == "StatusOnline") {
                return testing::AssertionSuccess();
            }
        }
        return testing::AssertionFailure() << "the last state was " << state_;
    }
    /// To be asked beside a new service.
    void rememberResources() {
        timers_ = env.loop.scheduledCount();
        descriptors_ = entriesOf("/dev/fd");
        threads_ = entriesOf("/proc/self/task");
        bytes_ = allocatedBytes();
    }
    void expectNoMoreResources() {
        EXPECT_EQ(env.loop.scheduledCount(), timers_);
        // The last service's connections may be about to go.
        EXPECT_TRUE(waitUntil([&] { return entriesOf("/dev/fd") <= descriptors_; })) << entriesOf("/dev/fd");
        EXPECT_TRUE(waitUntil([&] { return entriesOf("/proc/self/task") <= threads_; }));
        EXPECT_LT(allocatedBytes(), bytes_ + 64 * 1024);
    }

    std::size_t answers_ = 0;
    std::string state_;
    std::optional<FakeService> service_;

private:
    void statusShown(const std::string& text, const OFRServiceInfo*) override {
        ++answers_;
        state_ = text;
    }
    void commandCompleted(const std::string&, std::int32_t, const std::string&) override {}
    void requestFailed(const std::string&) override {}

    std::size_t timers_ = 0;
    std::size_t descriptors_ = 0;
    std::size_t threads_ = 0;
    std::size_t bytes_ = 0;
};

TEST_F(LongRun, AThousandSleepsLeaveEverythingAsItWas) {
    ASSERT_TRUE(renewService());
    env.loop.advance(1min); // what the start-up has scheduled is done
    ASSERT_TRUE(renewService());
    rememberResources();
    const auto registrations = [&] { return service_->count("<RegisterAgent"); };
    const auto before = registrations();
    for (std::size_t sleeps = 1; sleeps <= 1000; ++sleeps) {
        const auto known = answers_;
        workspace.announce(Event::WillSleep);
        env.loop.runPending();
        ASSERT_EQ(bar.image.meaning, host::StatusImage::Meaning::NotConnected);
        ASSERT_EQ(env.loop.scheduledCount(), 0U);
        workspace.announce(Event::DidWake);
        ASSERT_TRUE(env.loop.runUntil([&] { return answers_ > known; })) << sleeps;
    }
    EXPECT_EQ(state_, "StatusOnline");
    EXPECT_EQ(bar.image.meaning, host::StatusImage::Meaning::Connected);
    EXPECT_TRUE(waitUntil([&] { return service_->count("<UnregisterAgent") == 1000; }));
    EXPECT_GE(registrations(), before + 1000);
    EXPECT_LE(registrations(), before + 1001); // one from before may have been read late
    ASSERT_TRUE(renewService());
    expectNoMoreResources();
}

TEST_F(LongRun, ADayOfDyingServicesLeavesNothingBehind) {
    const auto registersOnly = [](const std::string& message) {
        return answerAsOnlineService(message.substr(0, message.find("<GetStatus")));
    };
    const auto breaksOff = [](const std::string&) { return "<Status Value=\"onl"; };
    std::mt19937 random(24);
    const auto once = [&](unsigned times) { return random() % times == 0; };
    constexpr int kHour = 720; // in polls
    for (int polls = 1; polls <= 24 * kHour; ++polls) {
        if (service_ && once(40)) {
            service_.reset();
        } else if (!service_ && once(200)) {
            service_.emplace(breaksOff);
        } else if (!service_ && once(100)) {
            service_.emplace(registersOnly);
        } else if (!service_ && once(10)) {
            ASSERT_TRUE(renewService());
        }
        env.loop.advance(5s);
        if (polls == kHour || polls == 24 * kHour) {
            ASSERT_TRUE(renewService());
            polls == kHour ? rememberResources() : expectNoMoreResources();
        }
    }
}

} // namespace
} // namespace kvn::test

#include "core/events/FEvent.h"
#include "core/events/FExecutor.h"
#include "tests/support/Test.h"

namespace {

using namespace kvn::test;

using namespace Kvs;

using Event = FEvent<void, std::string>;

/// Appends its name to the argument and then does what the test wants.
struct Handler {
    std::string name;
    std::function<void()> then = [] {};

    void handle(void*, std::string& log) {
        log += name;
        then();
    }
};

std::string raised(Event& event) {
    std::string log;
    event.raise(nullptr, log);
    return log;
}

TEST(FEvent, CallsHandlersInTheOrderOfAdd) {
    Event event;
    Handler a{"a"}, b{"b"};
    EXPECT_EQ(raised(event), "");
    event.add(&b, &Handler::handle);
    event.add(&a, &Handler::handle);
    event.add(&b, &Handler::handle);
    EXPECT_EQ(raised(event), "bab");
    event.remove(&b, &Handler::handle);
    EXPECT_EQ(raised(event), "a");
    event.add(&b, &Handler::handle);
    EXPECT_EQ(raised(event), "ab");
}

TEST(FEvent, AHandlerMayRemoveAddAndRaise) {
    Event event;
    std::string nested;
    Handler late{"l"};
    Handler once{"o", [&] { event.remove(&once, &Handler::handle); }};
    Handler adder{"a", [&] {
                      event.remove(&adder, &Handler::handle);
                      for (int i = 0; i < 100; ++i) { // the list moves while it is being walked
                          event.add(&late, &Handler::handle);
                      }
                  }};
    Handler nester{"n", [&] {
                       event.remove(&nester, &Handler::handle);
                       event.raise(nullptr, nested);
                   }};
    for (Handler* handler : {&once, &nester, &once, &adder}) { // `once` is removed by its first call
        event.add(handler, &Handler::handle);
    }
    EXPECT_EQ(raised(event), "on" + std::string(100, 'l'));
    EXPECT_EQ(nested, "a" + std::string(100, 'l'));
}

TEST(FEvent, AHandlerMayDestroyTheEvent) {
    auto event = std::make_unique<Event>();
    Handler destroyer{"d", [&] { event.reset(); }};
    Handler never{"n"};
    event->add(&destroyer, &Handler::handle);
    event->add(&never, &Handler::handle);
    EXPECT_EQ(raised(*event), "d");
}

TEST(FEvent, SerialisesThreads) {
    Event event;
    int calls = 0; // guarded by the event's own lock
    Handler counter{"", [&] { ++calls; }};
    event.add(&counter, &Handler::handle);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            Handler own{"x"};
            for (int n = 0; n < 200; ++n) {
                event.add(&own, &Handler::handle);
                raised(event);
                event.remove(&own, &Handler::handle);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 800);
    EXPECT_EQ(raised(event), "");
}

TEST(FEvent, RemoveWaitsForAHandlerOnAnotherThread) {
    Event event;
    std::atomic<bool> entered = false;
    std::atomic<bool> removing = false;
    std::atomic<bool> left = false;
    Handler slow{"s", [&] {
                     entered = true;
                     ASSERT_TRUE(kvn::test::waitUntil([&] { return removing.load(); }));
                     left = true;
                 }};
    event.add(&slow, &Handler::handle);
    std::thread raiser([&] { raised(event); });
    ASSERT_TRUE(kvn::test::waitUntil([&] { return entered.load(); }));
    removing = true;
    event.remove(&slow, &Handler::handle);
    EXPECT_TRUE(left);
    raiser.join();
}

struct Target {
    std::string calls;
    void none() { calls += "none;"; }
    int sum(int a, int b) { return a + b; }
    int difference(int a, int b) { return a - b; }
    void two(int number, std::string text) { calls += std::to_string(number) + text + ";"; }
};

TEST(FDelegate, ComparesObjectAndMethod) {
    Target a, b;
    using Sum = FDelegator2<Target, int, int, int>;
    const Sum sum(&a, &Target::sum);
    EXPECT_EQ(sum(2, 3), 5);
    EXPECT_EQ(sum.ParamCount(), 2);
    EXPECT_TRUE(*sum.clone() == sum);
    EXPECT_FALSE(*Sum(&b, &Target::sum).clone() == sum);
    EXPECT_FALSE(*Sum(&a, &Target::difference).clone() == sum);
    EXPECT_TRUE(sum == static_cast<const void*>(&a) && !!sum);
    EXPECT_TRUE((!FDelegator0V<Target>(nullptr, &Target::none) && !FDelegator0V<Target>(&a, nullptr)));
}

TEST(FExecutor, KeepsItsArguments) {
    Target target;
    auto executor = fMakeExecutor(&target, &Target::two, 7, std::string("x"));
    EXPECT_EQ(executor->ParamCount(), 2);
    const auto copy = executor->clone();
    executor.reset();
    copy->invoke();
    fMakeExecutor(&target, &Target::none)->execute();
    EXPECT_EQ(target.calls, "7x;none;");
}

} // namespace

// SPDX-License-Identifier: MIT

#include "core/events/FEvent.h"
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

TEST(FEvent, CallsHandlersInOrderWhichMayRemoveAddRaiseAndDestroy) {
    auto event = std::make_unique<Event>();
    std::string nested;
    Handler late{"l"}, never{"x"};
    Handler once{"o", [&] { event->remove(&once, &Handler::handle); }};
    Handler adder{"a", [&] {
                      event->remove(&adder, &Handler::handle);
                      for (int i = 0; i < 100; ++i) { // the list moves while it is being walked
                          event->add(&late, &Handler::handle);
                      }
                  }};
    Handler nester{"n", [&] {
                       event->remove(&nester, &Handler::handle);
                       event->raise(nullptr, nested);
                   }};
    for (Handler* handler : {&once, &nester, &once, &adder}) { // `once` is removed by its first call
        event->add(handler, &Handler::handle);
    }
    EXPECT_EQ(raised(*event), "on" + std::string(100, 'l'));
    EXPECT_EQ(nested, "a" + std::string(100, 'l'));

    event->remove(&late, &Handler::handle);
    Handler destroyer{"d", [&] { event.reset(); }};
    for (Handler* handler : {&late, &destroyer, &never}) {
        event->add(handler, &Handler::handle);
    }
    EXPECT_EQ(raised(*event), "ld");
}

TEST(FEvent, SerialisesThreads) {
    Event event;
    int calls = 0; // guarded by the event's own lock
    Handler counter{"", [&] { ++calls; }};
    event.add(&counter, &Handler::handle);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 200; ++n) {
                int running = 0; // every thread calls the handler
                Handler own{"", [&] {
                                ++running;
                                std::this_thread::yield();
                                --running;
                            }};
                event.add(&own, &Handler::handle);
                raised(event);
                event.remove(&own, &Handler::handle);
                EXPECT_EQ(running, 0) << "removed while another thread is in it";
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 800);
}

} // namespace

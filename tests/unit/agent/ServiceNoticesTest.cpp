// SPDX-License-Identifier: MIT

#include "agent/ServiceNotices.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

TEST(ServiceNotices, TellWhatTheUserMustKnowOnce) {
    const struct {
        const char* states; // one every 5 seconds: online, not online, in a session, reset
        std::string told;
    } cases[] = {
        {"ooossssoossoo", "began ended began ended "},
        {"sso", "ended "},                                  // it ran already at the start
        {"---------------------------", ""},                // never online: the start-up shows that
        {"oo-------------oo", ""},                          // a minute at the longest
        {"oo--------------oo", "away back "},               //
        {"oo-----------------------------------", "away "}, // once
        {"oo-------o-------o-------o", ""},                 // it comes back in between
        {"ss---ss", ""},                                    // the session goes on
        {"ss---oo", "ended "},
        {"oss--------------ss", "began away back "},
        {"oss--------------oo", "began away back ended "},
        {"oo------r---------------", ""}, // asleep, or stopped by the user
        {"oo--------------r----oo", "away "},
        {"ossrrss", "began "},
        {"oo--------------ror--------------o--------------", "away away "},
    };
    for (const auto& c : cases) {
        FakeClock clock;
        std::string told;
        ServiceNotices notices(clock, [&](ServiceNotices::Notice notice) {
            static constexpr const char* kWords[] = {"began ", "ended ", "away ", "back "};
            told += kWords[static_cast<int>(notice)];
        });
        for (const char* state = c.states; *state != '\0'; ++state) {
            clock.advance(5s);
            if (*state == 'r') {
                notices.reset();
            } else {
                notices.update(*state != '-', *state == 's');
            }
        }
        EXPECT_EQ(told, c.told) << c.states;
    }
}

} // namespace
} // namespace kvn::test

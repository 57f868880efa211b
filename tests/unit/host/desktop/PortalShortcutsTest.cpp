// SPDX-License-Identifier: MIT

#include "host/desktop/PortalShortcuts.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

#include <sdbus-c++/Message.h>

namespace kvn::test {
namespace {

using host::HotKeys;

using Values = std::map<std::string, sdbus::Variant>;
using Shortcuts = std::vector<sdbus::Struct<std::string, Values>>;

constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr HotKeys::Key kKey{126, 0x1100, 0, 0};

/// The portal's responses to the two requests, and if it binds the shortcut.
struct Responses {
    std::uint32_t create = 0;
    std::uint32_t bind = 0;
    bool binds = true;
};

/// A desktop's portal, which sends its signals to its client alone, and a response before the call's answer.
/// It notes the shortcuts that it binds.
class FakePortal {
public:
    explicit FakePortal(Responses responses) {
        program.property(kPath, kInterface, "version", [] { return std::uint32_t{1}; });
        program.method(kPath, kInterface, "CreateSession", [this, responses](const Values& options) {
            session = pathOf("session", options.at("session_handle_token"));
            return respond(options, responses.create, {{"session_handle", sdbus::Variant(session)}});
        });
        program.method(kPath, kInterface, "BindShortcuts",
                       [this, responses](const sdbus::ObjectPath& of, const Shortcuts& shortcuts,
                                         const std::string&, const Values& options) {
                           EXPECT_EQ(of, session);
                           for (const auto& shortcut : shortcuts) {
                               program.note(shortcut.get<1>().at("description").get<std::string>() + ": " +
                                            shortcut.get<1>().at("preferred_trigger").get<std::string>());
                           }
                           const auto bound = responses.binds ? shortcuts : Shortcuts();
                           return respond(
                               options, responses.bind,
                               {{"extra", sdbus::Variant(1)}, {"shortcuts", sdbus::Variant(bound)}});
                       });
        program.serve({"org.freedesktop.portal.Desktop"});
    }

    void press(const char* member, const std::string& of, const std::string& shortcut) {
        program.emit(client_, kPath, kInterface, member, sdbus::ObjectPath(of), shortcut, std::uint64_t{1},
                     Values());
    }

private:
    std::string pathOf(const char* kind, const sdbus::Variant& token) {
        client_ = program.object(kPath).getCurrentlyProcessedMessage()->getSender();
        std::string client = client_.substr(1);
        std::replace(client.begin(), client.end(), '.', '_');
        return std::string(kPath) + "/" + kind + "/" + client + "/" + token.get<std::string>();
    }
    sdbus::ObjectPath respond(const Values& options, std::uint32_t code, const Values& results) {
        const std::string path = pathOf("request", options.at("handle_token"));
        program.emit(client_, path, "org.freedesktop.portal.Request", "Response", code, results);
        return sdbus::ObjectPath(path);
    }

    std::string client_;

public:
    std::string session;
    BusProgram program;
};

class PortalShortcuts : public testing::Test {
protected:
    PortalShortcuts() {
        keys_.installHandler([this](std::uint32_t kind) { return kinds_.push_back(kind), 0; });
    }
    bool isToldSoon(std::vector<std::uint32_t> kinds) {
        return pumpUntil(bus_.loop(), [&] { return kinds_ == kinds; });
    }
    bool isBoundSoon(const FakePortal& portal) {
        return pumpUntil(bus_.loop(), [&] { return !portal.program.notes().empty(); });
    }

    PrivateBus bus_;
    CapturedLog log_;
    host::PortalShortcuts keys_{bus_.connection(), "Show it"};
    HotKeys::Reference reference_ = 0;
    std::vector<std::uint32_t> kinds_;
};

TEST_F(PortalShortcuts, TellPressesOfTheKeyThatThePortalBinds) {
    std::optional<FakePortal> portal(std::in_place, Responses());
    EXPECT_EQ(keys_.registerHotKey(kKey, reference_), 0);
    EXPECT_NE(reference_, 0U);
    for (int portals = 1; portals <= 2; ++portals) {
        ASSERT_TRUE(isBoundSoon(*portal));
        EXPECT_THAT(portal->program.notes(), ElementsAre("Show it: CTRL+LOGO+Up"));
        emitToEach(kPath, kInterface, "Activated", sdbus::ObjectPath(portal->session), "show-status-item"s,
                   std::uint64_t{1}, Values()); // by a stranger
        portal->press("Activated", portal->session + "x", "show-status-item");
        portal->press("Activated", portal->session, "another");
        portal->press("ShortcutsChanged", portal->session, "show-status-item");
        portal->press("Activated", portal->session, "show-status-item");
        portal->press("Deactivated", portal->session, "show-status-item");
        ASSERT_TRUE(isToldSoon({HotKeys::kPressed, HotKeys::kReleased}));
        kinds_.clear();
        portal.reset(); // it crashes, and the desktop starts it again
        portal.emplace(Responses());
    }
    ASSERT_TRUE(isBoundSoon(*portal));
    keys_.unregisterHotKey(reference_);
    portal->press("Activated", portal->session, "show-status-item");
    EXPECT_THAT(log_.linesWith("The hot key is not available"), IsEmpty());
}

TEST_F(PortalShortcuts, ARefusalIsTold) {
    const std::pair<Responses, const char*> cases[] = {
        {{2, 0, true}, "The hot key is not available: the portal's response is 2"},
        {{0, 1, true}, "The hot key is not available: the portal's response is 1"},
        {{0, 0, false}, "The hot key is not available: the user or the desktop does not want it"},
    };
    for (const auto& [responses, line] : cases) {
        const FakePortal portal(responses);
        EXPECT_EQ(keys_.registerHotKey(kKey, reference_), 0);
        ASSERT_TRUE(isToldSoon({HotKeys::kRefused})) << line;
        EXPECT_EQ(log_.count(line), 1U) << line;
        keys_.unregisterHotKey(reference_);
        kinds_.clear();
    }
}

TEST_F(PortalShortcuts, WithoutAPortalOrForAnUnknownKeyThereIsNone) {
    for (const HotKeys::Key key : {HotKeys::Key{0, 0x1100, 0, 0}, {126, 0x1101, 0, 0}}) {
        EXPECT_EQ(keys_.registerHotKey(key, reference_), -9879);
        EXPECT_EQ(reference_, 0U);
    }
    EXPECT_EQ(keys_.registerHotKey(kKey, reference_), 0);
    ASSERT_TRUE(isToldSoon({HotKeys::kRefused}));
    const FakePortal later{Responses()};
    ASSERT_TRUE(isToldSoon({HotKeys::kRefused, HotKeys::kGranted}));
}

} // namespace
} // namespace kvn::test

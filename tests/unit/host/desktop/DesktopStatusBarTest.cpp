// SPDX-License-Identifier: MIT

#include "host/desktop/DesktopStatusBar.h"
#include "host/desktop/StatusNotifierWatch.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"
#include "tests/support/WaitUntil.h"

#include <map>
#include <mutex>
#include <variant>

namespace kvn::test {
namespace {

using host::Panel;
using host::Watcher;
using Properties = std::map<std::string, sdbus::Variant>;
using Picture = sdbus::Struct<std::int32_t, std::int32_t, std::vector<std::uint8_t>>;

constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kItem = "org.kde.StatusNotifierItem";
constexpr const char* kMenu = "com.canonical.dbusmenu";

TEST(PanelChoice, DependsOnWatcherTrayAndPresentPanel) {
    constexpr auto kNowhere = Panel::Nowhere;
    constexpr auto kBus = Panel::Bus;
    constexpr auto kTray = Panel::Tray;
    const struct {
        Watcher watcher;
        Panel withoutTray;
        Panel withTray[3]; // where the item is nowhere, on the bus, in a tray at present
    } cases[] = {
        {Watcher::Unknown, kNowhere, {kNowhere, kNowhere, kTray}},
        {Watcher::None, kNowhere, {kTray, kTray, kTray}},
        {Watcher::Asked, kBus, {kNowhere, kBus, kTray}},
        {Watcher::Usable, kBus, {kBus, kBus, kBus}},
        {Watcher::Unusable, kBus, {kTray, kTray, kTray}},
    };
    for (const auto& example : cases) {
        for (const auto present : {kNowhere, kBus, kTray}) {
            const auto place = static_cast<std::size_t>(present);
            EXPECT_EQ(choosePanel(example.watcher, false, present), example.withoutTray);
            EXPECT_EQ(choosePanel(example.watcher, true, present), example.withTray[place])
                << static_cast<int>(example.watcher) << " " << place;
        }
    }
}

/// A panel, or a program that keeps the list for panels.
class WatcherProgram {
public:
    enum class Kind { WithPanel, WithoutPanel, Unknowing };

    explicit WatcherProgram(Kind kind = Kind::WithPanel) {
        if (kind != Kind::Unknowing) {
            const std::string path = "/StatusNotifierWatcher";
            program_.property(path, kWatcher, "IsStatusNotifierHostRegistered",
                              [kind] { return kind != Kind::WithoutPanel; });
            program_.method(path, kWatcher, "RegisterStatusNotifierItem",
                            [this, &object = program_.object(path)](const std::string& item) {
                                program_.note(object.getCurrentlyProcessedMessage()->getSender() + item);
                            });
        }
        program_.serve({kWatcher});
    }

    /// The connections and paths of the items, in the order of their registrations.
    std::vector<std::string> items() const { return program_.notes(); }

private:
    BusProgram program_;
};

/// Calls a method as a panel does, on another thread, while the main loop runs.
template <class Result, class... Arguments>
Result ask(PrivateBus& bus, const std::string& item, const char* path, const char* interface,
           const char* method, const Arguments&... arguments) {
    Result result{};
    std::optional<host::SignalsBlocked> blocked(std::in_place); // the thread inherits it
    auto done = std::async(std::launch::async, [&] {
        const auto connection = sdbus::createSessionBusConnection();
        const auto proxy = sdbus::createProxy(*connection, item, path);
        auto call = proxy->createMethodCall(interface, method);
        static_cast<void>((static_cast<sdbus::Message&>(call) << ... << arguments));
        auto answer = proxy->callMethod(call);
        if constexpr (!std::is_same_v<Result, std::monostate>) {
            answer >> result;
        }
    });
    blocked.reset();
    EXPECT_TRUE(pumpUntil(bus.loop(), [&] { return done.wait_for(0s) == std::future_status::ready; }));
    done.get(); // throws the error that was answered
    return result;
}

/// Records the signals of all programs, on its own thread.
class SignalRecord {
public:
    SignalRecord() {
        const host::SignalsBlocked blocked;
        connection_ = sdbus::createSessionBusConnection();
        match_ = connection_->addMatch("type='signal'", [this](sdbus::Message& message) {
            const std::lock_guard lock(mutex_);
            ++counts_[message.getMemberName()];
        });
        connection_->enterEventLoopAsync();
    }
    ~SignalRecord() { connection_->leaveEventLoop(); }
    SignalRecord(const SignalRecord&) = delete;
    SignalRecord& operator=(const SignalRecord&) = delete;

    int count(const std::string& signal) const {
        const std::lock_guard lock(mutex_);
        const auto found = counts_.find(signal);
        return found == counts_.end() ? 0 : found->second;
    }

private:
    mutable std::mutex mutex_;
    std::map<std::string, int> counts_;
    std::unique_ptr<sdbus::IConnection> connection_;
    sdbus::Slot match_;
};

class StatusNotifierWatch : public testing::Test {
protected:
    [[nodiscard]] bool becomes(Watcher state) {
        return pumpUntil(bus_.loop(), [&] { return watch_.state() == state; });
    }

    const CapturedLog log_;
    PrivateBus bus_;
    std::vector<Watcher> states_;
    host::StatusNotifierWatch watch_{bus_.loop(), bus_.connection(),
                                     [this] { states_.push_back(watch_.state()); }};
};

TEST_F(StatusNotifierWatch, AsksEachWatcherIfAPanelShowsItsItems) {
    ASSERT_TRUE(becomes(Watcher::None));
    const struct {
        WatcherProgram::Kind kind;
        Watcher state;
    } cases[] = {{WatcherProgram::Kind::WithPanel, Watcher::Usable},
                 {WatcherProgram::Kind::WithoutPanel, Watcher::Unusable},
                 {WatcherProgram::Kind::Unknowing, Watcher::Unusable}};
    for (const auto& example : cases) {
        states_.clear();
        {
            const WatcherProgram watcher(example.kind);
            ASSERT_TRUE(becomes(example.state)) << static_cast<int>(example.kind);
        }
        ASSERT_TRUE(becomes(Watcher::None));
        EXPECT_THAT(states_, ElementsAre(Watcher::Unknown, Watcher::Asked, example.state, Watcher::Unknown,
                                         Watcher::None));
    }
}

TEST_F(StatusNotifierWatch, DoesWithoutAWatcherThatIsSilent) {
    const host::SignalsBlocked blocked;
    const auto silent = sdbus::createSessionBusConnection(kWatcher); // nothing reads its messages
    EXPECT_TRUE(becomes(Watcher::Unusable));
    bus_.stop();
    EXPECT_TRUE(becomes(Watcher::None));
}

/// The status bar beside panels on a private bus. The platform has no tray.
class DesktopStatusBar : public testing::Test {
protected:
    void SetUp() override {
        menu_.emplace_back(host::MenuItem{"Open _all", [this] { chosen_ += "open "; }, true, true});
        menu_.emplace_back(host::MenuSeparator());
        menu_.emplace_back(host::MenuItem{"Start", [this] { chosen_ += "start "; }, false});
        menu_.emplace_back(host::MenuItem{"Hide", [this] {
                                              chosen_ += "hide ";
                                              bar_->removeItem();
                                          }});
        bar_->describe("Online");
        bar_->showItem(menu_);
        bar_->updateItem({host::StatusImage::Meaning::Connected, "ConnectedStatusIcon"});
    }
    /// Waits for an item that is registered after so many, and returns its connection.
    std::string itemOf(const WatcherProgram& panel, std::size_t before = 0) {
        EXPECT_TRUE(pumpUntil(bus_.loop(), [&] { return panel.items().size() > before; }));
        const auto items = panel.items();
        EXPECT_EQ(items.size(), before + 1);
        const std::string item = items.empty() ? "" : items.back();
        EXPECT_THAT(item, testing::EndsWith("/StatusNotifierItem"));
        return item.substr(0, item.find('/'));
    }
    bool isOnBus(const std::string& name) {
        return ask<bool>(bus_, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "NameHasOwner", name);
    }
    bool leavesTheBus(const std::string& name) {
        return waitUntil([&] { return !isOnBus(name); });
    }
    template <class Value>
    Value property(const std::string& item, const char* name) {
        return ask<sdbus::Variant>(bus_, item, "/StatusNotifierItem", "org.freedesktop.DBus.Properties",
                                   "Get", std::string(kItem), std::string(name))
            .get<Value>();
    }
    std::monostate click(const std::string& item, std::int32_t entry, const std::string& event = "clicked") {
        return ask<std::monostate>(bus_, item, "/MenuBar", kMenu, "Event", entry, event,
                                   sdbus::Variant(std::int32_t{0}), std::uint32_t{0});
    }

    const CapturedLog log_;
    PrivateBus bus_;
    host::PortablePropertyList propertyLists_;
    const host::AppBundle bundle_{BUNDLE, propertyLists_, {"en"}};
    host::Menu menu_;
    std::string chosen_;
    std::unique_ptr<host::DesktopStatusBar> bar_ =
        std::make_unique<host::DesktopStatusBar>(bus_.loop(), bundle_, bus_.connection());
};

TEST_F(DesktopStatusBar, IsShownByEveryPanelThatComes) {
    for (int round = 0; round < 2; ++round) {
        const WatcherProgram panel;
        const auto item = itemOf(panel);
        EXPECT_TRUE(isOnBus(item));
        bar_->removeItem();
        EXPECT_TRUE(leavesTheBus(item)); // so that the panel drops it
        bar_->showItem(menu_);
        const auto again = itemOf(panel, 1);
        EXPECT_NE(again, item);
        EXPECT_FALSE(property<std::vector<Picture>>(again, "IconPixmap").empty());
    }
    bus_.stop();
    bus_.start();
    const WatcherProgram panel;
    EXPECT_EQ(property<std::string>(itemOf(panel), "Id"), "KvnGUIAgent");
}

TEST_F(DesktopStatusBar, ShowsPictureStateAndChanges) {
    const WatcherProgram panel;
    const SignalRecord record;
    const auto item = itemOf(panel);
    EXPECT_EQ(property<std::string>(item, "Title"), "Service Status – Online");
    EXPECT_FALSE(property<bool>(item, "ItemIsMenu"));
    EXPECT_EQ(property<sdbus::ObjectPath>(item, "Menu"), "/MenuBar");
    EXPECT_EQ(property<std::string>(item, "Status"), "Active");
    const auto pictures = property<std::vector<Picture>>(item, "IconPixmap");
    std::vector<std::int32_t> sizes;
    for (const auto& picture : pictures) {
        sizes.push_back(picture.get<0>());
        const auto& bytes = picture.get<2>();
        ASSERT_EQ(bytes.size(), static_cast<std::size_t>(4 * picture.get<0>() * picture.get<1>()));
        // Left of the middle is the frame. The first byte is its alpha.
        const auto* pixel =
            bytes.data() + 4 * (picture.get<0>() * (picture.get<1>() / 2) + picture.get<0>() / 8);
        EXPECT_EQ(pixel[0], 0xFF) << sizes.back();
    }
    EXPECT_THAT(sizes, ElementsAre(16, 22, 24, 32, 48, 64, 66));

    bar_->showItem(menu_); // is shown already: the item stays in its place
    bar_->describe("Offline");
    bar_->updateItem({host::StatusImage::Meaning::NotConnected, "ConnectedStatusIcon"});
    bar_->updateItem({host::StatusImage::Meaning::NotConnected, "ConnectedStatusIcon"}); // tells nothing new
    std::get<host::MenuItem>(menu_[2]).enabled = true;
    bar_->updateItem({host::StatusImage::Meaning::NotConnected, "ConnectedStatusIcon"});
    EXPECT_TRUE(pumpUntil(bus_.loop(), [&] { return record.count("ItemsPropertiesUpdated") == 1; }));
    EXPECT_EQ(record.count("NewIcon"), 1);
    EXPECT_EQ(record.count("NewTitle"), 1);
    EXPECT_EQ(record.count("NewToolTip"), 1);
    using ToolTip = sdbus::Struct<std::string, std::vector<Picture>, std::string, std::string>;
    EXPECT_EQ(property<ToolTip>(item, "ToolTip").get<2>(), "Service Status – Offline");
    EXPECT_NE(property<std::vector<Picture>>(item, "IconPixmap"), pictures);
}

TEST_F(DesktopStatusBar, GivesPanelsItsMenu) {
    const WatcherProgram panel;
    const auto item = itemOf(panel);
    using Entry = sdbus::Struct<std::int32_t, Properties, std::vector<sdbus::Variant>>;
    using Layout = std::tuple<std::uint32_t, Entry>;
    const auto layout = std::get<1>(ask<Layout>(bus_, item, "/MenuBar", kMenu, "GetLayout", std::int32_t{0},
                                                std::int32_t{-1}, std::vector<std::string>()));
    std::string shown;
    for (const auto& child : layout.get<2>()) {
        const auto entry = child.get<Entry>();
        const auto& properties = entry.get<1>();
        shown += std::to_string(entry.get<0>()) + " ";
        shown += properties.count("type") != 0 ? properties.at("type").get<std::string>()
                                               : properties.at("label").get<std::string>() +
                                                     (properties.at("enabled").get<bool>() ? "" : " (off)");
        shown += "; ";
    }
    EXPECT_EQ(shown, "1 Open __all; 2 separator; 3 Start (off); 4 Hide; ");
    using Group = std::vector<sdbus::Struct<std::int32_t, Properties>>;
    const auto group =
        ask<Group>(bus_, item, "/MenuBar", kMenu, "GetGroupProperties",
                   std::vector<std::int32_t>{3, 3, 99, -1}, std::vector<std::string>{"enabled"});
    ASSERT_EQ(group.size(), 1U);
    EXPECT_EQ(group[0].get<1>().size(), 1U);
    using Values = std::vector<sdbus::Struct<std::int32_t, std::string, sdbus::Variant, std::uint32_t>>;
    EXPECT_THAT((ask<std::vector<std::int32_t>>(bus_, item, "/MenuBar", kMenu, "EventGroup",
                                                Values{{99, "clicked", sdbus::Variant(false), 0},
                                                       {1, "opened", sdbus::Variant(false), 0}})),
                ElementsAre(99));
    EXPECT_THROW((ask<sdbus::Variant>(bus_, item, "/MenuBar", kMenu, "GetProperty", std::int32_t{-1},
                                      std::string("label"))),
                 sdbus::Error);
    const std::vector<std::int32_t> flood(300, 1);
    const std::vector<std::string> names(300, "label");
    EXPECT_THROW(
        (ask<Group>(bus_, item, "/MenuBar", kMenu, "GetGroupProperties", flood, std::vector<std::string>())),
        sdbus::Error);
    EXPECT_THROW(
        (ask<Layout>(bus_, item, "/MenuBar", kMenu, "GetLayout", std::int32_t{0}, std::int32_t{-1}, names)),
        sdbus::Error);
    EXPECT_THROW((ask<std::vector<std::int32_t>>(bus_, item, "/MenuBar", kMenu, "EventGroup",
                                                 Values(300, {1, "opened", sdbus::Variant(false), 0}))),
                 sdbus::Error);
}

TEST_F(DesktopStatusBar, RunsWhatIsClicked) {
    const WatcherProgram panel;
    const auto item = itemOf(panel);
    ask<std::monostate>(bus_, item, "/StatusNotifierItem", kItem, "Activate", std::int32_t{1},
                        std::int32_t{1});
    ASSERT_TRUE(pumpUntil(bus_.loop(), [&] { return chosen_ == "open "; }));
    click(item, 1, "hovered");
    click(item, 2);
    click(item, 3);
    EXPECT_THROW(click(item, 5), sdbus::Error);
    click(item, 4);
    ASSERT_TRUE(leavesTheBus(item));
    EXPECT_EQ(chosen_, "open hide ");
}

} // namespace
} // namespace kvn::test

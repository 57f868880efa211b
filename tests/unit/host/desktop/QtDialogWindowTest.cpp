// SPDX-License-Identifier: MIT

#include "host/desktop/QtDialogWindow.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/Test.h"

#include "tests/unit/host/desktop/QtApplication.h"

#include <QAccessible>
#include <QCheckBox>
#include <QDateTimeEdit>
#include <QLineEdit>
#include <QLocale>
#include <QMetaEnum>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTableWidget>
#include <QTest>
#include <QTextEdit>
#include <QToolButton>
#include <malloc.h>

namespace kvn::test {
namespace {

using host::DialogLines;
using host::DialogPlace;
using std::chrono::system_clock;

class QtDialogWindowTest : public testing::Test {
protected:
    QtDialogWindowTest() {
        QLocale::setDefault(QLocale::c());
        window.onClose([this] { said.push_back("closed"); });
    }

    /// One line of each kind, whose handlers tell what they are called with.
    DialogLines lines(const std::string& path = "/logs") {
        return {
            {"heading", "Period:"},
            {"value", "Server:", host::DialogValue{"relay & co"}},
            {"table", "Proxies:", host::DialogTable{{"Name", "Server"}, {{"a", "b"}, {"c", "d"}}}},
            {"box", "",
             host::DialogCheckBox{"Logs & more", true, false, [this](bool on) { say("box", on); }}},
            {"folder",
             "Folder:", host::DialogFolder{true, path, [this](const std::string& to) { say("folder", to); }}},
            {"date", "From:",
             host::DialogDate{true, noon + 17s, [this](auto to) { say("date", minutesSinceNoon(to)); }}},
            {"button", "Unknown", host::DialogButton{"Request", [this] { said.push_back("button"); }}},
        };
    }
    static DialogPlace place() { return {DialogPlace::Anchor::TopCentre, 32, 400, 160}; }
    void show() {
        window.show("Title", lines(), place());
        QCoreApplication::processEvents();
    }
    template <class Value>
    void say(const std::string& id, const Value& value) {
        std::ostringstream text;
        text << id << " " << value;
        said.push_back(text.str());
    }
    long minutesSinceNoon(system_clock::time_point time) const {
        return std::chrono::duration_cast<std::chrono::minutes>(time - noon).count();
    }
    static QWidget* top() {
        const auto all = QApplication::topLevelWidgets();
        const auto found = std::find_if(all.begin(), all.end(), [](QWidget* widget) {
            return widget->isVisible() && widget->windowTitle() == QLatin1String("Title");
        });
        return found == all.end() ? nullptr : *found;
    }
    template <class Widget>
    static Widget& only() {
        const auto found = top()->findChildren<Widget*>();
        EXPECT_EQ(found.size(), 1) << Widget::staticMetaObject.className();
        return *found.at(0);
    }
    static QLineEdit& path() {
        for (QLineEdit* const field : top()->findChildren<QLineEdit*>()) {
            if (!qobject_cast<QDateTimeEdit*>(field->parent())) {
                return *field;
            }
        }
        throw std::logic_error("there is no path");
    }
    void type(QWidget& widget, const char* text) {
        widget.setFocus();
        QTest::keyClick(&widget, Qt::Key_End);
        QTest::keyClicks(&widget, QLatin1String(text));
    }

    const system_clock::time_point noon = system_clock::time_point(
        std::chrono::milliseconds(QDateTime(QDate(2024, 5, 17), QTime(12, 0)).toMSecsSinceEpoch()));
    QtApplication application;
    FakeClock clock;
    ManualMainLoop loop{clock};
    FakeBundle bundle;
    host::QtDialogWindow window{loop, bundle};
    std::vector<std::string> said;
};

TEST_F(QtDialogWindowTest, TellsTheHandlersInTasksOfTheLoop) {
    show();
    const auto button = [](const char* text) {
        for (QPushButton* const one : top()->findChildren<QPushButton*>()) {
            if (one->text() == QLatin1String(text)) {
                return one;
            }
        }
        throw std::logic_error(text);
    };
    only<QCheckBox>().click();
    button("Request")->click();
    type(path(), "/deep");
    QTest::keyClick(&path(), Qt::Key_Return);
    auto& date = only<QDateTimeEdit>();
    date.setFocus();
    date.setCurrentSection(QDateTimeEdit::HourSection);
    QTest::keyClick(&date, Qt::Key_Up);
    EXPECT_THAT(said, IsEmpty()); // a handler may throw, which the toolkit cannot bear
    loop.runPending();
    EXPECT_THAT(said, ElementsAre("box 1", "button", "folder /logs/deep", "date 60"));
    window.close();
    EXPECT_THAT(said, SizeIs(5)); // finds nothing else unfinished
}

TEST_F(QtDialogWindowTest, KeepsFocusAndHalfTypedValuesAndHandsThemOverWhenItCloses) {
    using End = std::function<void()>;
    const End ends[] = {
        [this] { window.close(); },
        [this] { show(); },
        [] { QTest::keyClick(&path(), Qt::Key_Escape); },
        [] { QTest::keyClick(&path(), Qt::Key_W, Qt::ControlModifier); },
        [] { top()->close(); },
    };
    for (const End& end : ends) {
        show();
        auto& date = only<QDateTimeEdit>();
        date.setFocus();
        date.setSelectedSection(QDateTimeEdit::HourSection);
        QTest::keyClicks(&date, QLatin1String("1")); // the first digit of an hour
        window.update(lines());
        type(path(), "/half");
        QLineEdit* const field = &path();
        DialogLines changed = lines("/other");
        changed.erase(changed.begin());
        changed.insert(changed.begin() + 3, {"new", "", host::DialogCheckBox{"New", true, false, nullptr}});
        window.update(changed);
        EXPECT_EQ(field, &path());
        EXPECT_EQ(QApplication::focusWidget(), field);
        EXPECT_EQ(field->text().toStdString(), "/logs/half");
        end();
        loop.runPending();
        EXPECT_THAT(said, Contains("folder /logs/half"));
        EXPECT_THAT(said, Contains("date -660"));
        window.close();
        EXPECT_EQ(said.back(), "closed");
        said.clear();
    }
}

TEST_F(QtDialogWindowTest, ShowsADateThatItDoesNotChange) {
    const system_clock::time_point dates[] = {
        noon + 17s, {}, system_clock::time_point::min(), system_clock::time_point::max()};
    for (const auto date : dates) {
        window.show("Title", {{"date", "", host::DialogDate{true, date, [this](auto) { say("date", 0); }}}},
                    place());
        only<QDateTimeEdit>().setFocus();
        window.close();
        loop.runPending();
        EXPECT_THAT(said, ElementsAre("closed"));
        said.clear();
    }
}

TEST_F(QtDialogWindowTest, IsUsedByKeyboardFromTopToBottom) {
    show();
    std::vector<std::string> order;
    while (order.size() < 8) {
        const std::string name = QApplication::focusWidget()->metaObject()->className();
        if (order.empty() || order.back() != name) { // a date has five parts
            order.push_back(name);
        }
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    EXPECT_THAT(order, ElementsAre("QTableWidget", "QCheckBox", "QLineEdit", "QToolButton", "QDateTimeEdit",
                                   "QPushButton", "QTextEdit", "QTableWidget"));
}

TEST_F(QtDialogWindowTest, SpeaksThroughTheAccessibilityTree) {
    show();
    std::vector<std::string> tree;
    const std::function<void(QAccessibleInterface*)> visit = [&](QAccessibleInterface* item) {
        if (item->state().invisible) {
            return;
        }
        const auto text = [&](QAccessible::Text kind) { return item->text(kind).toStdString(); };
        if (const std::string name = text(QAccessible::Name); !name.empty()) {
            const auto roles = QMetaEnum::fromType<QAccessible::Role>();
            tree.push_back(roles.valueToKey(item->role()) + (" " + name) + "|" + text(QAccessible::Value));
        }
        for (int i = 0; i < item->childCount(); ++i) {
            visit(item->child(i));
        }
    };
    visit(QAccessible::queryAccessibleInterface(top()));
    EXPECT_THAT(tree, ElementsAre("Dialog Title|", "StaticText Period:|", "StaticText Server:|",
                                  "EditableText Server:|relay & co", "StaticText Proxies:|",
                                  "Table Proxies:|Proxies:", "ColumnHeader Name|", "ColumnHeader Server|",
                                  "Cell a|", "Cell b|", "Cell c|", "Cell d|", "CheckBox Logs & more|",
                                  "StaticText Folder:|", "EditableText Folder:|/logs", "Button Folder:|",
                                  "StaticText From:|", "SpinBox From:|17 May 2024 12:00",
                                  "StaticText Unknown|", "Button Request, Unknown|"));
}

TEST_F(QtDialogWindowTest, IsMirroredForLanguagesFromRightToLeft) {
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    show();
    const auto right = [](const QWidget& widget) {
        return widget.mapTo(top(), QPoint(widget.width(), 0)).x();
    };
    for (QLabel* const label : top()->findChildren<QLabel*>()) {
        EXPECT_TRUE(label->text().isEmpty() || right(*label) == top()->width() - 20)
            << label->text().toStdString();
    }
    EXPECT_LT(right(only<QTextEdit>()), top()->width() - 40);
    EXPECT_EQ(right(only<QDateTimeEdit>()), right(only<QTextEdit>()));
    EXPECT_EQ(only<QDateTimeEdit>().text().toStdString(), "17 May 2024 12:00");
    EXPECT_EQ(right(only<QCheckBox>()), top()->width() - 20);
}

TEST_F(QtDialogWindowTest, TakesTheKeyboardOnlyWhenItIsAskedFor) {
    for (const bool takes : {true, false}) {
        DialogPlace where = place();
        where.takesKeyboard = takes;
        window.show("Title", lines(), where);
        EXPECT_EQ(top()->testAttribute(Qt::WA_ShowWithoutActivating), !takes);
        window.close();
    }
}

TEST_F(QtDialogWindowTest, GrowsWithItsRowsUpToTheScreen) {
    show();
    const QRect before = top()->geometry();
    DialogLines many = lines();
    many.push_back({"more", "A last line"});
    window.update(many);
    EXPECT_GT(top()->height(), before.height());
    EXPECT_EQ(top()->geometry().top(), before.top());
    for (int i = 0; i < 100; ++i) {
        many.push_back({std::to_string(i), "A line"});
    }
    window.update(many);
    QCoreApplication::processEvents();
    EXPECT_GT(top()->height(), 1150);
    EXPECT_FALSE(top()->findChild<QScrollArea*>()->horizontalScrollBar()->isVisible());
    EXPECT_TRUE(top()->screen()->geometry().contains(top()->frameGeometry()));
    EXPECT_NEAR(top()->geometry().center().x(), before.center().x(), 1);
}

TEST_F(QtDialogWindowTest, ReturnsItsMemoryWhenItCloses) {
    const auto useAfter = [this](int cycles) {
        for (int cycle = 0; cycle < cycles; ++cycle) {
            show();
            path().parent()->findChild<QToolButton*>()->click();
            window.update(lines("/other"));
            window.close();
            loop.runPending();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            said.clear();
        }
        return mallinfo2().uordblks;
    };
    const auto before = useAfter(100); // which fill the toolkit's caches
    EXPECT_LT(useAfter(100), before + 100 * 64);
}

TEST_F(QtDialogWindowTest, ChoosesAFolder) {
    const TemporaryFolder folder;
    fs::create_directories(folder.file("inner"));
    window.show("Title", lines(folder.file("inner/missing")), place());
    path().parent()->findChild<QToolButton*>()->click();
    auto& chooser = only<QDialog>();
    EXPECT_TRUE(chooser.isVisible());
    chooser.accept();
    loop.runPending();
    EXPECT_THAT(said, ElementsAre("folder " + folder.file("inner")));
    window.close();
    EXPECT_EQ(said.back(), "closed");
}

} // namespace
} // namespace kvn::test

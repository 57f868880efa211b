// SPDX-License-Identifier: MIT

#include "agent/PermissionDialog.h"
#include "agent/PreferencesView.h"
#include "agent/ServiceStatusView.h"
#include "core/time/FTime.h"
#include "host/desktop/QtDialogWindow.h"
#include "host/posix/AppBundle.h"
#include "tests/support/Test.h"

#include "tests/unit/agent/ApplicationFixture.h"
#include "tests/unit/host/desktop/QtApplication.h"

#include <QAbstractButton>
#include <QDateTimeEdit>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QTableWidget>
#include <QTextEdit>

namespace kvn::test {
namespace {

struct Dialog {
    std::string title;
    host::DialogLines lines;
    host::DialogPlace place;
};

std::vector<std::string> languages() {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(BUNDLE "/Contents/Resources")) {
        if (entry.path().extension() == ".lproj") {
            found.push_back(entry.path().stem());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

/// Returns the visible texts of the window that are cut, or that are outside the window.
std::vector<std::string> cutTexts(QWidget& window) {
    std::vector<std::string> cut;
    const auto* const scroller = window.findChild<QScrollArea*>();
    const QRect room = scroller->viewport()->rect();
    const auto check = [&](const QWidget& widget, const QString& text, const QSize& needed,
                           const QSize& given) {
        const QRect place(widget.mapTo(scroller->viewport(), QPoint(0, 0)), widget.size());
        if (needed.width() > given.width() || needed.height() > given.height() || !room.contains(place)) {
            cut.push_back(text.toStdString());
        }
    };
    for (const QWidget* const widget : scroller->widget()->findChildren<QWidget*>()) {
        if (!widget->isVisible()) {
            continue;
        }
        const QFontMetrics metrics = widget->fontMetrics();
        if (const auto* label = qobject_cast<const QLabel*>(widget); label && !label->text().isEmpty()) {
            const QRect wide(0, 0, label->contentsRect().width(), QWIDGETSIZE_MAX);
            check(*label, label->text(), metrics.boundingRect(wide, Qt::TextWordWrap, label->text()).size(),
                  label->contentsRect().size());
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(widget);
                   button && !button->text().isEmpty()) {
            check(*button, button->text(), button->sizeHint(), button->size());
        } else if (const auto* value = qobject_cast<const QTextEdit*>(widget)) {
            check(*value, value->toPlainText(), value->document()->size().toSize(),
                  value->viewport()->size());
        } else if (const auto* date = qobject_cast<const QDateTimeEdit*>(widget)) {
            const auto* const field = date->findChild<QLineEdit*>();
            check(*date, date->text(), metrics.size(0, date->text()), field->size() - QSize(2, 0));
        } else if (const auto* table = qobject_cast<const QTableWidget*>(widget)) {
            for (int column = 0; column < table->columnCount(); ++column) {
                const QHeaderView& header = *table->horizontalHeader();
                const int end = header.sectionViewportPosition(column) + header.sectionSize(column);
                const QString title = table->horizontalHeaderItem(column)->text();
                const int needed =
                    std::max(header.fontMetrics().horizontalAdvance(title) + 2,
                             static_cast<const QAbstractItemView*>(table)->sizeHintForColumn(column));
                check(*table, title, QSize(needed, 0),
                      QSize(end > header.viewport()->width() ? 0 : header.sectionSize(column), 0));
            }
        }
    }
    return cut;
}

/// The dialogs of the agent in one language, as its models fill them.
class DialogTexts : public Application {
protected:
    std::vector<Dialog> dialogsIn(const std::string& language) {
        const host::AppBundle bundle(BUNDLE, env.propertyList, {language});
        std::vector<Dialog> dialogs;
        const auto addView = [&](const char* title, DialogContentView& view) {
            dialogs.push_back({bundle.localizedString(title),
                               view.lines(),
                               {host::DialogPlace::Anchor::TopCentre, 32, view.width(), view.height()}});
        };
        ServiceStatusView status(bundle);
        status.showStatus(bundle.localizedString("StatusPending"), nullptr);
        addView("StatusDialogTitle", status);
        OFRServiceInfo details;
        details.server = "relay.example.org:5938";
        details.registration = "Office of Alice";
        details.version = "2.0.0";
        details.lastError = "The server has closed the connection: "
                            "/var/log/com.korvane.remote/a-name-without-any-space-in-it.log";
        details.proxyInfos = {{"office", "proxy.example.org:8080", "2024-05-17 12:00:07", "1", true},
                              {"home", "192.0.2.7", "2024-05-17 12:00:07", "20", false}};
        status.showStatus(bundle.localizedString("StatusOnline"), &details);
        std::string remark = bundle.localizedString("HotKeyMissing");
        remark.replace(remark.find("#Command#"), 9, "Super");
        status.setRemark(remark);
        addView("StatusDialogTitle", status);
        allowAll();
        PreferencesView settings(env.settings, bundle);
        settings.updateControls();
        EXPECT_TRUE(env.settings.changeRemoteAccessIntervalAllowed() &&
                    env.settings.changeSessionLogAllowed());
        addView("SettingsDialogTitle", settings);
        std::get<host::DialogCheckBox>(settings.lines().front().control).onChange(true);
        fs::remove_all(registry());
        EXPECT_FALSE(settings.saveCurrentSettings());
        addView("SettingsDialogTitle", settings);

        const ApplicationEnvironment& e = environment;
        PermissionDialog permissions({e.userInterface, e.mainLoop, e.clock, bundle, e.systemInfo,
                                      e.sessionInfo, e.processRunner, e.sleeper, e.privilegedJobs,
                                      e.privacyPermissions, e.notifications, e.runningApplications,
                                      e.workQueue, e.toolQueue, e.sleepMonitor, e.settings},
                                     nullptr);
        permissions.showPermissions();
        ui.permissions.all<host::DialogButton>().back().onPress();
        dialogs.push_back({ui.permissions.title, ui.permissions.lines, ui.permissions.place});
        return dialogs;
    }

    static std::string registry() {
        return Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/registry";
    }

    /// Lets the user change every setting.
    void allowAll() {
        const std::string config = Kvs::FSysInfoPaths::applicationSupportDirectory() +
                                   "/com.korvane.remote/config/KorvaneRemoteservice";
        fs::create_directories(config);
        fs::create_directories(registry());
        writeFile(config + "/settings.xml", "<S/>");
        const auto noon = std::chrono::sys_days(std::chrono::year(2026) / 10 / 28) + 12h;
        for (const char* const key : {"RemoteAccessIntervalBegin", "RemoteAccessIntervalEnd"}) {
            env.preferences.setString(Kvs::FTimeWithDate(noon).toCString().str(), key);
        }
        env.settings.updateSettings();
    }

    /// Shows the dialog and returns its window, which the next call closes.
    QWidget& show(const Dialog& dialog) {
        window.emplace(env.loop, env.bundle);
        window->show(dialog.title, dialog.lines, dialog.place);
        QCoreApplication::processEvents();
        for (QWidget* const top : QApplication::topLevelWidgets()) {
            if (top->isVisible()) {
                return *top;
            }
        }
        throw std::logic_error("there is no window");
    }

    std::optional<host::QtDialogWindow> window;
};

void useLocale(std::string language) {
    std::replace(language.begin(), language.end(), '-', '_');
    QLocale::setDefault(QLocale(QString::fromStdString(language)));
}

TEST_F(DialogTexts, AreNotCutInAnyLanguage) {
    for (const int scale : {1, 2}) {
        const QtApplication application(scale);
        for (const std::string& language : languages()) {
            useLocale(language);
            for (const Dialog& dialog : dialogsIn(language)) {
                QWidget& shown = show(dialog);
                EXPECT_EQ(shown.devicePixelRatio(), scale);
                EXPECT_THAT(cutTexts(shown), IsEmpty()) << language << " " << dialog.title << " " << scale;
            }
        }
        window.reset();
    }
}

} // namespace
} // namespace kvn::test

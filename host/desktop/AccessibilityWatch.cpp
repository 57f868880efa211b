// SPDX-License-Identifier: MIT

#include "host/desktop/AccessibilityWatch.h"

#include "host/posix/Signals.h"

#include <QAccessible>
#include <QCoreApplication>
#include <dlfcn.h>
#include <iterator>
#include <utility>

namespace {

bool shown = false; // to screen readers

/// Returns the toolkit's function with this name, which one of the functions below hides.
template <class Function>
Function hidden(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// At the first call of either function, which every widget makes, the toolkit connects to the session bus: it
// holds the main thread until the bus answers. No setting keeps it from that. But its library of widgets
// finds these two functions before the toolkit's own, as this module is searched before the libraries that it
// needs. Where they are not found first, only that wait comes back.

bool QAccessible::isActive() {
    static const auto original = hidden<bool (*)()>("_ZN11QAccessible8isActiveEv");
    return shown && original();
}

void QAccessible::updateAccessibility(QAccessibleEvent* event) {
    static const auto original =
        hidden<void (*)(QAccessibleEvent*)>("_ZN11QAccessible19updateAccessibilityEP16QAccessibleEvent");
    if (shown) {
        original(event);
    }
}

namespace kvn::host {
namespace {

// The service runs only where something needs it. It must not be started for the question.
constexpr BusMethod kGet{"org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Get", true};
constexpr const char* kStatus = "org.a11y.Status";
constexpr const char* kProperties[] = {"IsEnabled", "ScreenReaderEnabled"}; // either means "on"
constexpr const char* kStatusRule =
    "type='signal',sender='org.a11y.Bus',path='/org/a11y/bus',"
    "interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',arg0='org.a11y.Status'";

} // namespace

AccessibilityWatch::AccessibilityWatch(std::shared_ptr<BusConnection> sessionBus,
                                       std::function<void()> switchedOn)
    : bus_(std::move(sessionBus)), switchedOn_(std::move(switchedOn)),
      connections_(bus_->onState([this](bool) { ask(); })) {
    changes_[0] = bus_->onOwnerChange(kGet.service, [this](const char*) { ask(); });
    changes_[1] = bus_->onSignal(kStatusRule, [this](sd_bus_message&) { ask(); });
    ask(); // the bus may be connected already
}

void AccessibilityWatch::ask() {
    for (std::size_t place = 0; place < std::size(kProperties); ++place) {
        questions_[place] = bus_->call(
            kGet, [this](sd_bus_message* answer) { take(answer); }, "ss", kStatus, kProperties[place]);
    }
}

void AccessibilityWatch::take(sd_bus_message* property) {
    int on = 0;
    if (!property || sd_bus_message_read(property, "v", "b", &on) <= 0 || on == 0) {
        return;
    }
    connections_.reset();
    for (MainLoop::Handle& change : changes_) {
        change.reset();
    }
    for (MainLoop::Handle& question : questions_) {
        question.reset();
    }
    switchedOn_();
}

void showToScreenReaders() {
    const SignalsBlocked blocked; // in the threads that the toolkit starts
    shown = true;
    QAccessible::setRootObject(qApp);
}

} // namespace kvn::host

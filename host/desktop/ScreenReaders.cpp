// SPDX-License-Identifier: MIT

#include "host/desktop/ScreenReaders.h"

#include "host/posix/Signals.h"

#include <QAccessible>
#include <QCoreApplication>
#include <dlfcn.h>

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

void showToScreenReaders() {
    const SignalsBlocked blocked; // in the threads that the toolkit starts
    shown = true;
    QAccessible::setRootObject(qApp);
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

// Qt's libraries are not compiled for ThreadSanitizer. It does not see the locks by which their threads, such
// as those that read folders and fonts, hand over what they have made, and reports each as a race. This also
// hides the races of functions that these libraries call: the tests of the main loops look for those.

extern "C" const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_suppressions() {
    return "race:libQt6Core.so\n"
           "race:libQt6Gui.so\n"
           "race:libQt6Widgets.so\n"
           "race:libfontconfig.so\n"
           "race:libglib-2.0.so\n";
}

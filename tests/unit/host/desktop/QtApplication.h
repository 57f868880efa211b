// SPDX-License-Identifier: MIT

#pragma once

#include "tests/support/TemporaryFolder.h"

#include <QApplication>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

namespace kvn::test {

/// The toolkit's application on a screen that nobody sees, of 1920 x 1200 pixels. `scale` is the number of
/// pixels of a point. One may exist at a time.
class QtApplication {
public:
    explicit QtApplication(int scale = 1) {
        const std::string screen = folder_.file("screens.json");
        std::ofstream(screen)
            << R"({"screens": [{"name": "test", "x": 0, "y": 0, "width": 1920, "height": 1200,
            "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})";
        setenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + screen).c_str(), 1);
        setenv("QT_SCALE_FACTOR", std::to_string(scale).c_str(), 1);
        application_.emplace(argumentCount_, arguments_);
    }

private:
    TemporaryFolder folder_;
    int argumentCount_ = 1;
    char name_[5] = "test";
    char* arguments_[2] = {name_, nullptr};
    std::optional<QApplication> application_;
};

} // namespace kvn::test

// SPDX-License-Identifier: MIT

#include "host/DialogRendering.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using host::DialogPlace;
using host::DialogRect;

TEST(DialogRendering, PlacesTheContentOnItsScreen) {
    // The second screen is left of the first and lower; the menu bar and a bar on the left take a part of it.
    const host::DialogScreen screen{{-1000, -200, 1000, 800}, {-940, -200, 940, 775}};
    const DialogRect frame{-1, -1, 402, 190}; // around a content of 400 x 160: a border and a title
    const struct {
        DialogPlace place;
        double x;
        double y;
    } cases[] = {
        {{DialogPlace::Anchor::TopCentre, 32, 400, 160}, -670, 383},
        {{DialogPlace::Anchor::TopRight, 100, 400, 160}, -501, 311},
    };
    for (const auto& [place, x, y] : cases) {
        const DialogRect content = host::contentRect(place, screen, frame);
        EXPECT_EQ(content.x, x);
        EXPECT_EQ(content.y, y);
        EXPECT_EQ(content.width, 400);
        EXPECT_EQ(content.height, 160);
    }
}

TEST(DialogRendering, KeepsARowForTheSameIdAndKindOfControl) {
    struct Row {
        const host::DialogLine& line() const { return shown; }
        void update(const host::DialogLine& line) { text = "kept as " + line.text; }
        host::DialogLine shown;
        std::string text;
    };
    const auto make = [](const host::DialogLine& line) { return std::make_unique<Row>(Row{line, "new"}); };
    const host::DialogButton button{"Request", nullptr};
    auto first = host::rowsShowing<Row>({{"gone", ""}, {"kept", "a", button}, {"other kind", ""}}, {}, make);
    const auto second = host::rowsShowing<Row>(
        {{"other kind", "", button}, {"new", ""}, {"kept", "b", button}}, std::move(first), make);
    ASSERT_EQ(second.size(), 3U);
    EXPECT_EQ(second[0]->text + ", " + second[1]->text + ", " + second[2]->text, "new, new, kept as b");
}

} // namespace
} // namespace kvn::test

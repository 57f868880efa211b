// SPDX-License-Identifier: MIT

#include "host/desktop/StatusPictures.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "tests/support/Test.h"

#include <QColor>
#include <cmath>

namespace kvn::test {
namespace {

using Meaning = host::StatusImage::Meaning;

std::vector<QImage> picturesOf(Meaning meaning) {
    const host::PortablePropertyList propertyLists{};
    const host::AppBundle bundle(BUNDLE, propertyLists, {"en"});
    return host::statusPictures(
        {meaning, meaning == Meaning::Controlled ? "ControlledStatusIcon" : "ConnectedStatusIcon"}, bundle);
}

/// The relative luminance of the Web Content Accessibility Guidelines.
double luminanceOf(QRgb colour) {
    const auto part = [](int value) {
        const double share = value / 255.0;
        return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * part(qRed(colour)) + 0.7152 * part(qGreen(colour)) + 0.0722 * part(qBlue(colour));
}
double contrast(QRgb one, QRgb other) {
    const double first = luminanceOf(one) + 0.05;
    const double second = luminanceOf(other) + 0.05;
    return std::max(first, second) / std::min(first, second);
}

/// Returns the share of the picture's pixels for which the condition holds.
template <class Condition>
double shareOf(const QImage& picture, Condition condition) {
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            count += condition(picture.pixel(x, y), x, y) ? 1 : 0;
        }
    }
    return count / static_cast<double>(picture.width() * picture.height());
}

TEST(StatusPictures, AreSeenOnLightAndDarkPanelsAndDiffer) {
    const auto connected = picturesOf(Meaning::Connected);
    for (const Meaning meaning : {Meaning::Connected, Meaning::NotConnected, Meaning::Controlled}) {
        const auto pictures = picturesOf(meaning);
        ASSERT_EQ(pictures.size(), 7U);
        for (std::size_t size = 0; size < pictures.size(); ++size) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(meaning) << " " << pictures[size].width());
            for (const int grey : {0, 0x2D, 0xE8, 0xFF}) {
                const auto isSeen = [panel = qRgb(grey, grey, grey)](QRgb pixel, int, int) {
                    return qAlpha(pixel) > 0x80 && contrast(pixel, panel) >= 3;
                };
                EXPECT_GE(shareOf(pictures[size], isSeen), 0.2) << "on grey " << grey;
            }
            const auto differs = [&](QRgb pixel, int x, int y) {
                return contrast(pixel, connected[size].pixel(x, y)) >= 2;
            };
            EXPECT_TRUE(meaning == Meaning::Connected || shareOf(pictures[size], differs) >= 0.2);
        }
    }
}

} // namespace
} // namespace kvn::test

// SPDX-License-Identifier: MIT

#include "host/desktop/StatusPictures.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Test.h"

#include <QColor>
#include <cmath>
#include <set>

namespace kvn::test {
namespace {

using Meaning = host::StatusImage::Meaning;

constexpr host::StatusImage::Meaning kMeanings[] = {Meaning::Connected, Meaning::NotConnected,
                                                    Meaning::Controlled};

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

/// Returns the share of the picture's pixels that a person can tell from the panel.
double visibleShare(const QImage& picture, QRgb panel) {
    int visible = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb pixel = picture.pixel(x, y);
            visible += qAlpha(pixel) > 0x80 && contrast(pixel, panel) >= 3 ? 1 : 0;
        }
    }
    return visible / static_cast<double>(picture.width() * picture.height());
}

TEST(StatusPictures, AreSeenOnLightAndDarkPanels) {
    constexpr QRgb kPanels[] = {qRgb(255, 255, 255), qRgb(0xE8, 0xE8, 0xE8), qRgb(0x2D, 0x2D, 0x2D),
                                qRgb(0, 0, 0)};
    for (const Meaning meaning : kMeanings) {
        for (const QImage& picture : picturesOf(meaning)) {
            for (const QRgb panel : kPanels) {
                EXPECT_GE(visibleShare(picture, panel), 0.2)
                    << static_cast<int>(meaning) << " of " << picture.width() << " on " << std::hex << panel;
            }
        }
    }
}

/// Along a line through the middle of the frame, an edge beside the pixel grid would leave half-covered
/// pixels.
TEST(StatusPictures, HaveSharpEdges) {
    for (const Meaning meaning : kMeanings) {
        const auto pictures = picturesOf(meaning);
        ASSERT_EQ(pictures.size(), 7U);
        for (const QImage& picture : pictures) {
            std::set<QRgb> outside; // from the border up to the screen
            const int y = picture.height() / 3;
            for (int x = 0; x < picture.width() / 6; ++x) {
                outside.insert(picture.pixel(x, y));
                EXPECT_EQ(qAlpha(picture.pixel(x, y)) % 255, 0) << picture.width() << ": " << x;
            }
            EXPECT_LE(outside.size(), 4U) << picture.width();
        }
    }
}

TEST(StatusPictures, DifferFromEachOther) {
    const auto connected = picturesOf(Meaning::Connected);
    for (const Meaning meaning : {Meaning::NotConnected, Meaning::Controlled}) {
        const auto pictures = picturesOf(meaning);
        for (std::size_t size = 0; size < pictures.size(); ++size) {
            int differences = 0;
            for (int pixel = 0; pixel < pictures[size].width() * pictures[size].height(); ++pixel) {
                const int x = pixel % pictures[size].width();
                const int y = pixel / pictures[size].width();
                const QRgb colour = pictures[size].pixel(x, y);
                differences += contrast(colour, connected[size].pixel(x, y)) >= 2 ? 1 : 0;
            }
            EXPECT_GE(differences, pictures[size].width() * pictures[size].height() / 5);
        }
    }
}

TEST(StatusPictures, ReportsAMissingDrawing) {
    const CapturedLog log;
    const host::PortablePropertyList propertyLists{};
    const host::AppBundle bundle(BUNDLE, propertyLists, {"en"});
    EXPECT_TRUE(host::statusPictures({Meaning::Connected, "NoSuchIcon"}, bundle).empty());
    EXPECT_TRUE(log.contains("The bundle has no picture NoSuchIcon"));
}

} // namespace
} // namespace kvn::test

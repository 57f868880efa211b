// SPDX-License-Identifier: MIT

#include "host/desktop/StatusPictures.h"

#include "core/logging/CNSLog.h"

#include <QPainter>
#include <QSvgRenderer>
#include <string>

namespace kvn::host {
namespace {

/// A size of the picture, and of the drawing that it is made from, in pixels.
struct Size {
    int picture;
    int drawing;
};
// Some panels scale down the largest, most often to 22, which keeps the lines of the last.
constexpr Size kSizes[] = {{16, 16}, {22, 22}, {24, 22}, {32, 16}, {48, 16}, {64, 16}, {66, 22}};

/// Makes the colours grey, and closer to each other.
void dim(QImage& picture) {
    constexpr int kDarkest = 0x58;
    constexpr int kLightest = 0xB0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb colour = picture.pixel(x, y);
            const int grey = kDarkest + qGray(colour) * (kLightest - kDarkest) / 0xFF;
            picture.setPixel(x, y, qRgba(grey, grey, grey, qAlpha(colour)));
        }
    }
}

} // namespace

std::vector<QImage> statusPictures(const StatusImage& image, const Bundle& bundle) {
    std::vector<QImage> pictures;
    for (const Size& size : kSizes) {
        const auto path = bundle.resourcePath(image.name + "-" + std::to_string(size.drawing), "svg");
        QSvgRenderer drawing;
        if (!path || !drawing.load(QString::fromStdString(*path))) {
            Kvs::OCNSLog("The bundle has no picture %@", image.name);
            return {};
        }
        QImage picture(size.picture, size.picture, QImage::Format_ARGB32);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        const int margin = size.picture % size.drawing / 2;
        const int extent = size.picture - 2 * margin;
        drawing.render(&painter, QRectF(margin, margin, extent, extent));
        painter.end();
        if (image.meaning == StatusImage::Meaning::NotConnected) {
            dim(picture);
        }
        pictures.push_back(std::move(picture));
    }
    return pictures;
}

} // namespace kvn::host

// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "host/StatusBar.h"

#include <QImage>
#include <vector>

namespace kvn::host {

/// Returns the picture in the sizes that panels use, in ascending order. It has two drawings, of 16 and of 22
/// pixels, and each size is a multiple of one of them, so that its lines are whole pixels. Nothing is known
/// of the panel's colour: the drawings are light with a dark outline. Returns nothing, which is logged,
/// without the drawings.
std::vector<QImage> statusPictures(const StatusImage& image, const Bundle& bundle);

} // namespace kvn::host

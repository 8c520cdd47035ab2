#pragma once

#include <QRegion>
#include <QRgb>

class QImage;

namespace tav {

// The logo window's colour key: every pixel of exactly this grey (red,
// green and blue all 128) is see-through; 818181 is not.
inline constexpr QRgb kLogoColourKey = 0xFF808080;

// The pixels of the image that are not the colour key, as a window shape.
// A shape mask needs no compositor: the see-through pixels are simply not
// part of the window.
QRegion opaqueRegion(const QImage &image, QRgb key = kLogoColourKey);
// The image with the key's pixels made transparent, to lie on a background.
QImage withoutKey(const QImage &image, QRgb key = kLogoColourKey);

} // namespace tav

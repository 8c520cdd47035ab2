#include "pictures/logomask.h"

#include <QBitmap>
#include <QImage>

namespace tav {

QRegion opaqueRegion(const QImage &image, QRgb key)
{
    if (image.isNull())
        return {};
    // Alpha is not part of the comparison: a grabbed window is opaque. In
    // the mask the key's pixels are the clear ones.
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    return QRegion(QBitmap::fromImage(rgb.createMaskFromColor(key | 0xFF000000u, Qt::MaskInColor)));
}

QImage withoutKey(const QImage &image, QRgb key)
{
    QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    const QRgb opaqueKey = key | 0xFF000000u;
    for (int y = 0; y < argb.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(argb.scanLine(y));
        for (int x = 0; x < argb.width(); ++x)
            if (line[x] == opaqueKey)
                line[x] = 0;
    }
    return argb;
}

} // namespace tav

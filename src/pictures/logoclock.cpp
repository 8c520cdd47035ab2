#include "pictures/logoclock.h"

#include "pictures/logomask.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPainter>

#include <algorithm>

namespace tav {

QFont ClockLabel::qtFont(const ClockFont &clockFont)
{
    QFont font(QFontDatabase::hasFamily(clockFont.name) ? clockFont.name : QApplication::font().family());
    font.setPointSize(clockFont.size);
    font.setBold(clockFont.bold);
    font.setItalic(clockFont.italic);
    font.setUnderline(clockFont.underline);
    font.setStrikeOut(clockFont.strikethru);
    return font;
}

QColor ClockLabel::colourOf(const ClockFont &font)
{
    return QColor(font.red(), font.green(), font.blue());
}

void ClockLabel::setClockFont(const ClockFont &clockFont)
{
    QFont font = qtFont(clockFont);
    font.setStyleStrategy(QFont::NoAntialias);
    setFont(font);
    QColor colour = colourOf(clockFont);
    if (colour.rgb() == kLogoColourKey)
        colour = QColor(0x81, 0x81, 0x81); // the key itself would not be seen
    QPalette palette = this->palette();
    palette.setColor(QPalette::WindowText, colour);
    setPalette(palette);
    update();
}

QSize ClockLabel::fittedSize() const
{
    const QFontMetrics metrics(font());
    int digit = 0;
    for (char16_t c = u'0'; c <= u'9'; ++c)
        digit = std::max(digit, metrics.horizontalAdvance(QChar(c)));
    const int width = 6 * digit + 2 * metrics.horizontalAdvance(u':') + metrics.averageCharWidth();
    return {width + 2 * kOutline, metrics.height() + 2 * kOutline};
}

void ClockLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QColor colour = palette().color(QPalette::WindowText);
    const QRect area = rect().adjusted(kOutline, kOutline, -kOutline, -kOutline);
    const int flags = int(alignment());
    painter.setPen(colour.lightness() < 80 ? Qt::white : Qt::black);
    for (int dy = -kOutline; dy <= kOutline; dy += kOutline)
        for (int dx = -kOutline; dx <= kOutline; dx += kOutline)
            if (dx != 0 || dy != 0)
                painter.drawText(area.translated(dx, dy), flags, text());
    painter.setPen(colour);
    painter.drawText(area, flags, text());
}

} // namespace tav

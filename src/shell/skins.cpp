#include "shell/skins.h"

#include "shell/resources.h"

#include <QApplication>
#include <QColor>
#include <QFile>
#include <QRegularExpression>
#include <QStyle>
#include <QWidget>

#include <cmath>

using namespace Qt::StringLiterals;


namespace tav {

namespace {

struct SkinInfo
{
    Skins::Skin skin;
    const char16_t *menuItem;
    const char16_t *file;
};

constexpr SkinInfo kSkins[] = {
    {Skins::Skin::Plain, u"mnuWindow", u""},
    {Skins::Skin::Skin1, u"mnuQQ08", u":/shell/skins/skin1.qss"},
    {Skins::Skin::Skin2, u"mnuQQ09", u":/shell/skins/skin2.qss"},
    {Skins::Skin::Skin3, u"mnuVista", u":/shell/skins/skin3.qss"},
};

const SkinInfo &infoOf(Skins::Skin skin)
{
    for (const SkinInfo &info : kSkins) {
        if (info.skin == skin)
            return info;
    }
    return kSkins[0];
}

// Relative luminance (sRGB), the measure behind contrast ratios.
double luminance(const QColor &c)
{
    const auto linear = [](double v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
}

// The colour with its hue turned and its luminance kept: pure hues differ
// widely in brightness (yellow against blue), so a plain turn would make
// light text on a turned background hard to read. Greys have no hue and stay.
QColor turned(const QColor &colour, int degrees)
{
    const int hue = colour.hslHue();
    if (hue < 0)
        return colour;
    const int newHue = (hue + degrees % 360 + 360) % 360;
    const int saturation = colour.hslSaturation();
    const double target = luminance(colour);
    // Luminance grows with HSL lightness at a fixed hue and saturation.
    int low = 0, high = 255;
    while (low < high) {
        const int mid = (low + high) / 2;
        if (luminance(QColor::fromHsl(newHue, saturation, mid)) < target)
            low = mid + 1;
        else
            high = mid;
    }
    if (low > 0
        && std::abs(luminance(QColor::fromHsl(newHue, saturation, low - 1)) - target)
               < std::abs(luminance(QColor::fromHsl(newHue, saturation, low)) - target))
        --low;
    return QColor::fromHsl(newHue, saturation, low, colour.alpha()).toRgb();
}

QString turnedHex(const QString &hex, int degrees)
{
    const QColor original = QColor::fromString(hex);
    if (original.hslHue() < 0) // grey: kept as written
        return hex;
    const QColor colour = turned(original, degrees);
    if (hex.size() == 9)
        return colour.name(QColor::HexArgb);
    return colour.name(QColor::HexRgb);
}

// rgb(r, g, b) and rgba(r, g, b, a): the alpha text is kept as written.
QString turnedRgb(const QRegularExpressionMatch &m, int degrees)
{
    const auto channel = [&m](int n) { return qBound(0, m.captured(n).toInt(), 255); };
    const QColor original(channel(2), channel(3), channel(4));
    if (original.hslHue() < 0)
        return m.captured();
    const QColor colour = turned(original, degrees);
    return u"%1(%2, %3, %4%5)"_s.arg(m.captured(1))
        .arg(colour.red())
        .arg(colour.green())
        .arg(colour.blue())
        .arg(m.captured(5));
}

QString turnBody(const QString &body, int degrees)
{
    static const QRegularExpression colourPattern(
        uR"(#(?:[0-9A-Fa-f]{8}|[0-9A-Fa-f]{6}|[0-9A-Fa-f]{3})(?![0-9A-Za-z_-]))"
        uR"(|\b(rgba?)\(\s*(\d{1,3})\s*,\s*(\d{1,3})\s*,\s*(\d{1,3})\s*(,[^)]*)?\))"_s);
    QString out;
    out.reserve(body.size());
    qsizetype last = 0;
    for (auto it = colourPattern.globalMatch(body); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += QStringView(body).mid(last, m.capturedStart() - last);
        out += m.captured(1).isEmpty() ? turnedHex(m.captured(), degrees) : turnedRgb(m, degrees);
        last = m.capturedEnd();
    }
    out += QStringView(body).mid(last);
    return out;
}

} // namespace

Skins::Skin Skins::fromSetting(const QString &value)
{
    const QString text = value.trimmed();
    for (const SkinInfo &info : kSkins) {
        if (text == toSetting(info.skin))
            return info.skin;
    }
    return Skin::Plain;
}

QString Skins::toSetting(Skin skin)
{
    return QString::number(int(infoOf(skin).skin));
}

QString Skins::menuItem(Skin skin)
{
    return QString::fromUtf16(infoOf(skin).menuItem);
}

Skins::Skin Skins::fromMenuItem(const QString &objectName)
{
    for (const SkinInfo &info : kSkins) {
        if (objectName == QString::fromUtf16(info.menuItem))
            return info.skin;
    }
    return Skin::Plain;
}

QString Skins::resourcePath(Skin skin)
{
    return QString::fromUtf16(infoOf(skin).file);
}

QString Skins::styleSheet(Skin skin, int hue)
{
    const QString path = resourcePath(skin);
    if (path.isEmpty())
        return QString();
    registerShellResources();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return rotateHue(QString::fromUtf8(file.readAll()), hue);
}

QString Skins::rotateHue(const QString &qss, int degrees)
{
    if (degrees % 360 == 0)
        return qss;
    // Colours are turned inside rule bodies only: "#abc" before a brace is a
    // selector naming an object, not a colour. Comments are copied as they are.
    QString out;
    out.reserve(qss.size());
    qsizetype i = 0;
    while (i < qss.size()) {
        if (qss.mid(i, 2) == u"/*") {
            const qsizetype end = qss.indexOf(u"*/", i + 2);
            const qsizetype stop = end < 0 ? qss.size() : end + 2;
            out += QStringView(qss).mid(i, stop - i);
            i = stop;
        } else if (qss.at(i) == u'{') {
            const qsizetype end = qss.indexOf(u'}', i + 1);
            const qsizetype stop = end < 0 ? qss.size() : end;
            out += u'{';
            out += turnBody(qss.mid(i + 1, stop - i - 1), degrees);
            i = stop;
        } else {
            out += qss.at(i);
            ++i;
        }
    }
    return out;
}

QString Skins::warningRule(Skin skin)
{
    // Red that reads on the look's own ground: deep on the light looks,
    // light on the dark one. Not turned with the hue: a warning stays red.
    const QString colour = skin == Skin::Skin2 ? u"#ff8a80"_s : u"#c00000"_s;
    return u"\n*[warning=\"true\"] { color: %1; font-weight: bold; }\n"_s.arg(colour);
}

void Skins::apply(QApplication &app, Skin skin, int hue)
{
    app.setStyleSheet(styleSheet(skin, qBound(kHueMin, hue, kHueMax)) + warningRule(skin));
}

void Skins::markWarning(QWidget &widget, bool on)
{
    if (widget.property("warning").toBool() == on)
        return;
    widget.setProperty("warning", on);
    widget.style()->unpolish(&widget);
    widget.style()->polish(&widget);
    widget.update();
}

void Skins::setAero(QWidget &window, bool on)
{
    window.window()->setWindowOpacity(on ? kAeroOpacity : 1.0);
}

} // namespace tav

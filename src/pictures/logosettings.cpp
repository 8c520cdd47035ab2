#include "pictures/logosettings.h"

#include "core/settings.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

constexpr int kMinSize = 6;
constexpr int kMaxSize = 200;

// A font switch as the original files hold it: "True"/"False", or a number
// (Visual Basic's True is -1). Anything else keeps the fallback.
bool flagOf(const QString &text, bool fallback)
{
    const QString t = text.trimmed();
    if (t.compare(u"true"_s, Qt::CaseInsensitive) == 0)
        return true;
    if (t.compare(u"false"_s, Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const int n = t.toInt(&ok);
    return ok ? n != 0 : fallback;
}

QString flagText(bool on)
{
    return on ? u"True"_s : u"False"_s;
}

std::optional<int> wholeNumber(const QString &text)
{
    bool ok = false;
    const int n = text.trimmed().toInt(&ok);
    return ok ? std::optional<int>(n) : std::nullopt;
}

} // namespace

ClockFont ClockFont::read(const Settings &settings)
{
    ClockFont f;
    const QString name = settings.text(Setting::ClockFontName).trimmed();
    if (!name.isEmpty())
        f.name = name;
    bool ok = false;
    const double size = settings.text(Setting::ClockFontSize).trimmed().toDouble(&ok);
    if (ok && size >= kMinSize && size <= kMaxSize)
        f.size = int(std::lround(size));
    f.bold = flagOf(settings.text(Setting::ClockFontBold), f.bold);
    f.italic = flagOf(settings.text(Setting::ClockFontItalic), f.italic);
    f.underline = flagOf(settings.text(Setting::ClockFontUnderline), f.underline);
    f.strikethru = flagOf(settings.text(Setting::ClockFontStrikethru), f.strikethru);
    const qlonglong colour = settings.text(Setting::ClockForeColor).trimmed().toLongLong(&ok);
    if (ok && colour >= 0 && colour <= 0xFFFFFF)
        f.colorRef = quint32(colour);
    return f;
}

bool ClockFont::write(Settings &settings) const
{
    bool written = settings.setText(Setting::ClockFontName, name);
    written &= settings.setText(Setting::ClockFontSize, QString::number(size));
    written &= settings.setText(Setting::ClockFontBold, flagText(bold));
    written &= settings.setText(Setting::ClockFontItalic, flagText(italic));
    written &= settings.setText(Setting::ClockFontUnderline, flagText(underline));
    written &= settings.setText(Setting::ClockFontStrikethru, flagText(strikethru));
    written &= settings.setText(Setting::ClockForeColor, QString::number(colorRef));
    return written;
}

QPoint LogoPlace::pixels() const
{
    // Rounded down, so that -1 twip lies left of the screen, not on it.
    const auto px = [](int twips) { return int(std::floor(twips / double(kTwipsPerPixel))); };
    return {px(leftTwips), px(topTwips)};
}

LogoPlace LogoPlace::read(const Settings &settings)
{
    return {settings.number(Setting::LogoTop), settings.number(Setting::LogoLeft)};
}

bool LogoPlace::write(Settings &settings) const
{
    const bool top = settings.setText(Setting::LogoTop, QString::number(topTwips));
    const bool left = settings.setText(Setting::LogoLeft, QString::number(leftTwips));
    return top && left;
}

std::optional<LogoPlace> LogoPlace::parse(const QString &top, const QString &left, const QList<QRect> &screens)
{
    const std::optional<int> t = wholeNumber(top);
    const std::optional<int> l = wholeNumber(left);
    if (!t || !l)
        return std::nullopt;
    const LogoPlace place{*t, *l};
    for (const QRect &screen : screens)
        if (screen.contains(place.pixels()))
            return place;
    return std::nullopt;
}

} // namespace tav

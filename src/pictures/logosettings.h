#pragma once

#include "core/colorref.h"

#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>

#include <optional>

namespace tav {

class Settings;

// The clock's font and colour, kept under "时间字体" in 【CONTROL】.ini with
// the keys Name, Size, Bold, Italic, Underline, FontStrikethru and ForeColor.
struct ClockFont
{
    QString name = QStringLiteral("宋体");
    int size = 24; // points
    bool bold = true;
    bool italic = false;
    bool underline = false;
    bool strikethru = false;
    // ForeColor, as a Windows colour number (ColorRef).
    quint32 colorRef = 0x0000FFFF; // yellow

    int red() const { return ColorRef{colorRef}.red(); }
    int green() const { return ColorRef{colorRef}.green(); }
    int blue() const { return ColorRef{colorRef}.blue(); }

    // Missing or unreadable keys keep the defaults above; a size outside
    // 6 … 200 points also does.
    static ClockFont read(const Settings &settings);
    // False when the file could not be written.
    bool write(Settings &settings) const;

    friend bool operator==(const ClockFont &, const ClockFont &) = default;
};

// The logo window's place, stored in twips ("LOGOTop" under "LOGO顶边",
// "LOGOLeft" under "LOGO左边"); a pixel is 15 twips.
struct LogoPlace
{
    static constexpr int kTwipsPerPixel = 15;

    int topTwips = 0;
    int leftTwips = 0;

    QPoint pixels() const;

    // The stored place; a missing or non-numeric value counts 0.
    static LogoPlace read(const Settings &settings);
    // Writes both keys; false when the file could not be written.
    bool write(Settings &settings) const;

    // The operator's two fields: whole numbers of twips (blanks around
    // allowed) whose pixel point lies on one of the screens. None otherwise.
    static std::optional<LogoPlace> parse(const QString &top, const QString &left, const QList<QRect> &screens);

    friend bool operator==(const LogoPlace &, const LogoPlace &) = default;
};

} // namespace tav

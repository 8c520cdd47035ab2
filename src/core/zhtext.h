#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QTime>

#include <optional>

// Dates, weekdays and times as the station's Simplified Chinese texts,
// whatever the locale of the machine.
namespace tav::zh {

QString shortDate(QDate date);            // "2026/11/21"
QString dateTime(const QDateTime &when);  // "2026/11/21 9:05:03"
QString weekdayName(QDate date);          // "星期六"
QString weekdayChar(QDate date);          // "六": third character of the name

// "[2026/11/21 9:05:03]" + text, the message-log line form.
QString stampedLine(const QDateTime &when, const QString &text);
// "[2026/11/21]" + text, the form used by start-up and the scheduler.
QString datedLine(QDate date, const QString &text);

// Parses a short date "yyyy/M/d" (also with "-" or zero padding); invalid on failure.
QDate parseShortDate(const QString &text);

// A time of day in whole seconds from "H:mm:ss" (one or two digit hours,
// "H:mm" also accepted); -1 when the text is not a time.
int secondsOfDay(const QString &text);
inline int secondsOfDay(QTime t) { return t.hour() * 3600 + t.minute() * 60 + t.second(); }
// "H:mm:ss" from seconds of the day, the form the task file uses.
QString timeText(int seconds);
// "hh:mm:ss", the countdown form.
QString durationText(int seconds);

// The number a setting's text begins with, as the settings were always read:
// blanks, a sign, digits with an optional decimal point and exponent; what
// follows is ignored ("10.5" → 10.5, " 12px" → 12). None without a digit.
std::optional<double> leadingNumber(const QString &text);

} // namespace tav::zh

#include "core/zhtext.h"

#include <QRegularExpression>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace tav::zh {

namespace {
const char16_t *const kWeekdays[] = {u"星期一", u"星期二", u"星期三", u"星期四",
                                     u"星期五", u"星期六", u"星期日"};
}

QString shortDate(QDate date)
{
    return u"%1/%2/%3"_s.arg(date.year()).arg(date.month()).arg(date.day());
}

QString dateTime(const QDateTime &when)
{
    const QTime t = when.time();
    return shortDate(when.date()) + u' '
           + u"%1:%2:%3"_s.arg(t.hour()).arg(t.minute(), 2, 10, QLatin1Char('0')).arg(t.second(), 2, 10, QLatin1Char('0'));
}

QString weekdayName(QDate date)
{
    return date.isValid() ? QString::fromUtf16(kWeekdays[date.dayOfWeek() - 1]) : QString();
}

QString weekdayChar(QDate date)
{
    return weekdayName(date).mid(2, 1);
}

QString stampedLine(const QDateTime &when, const QString &text)
{
    return u'[' + dateTime(when) + u']' + text;
}

QString datedLine(QDate date, const QString &text)
{
    return u'[' + shortDate(date) + u']' + text;
}

QDate parseShortDate(const QString &text)
{
    const QStringList parts = text.trimmed().split(QRegularExpression(u"[/-]"_s));
    if (parts.size() != 3)
        return {};
    bool ok[3];
    const int y = parts[0].toInt(&ok[0]), m = parts[1].toInt(&ok[1]), d = parts[2].toInt(&ok[2]);
    if (!ok[0] || !ok[1] || !ok[2])
        return {};
    return QDate(y, m, d);
}

int secondsOfDay(const QString &text)
{
    const QStringList parts = text.trimmed().split(u':');
    if (parts.size() < 2 || parts.size() > 3)
        return -1;
    int v[3] = {0, 0, 0};
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const QString &p = parts[i];
        if (p.isEmpty() || p.size() > 2)
            return -1;
        for (QChar c : p)
            if (c < u'0' || c > u'9')
                return -1;
        v[i] = p.toInt();
    }
    if (v[0] > 23 || v[1] > 59 || v[2] > 59)
        return -1;
    return v[0] * 3600 + v[1] * 60 + v[2];
}

QString timeText(int seconds)
{
    return u"%1:%2:%3"_s.arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QString durationText(int seconds)
{
    return u"%1:%2:%3"_s.arg(seconds / 3600, 2, 10, QLatin1Char('0'))
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

std::optional<double> leadingNumber(const QString &text)
{
    static const QRegularExpression number(u"^\\s*([+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?)"_s);
    const QRegularExpressionMatch m = number.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    bool ok = false;
    const double v = m.captured(1).toDouble(&ok);
    return ok ? std::optional<double>(v) : std::nullopt;
}

} // namespace tav::zh

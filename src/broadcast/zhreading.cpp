#include "broadcast/zhreading.h"

#include "core/zhtext.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace tav::zhreading {

namespace {

const QString kDigits = u"零一二三四五六七八九"_s;

QString twoDigits(int n)
{
    return QString::number(n).rightJustified(2, u'0');
}

QString yearDigits(const QString &year)
{
    QString out;
    for (const QChar c : year)
        out += c == u'0' ? u'〇' : kDigits[c.digitValue()];
    return out;
}

QString hours(int h)
{
    return h == 2 ? u"两"_s : number(h);
}

QString minutes(int m)
{
    return m < 10 ? u"零"_s + number(m) : number(m);
}

} // namespace

QString number(int n)
{
    if (n < 0)
        return u"负"_s + number(-n);
    if (n < 10)
        return QString(kDigits[n]);
    if (n < 20)
        return u"十"_s + (n % 10 ? QString(kDigits[n % 10]) : QString());
    static const QString units[] = {QString(), u"十"_s, u"百"_s, u"千"_s, u"万"_s};
    const QString digits = QString::number(n);
    QString out;
    bool zero = false;
    for (qsizetype i = 0; i < digits.size(); ++i) {
        const int d = digits[i].digitValue();
        const qsizetype place = digits.size() - 1 - i;
        if (d == 0) {
            zero = true;
            continue;
        }
        if (zero && !out.isEmpty())
            out += u'零';
        zero = false;
        out += kDigits[d];
        if (place < 5)
            out += units[place];
    }
    return out;
}

QString expandPlaceholders(const QString &text, const QDateTime &now)
{
    const int h = now.time().hour(), m = now.time().minute();
    QString spoken;
    if (h >= 19)
        spoken = u"晚上%1:%2"_s.arg(h - 12).arg(twoDigits(m));
    else if (h >= 13)
        spoken = u"下午%1:%2"_s.arg(h - 12).arg(twoDigits(m));
    else
        spoken = u"上午%1:%2"_s.arg(h).arg(twoDigits(m));
    QString out = text;
    out.replace(u"%Time"_s, spoken);
    const QString week = zh::weekdayName(now.date());
    out.replace(u"%Week"_s, week).replace(u"%week"_s, week);
    const QString date = zh::shortDate(now.date());
    out.replace(u"%Date"_s, date).replace(u"%date"_s, date);
    return out;
}

Reading forVoice(const QString &text)
{
    // One pass over dates and times, longest forms first.
    static const QRegularExpression pattern(
        uR"((?<!\d)(\d{4})(?:([/\-])(\d{1,2})\2(\d{1,2})|年(\d{1,2})月(\d{1,2})[日号])(?!\d))"
        uR"(|(?<![\d:])([01]?\d|2[0-3]):([0-5]\d)(?::([0-5]\d))?(?![\d:]))"_s);
    Reading r;
    qsizetype at = 0;
    const auto copy = [&](qsizetype from, qsizetype to) {
        for (qsizetype i = from; i < to; ++i) {
            r.text += text[i];
            r.source.append(int(i));
        }
    };
    const auto say = [&](const QString &words, qsizetype from, qsizetype length) {
        // Spread the spoken words over the characters they stand for.
        for (qsizetype i = 0; i < words.size(); ++i) {
            r.text += words[i];
            r.source.append(int(from + (length > 0 ? i * length / words.size() : 0)));
        }
    };
    for (auto it = pattern.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        copy(at, m.capturedStart());
        QString words;
        if (m.capturedLength(1) > 0) {
            const int month = (m.capturedLength(3) ? m.captured(3) : m.captured(5)).toInt();
            const int day = (m.capturedLength(4) ? m.captured(4) : m.captured(6)).toInt();
            if (month >= 1 && month <= 12 && day >= 1 && day <= 31)
                words = yearDigits(m.captured(1)) + u"年"_s + number(month) + u"月"_s + number(day) + u"日"_s;
        } else {
            const int h = m.captured(7).toInt(), min = m.captured(8).toInt();
            const int sec = m.capturedLength(9) ? m.captured(9).toInt() : 0;
            if (min == 0 && sec == 0) {
                words = hours(h) + u"点整"_s;
            } else {
                words = hours(h) + u"点"_s + (min == 0 ? u"零分"_s : minutes(min) + u"分"_s);
                if (sec > 0)
                    words += number(sec) + u"秒"_s;
            }
        }
        if (words.isEmpty())
            copy(m.capturedStart(), m.capturedEnd());
        else
            say(words, m.capturedStart(), m.capturedLength());
        at = m.capturedEnd();
    }
    copy(at, text.size());
    return r;
}

} // namespace tav::zhreading

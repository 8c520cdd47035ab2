#include "broadcast/zhreading.h"

#include "broadcast/pinyin.h"
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

QString digitByDigit(QStringView digits, QChar zero, QChar one)
{
    QString out;
    for (const QChar c : digits) {
        if (!c.isDigit())
            continue;
        const int d = c.digitValue();
        out += d == 0 ? zero : d == 1 ? one : kDigits[d];
    }
    return out;
}

QString yearDigits(QStringView year)
{
    return digitByDigit(year, u'〇', u'一');
}

// 0 … 9999 with 千百十; `leadingTen`: 10 … 19 as "十…" rather than "一十…".
QString section(int n, bool leadingTen)
{
    static const QString units[] = {QString(), u"十"_s, u"百"_s, u"千"_s};
    if (n == 0)
        return {};
    QString out;
    bool zero = false;
    for (int place = 3; place >= 0; --place) {
        int p = 1;
        for (int i = 0; i < place; ++i)
            p *= 10;
        const int d = n / p % 10;
        if (d == 0) {
            zero = !out.isEmpty();
            continue;
        }
        if (zero)
            out += u'零';
        zero = false;
        if (!(d == 1 && place == 1 && out.isEmpty() && leadingTen))
            out += kDigits[d];
        out += units[place];
    }
    return out;
}

// `liang`: a leading 2 before 千, 万 or 亿 is 两.
QString cardinal(qint64 n, bool liang)
{
    if (n < 0)
        return u"负"_s + cardinal(-n, liang);
    if (n == 0)
        return u"零"_s;
    static const QString big[] = {QString(), u"万"_s, u"亿"_s, u"万亿"_s};
    QList<int> sections;
    for (qint64 rest = n; rest > 0; rest /= 10000)
        sections.prepend(int(rest % 10000));
    QString out;
    bool zero = false;
    for (qsizetype i = 0; i < sections.size(); ++i) {
        const int s = sections[i];
        const qsizetype level = sections.size() - 1 - i;
        if (s == 0) {
            zero = true;
            continue;
        }
        if (!out.isEmpty() && (zero || s < 1000))
            out += u'零';
        zero = false;
        out += section(s, out.isEmpty()) + big[level];
    }
    if (liang && out.startsWith(u'二') && out.size() > 1 && (out[1] == u'千' || out[1] == u'万' || out[1] == u'亿'))
        out[0] = u'两';
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

// Words after which a number is a telephone number.
bool afterPhoneWord(QStringView before)
{
    static const QStringList words = {u"电话"_s, u"热线"_s, u"拨打"_s, u"致电"_s, u"手机"_s, u"号码"_s,
                                      u"专线"_s, u"传真"_s, u"呼叫"_s, u"短信"_s, u"電話"_s, u"熱線"_s,
                                      u"撥打"_s, u"號碼"_s};
    for (const QString &w : words)
        if (before.contains(w))
            return true;
    return false;
}

// Counted things: a lone 2 before them is 两.
bool isMeasure(QStringView after)
{
    static const QString measures = u"个位名人天年次件张本条只辆台份瓶杯斤元块岁周套间家项组排节门种样遍趟场届批所座棵盒包袋箱双对句首"
                                    u"公米克升毫厘小分秒平片粒"_s;
    return !after.isEmpty() && measures.contains(after[0]);
}

const QList<std::pair<QString, QString>> &units()
{
    static const QList<std::pair<QString, QString>> list = {
        {u"km/h"_s, u"公里每小时"_s}, {u"km"_s, u"公里"_s}, {u"kg"_s, u"公斤"_s}, {u"cm"_s, u"厘米"_s},
        {u"mm"_s, u"毫米"_s},         {u"m²"_s, u"平方米"_s}, {u"㎡"_s, u"平方米"_s}, {u"m2"_s, u"平方米"_s},
        {u"ml"_s, u"毫升"_s},         {u"mL"_s, u"毫升"_s},   {u"min"_s, u"分钟"_s},  {u"m"_s, u"米"_s},
        {u"g"_s, u"克"_s},            {u"L"_s, u"升"_s},      {u"h"_s, u"小时"_s},    {u"℃"_s, u"度"_s},
        {u"°C"_s, u"度"_s},           {u"°"_s, u"度"_s},      {u"%"_s, QString()},    {u"％"_s, QString()},
    };
    return list;
}

struct Token
{
    enum Kind { Text, Literal, Date, Time, Number, Phone } kind = Text;
    qsizetype start = 0;
    qsizetype end = 0;
    // Date and time
    int a = 0, b = 0, c = 0;
    QString year = {};
    // Number
    bool negative = false;
    bool money = false;
    QString whole = {}, fraction = {}, unit = {};
};

const QRegularExpression &dateTime()
{
    static const QRegularExpression pattern(
        uR"((?<!\d)(\d{4})(?:([/\-])(\d{1,2})\2(\d{1,2})|年(\d{1,2})月(\d{1,2})[日号])(?!\d))"
        uR"(|(?<![\d:])([01]?\d|2[0-3]):([0-5]\d)(?::([0-5]\d))?(?![\d:]))"_s);
    return pattern;
}

const QRegularExpression &phoneGroups()
{
    static const QRegularExpression pattern(uR"((?<![\w.])\d{2,4}(?:-\d{3,8}){1,2}(?![\w.]))"_s);
    return pattern;
}

const QRegularExpression &numberPattern()
{
    static const QRegularExpression pattern = [] {
        QStringList alternatives;
        for (const auto &[written, spoken] : units())
            alternatives.append(QRegularExpression::escape(written));
        return QRegularExpression(uR"((?<![A-Za-z0-9.,])([-−])?([¥￥])?(\d{1,3}(?:,\d{3})+|\d+)(?:\.(\d+))?()"_s
                                  + alternatives.join(u'|') + uR"()?(?![A-Za-z0-9]))"_s);
    }();
    return pattern;
}

// Full-width and other digits as ASCII ones, character for character.
QString asciiDigits(const QString &text)
{
    QString out = text;
    for (QChar &c : out)
        if (c.isDigit() && c.unicode() > 0x7F && c.digitValue() >= 0)
            c = QChar(u'0' + c.digitValue());
    return out;
}

QList<Token> tokens(const QString &text)
{
    QList<Token> out;
    qsizetype plain = 0; // start of the text not yet taken
    const auto flushText = [&](qsizetype to) {
        if (to > plain)
            out.append({.kind = Token::Text, .start = plain, .end = to});
    };
    qsizetype i = 0;
    while (i < text.size()) {
        if (QStringView(text).mid(i).startsWith(QStringView(kLiteralOpen))) {
            const qsizetype close = text.indexOf(QStringView(kLiteralClose), i + 2);
            if (close >= 0) {
                flushText(i);
                out.append({.kind = Token::Literal, .start = i, .end = close + 2});
                i = plain = close + 2;
                continue;
            }
        }
        if (!text[i].isDigit() && text[i] != u'-' && text[i] != u'−' && text[i] != u'¥' && text[i] != u'￥') {
            ++i;
            continue;
        }
        const auto anchored = QRegularExpression::NormalMatch;
        const auto at = QRegularExpression::AnchorAtOffsetMatchOption;
        if (const QRegularExpressionMatch m = dateTime().match(text, i, anchored, at); m.hasMatch()) {
            Token t{.kind = Token::Time, .start = i, .end = m.capturedEnd()};
            bool valid = true;
            if (m.capturedLength(1) > 0) {
                t.kind = Token::Date;
                t.year = m.captured(1);
                t.a = (m.capturedLength(3) ? m.captured(3) : m.captured(5)).toInt();
                t.b = (m.capturedLength(4) ? m.captured(4) : m.captured(6)).toInt();
                valid = t.a >= 1 && t.a <= 12 && t.b >= 1 && t.b <= 31;
            } else {
                t.a = m.captured(7).toInt();
                t.b = m.captured(8).toInt();
                t.c = m.capturedLength(9) ? m.captured(9).toInt() : 0;
            }
            if (valid) {
                flushText(i);
                out.append(t);
                i = plain = t.end;
                continue;
            }
        }
        // A telephone word before it in the same clause.
        QStringView clause = QStringView(text).mid(qMax<qsizetype>(0, i - 8), qMin<qsizetype>(i, 8));
        for (qsizetype k = clause.size() - 1; k >= 0; --k)
            if (u"，。；！？,;!?\n"_s.contains(clause[k])) {
                clause = clause.mid(k + 1);
                break;
            }
        const bool phoneContext = afterPhoneWord(clause);
        if (const QRegularExpressionMatch m = phoneGroups().match(text, i, anchored, at);
            m.hasMatch() && m.captured().count(QRegularExpression(u"\\d"_s)) >= 7
            && (phoneContext || text[i] == u'0' || m.captured().startsWith(u"400-"_s)
                || m.captured().startsWith(u"800-"_s))) {
            flushText(i);
            out.append({.kind = Token::Phone, .start = i, .end = m.capturedEnd()});
            i = plain = m.capturedEnd();
            continue;
        }
        if (const QRegularExpressionMatch m = numberPattern().match(text, i, anchored, at); m.hasMatch()) {
            Token t{.kind = Token::Number, .start = i, .end = m.capturedEnd()};
            t.negative = m.capturedLength(1) > 0;
            t.money = m.capturedLength(2) > 0;
            t.whole = m.captured(3);
            t.fraction = m.captured(4);
            t.unit = m.captured(5);
            const bool plainDigits = !t.negative && !t.money && t.fraction.isEmpty() && !t.whole.contains(u',');
            // Seven digits and more count nothing unless a measure word follows.
            const QStringView after = QStringView(text).mid(t.end);
            const bool counts = isMeasure(after) || after.startsWith(u'万') || after.startsWith(u'亿');
            if (plainDigits && t.unit.isEmpty()
                && ((t.whole.size() >= 7 && !counts) || (phoneContext && t.whole.size() >= 3)))
                t.kind = Token::Phone;
            else if (t.whole.remove(u',').size() > 16)
                t.kind = Token::Phone; // beyond any count: a code, digit by digit
            flushText(i);
            out.append(t);
            i = plain = t.end;
            continue;
        }
        ++i;
    }
    flushText(text.size());
    return out;
}

QString timeWords(const Token &t, bool inRange)
{
    if (t.b == 0 && t.c == 0)
        return hours(t.a) + (inRange ? u"点"_s : u"点整"_s);
    QString words = hours(t.a) + u"点"_s + (t.b == 0 ? u"零分"_s : minutes(t.b) + u"分"_s);
    if (t.c > 0)
        words += number(t.c) + u"秒"_s;
    return words;
}

// A number's words; `after`: the text that follows what it counts.
QString numberWords(const Token &t, QStringView before, QStringView after, const QString &unit, bool year)
{
    if (year)
        return yearDigits(t.whole);
    const bool ordinal = before.endsWith(u'第');
    QString spokenUnit;
    for (const auto &[written, spoken] : units())
        if (written == unit)
            spokenUnit = spoken;
    const bool percent = unit == u"%" || unit == u"％";
    const bool degrees = spokenUnit == u"度";
    const qint64 value = t.whole.toLongLong();
    QString words;
    if (value == 2 && t.fraction.isEmpty() && !ordinal && (isMeasure(spokenUnit) || (unit.isEmpty() && isMeasure(after))
                                                           || t.money))
        words = u"两"_s;
    else
        words = cardinal(value, !ordinal && t.fraction.isEmpty());
    if (!t.fraction.isEmpty())
        words += u"点"_s + digitByDigit(t.fraction, u'零', u'一');
    if (percent)
        words = u"百分之"_s + words;
    if (t.negative)
        words = (degrees ? u"零下"_s : u"负"_s) + words;
    return words + spokenUnit + (t.money ? u"元"_s : QString());
}

bool isRangeMark(QStringView between)
{
    return between == u"-" || between == u"~" || between == u"～" || between == u"—" || between == u"–"
           || between == u"至" || between == u"到";
}

} // namespace

QString number(qint64 n)
{
    return cardinal(n, false);
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
    Reading r;
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
    const QList<Token> list = tokens(asciiDigits(text));
    const auto between = [&](qsizetype i) { // the text token between i and i + 2
        return QStringView(text).mid(list[i + 1].start, list[i + 1].end - list[i + 1].start);
    };
    // Is token i one side of a range "A-B" of the same kind?
    const auto rangeWith = [&](qsizetype i, qsizetype other) {
        const qsizetype mid = qMin(i, other) + 1;
        return other >= 0 && other < list.size() && list[other].kind == list[i].kind
               && list[mid].kind == Token::Text && isRangeMark(between(mid - 1))
               && (list[i].kind == Token::Number || list[i].kind == Token::Time);
    };
    for (qsizetype i = 0; i < list.size(); ++i) {
        const Token &t = list[i];
        const qsizetype length = t.end - t.start;
        const QStringView before = QStringView(text).left(t.start);
        const QStringView after = QStringView(text).mid(t.end);
        switch (t.kind) {
        case Token::Text:
            if (i > 0 && i + 1 < list.size() && rangeWith(i - 1, i + 1) && !text[t.start].isLetter())
                say(u"到"_s, t.start, length); // "至" and "到" are read as they are
            else if (i > 0 && i + 1 < list.size() && list[i - 1].kind == Token::Number
                     && list[i + 1].kind == Token::Number && (between(i - 1) == u":" || between(i - 1) == u"："))
                say(u"比"_s, t.start, length); // a score, 3:2
            else
                copy(t.start, t.end);
            break;
        case Token::Literal:
            copy(t.start, t.end);
            break;
        case Token::Date:
            say(yearDigits(t.year) + u"年"_s + number(t.a) + u"月"_s + number(t.b) + u"日"_s, t.start, length);
            break;
        case Token::Time:
            say(timeWords(t, rangeWith(i, i + 2) || rangeWith(i, i - 2)), t.start, length);
            break;
        case Token::Phone: {
            QString words;
            for (const QChar c : text.mid(t.start, length))
                words += c.isDigit() ? digitByDigit(QStringView(&c, 1), u'零', u'幺') : u"，"_s;
            say(words, t.start, length);
            break;
        }
        case Token::Number: {
            const bool leftOfRange = rangeWith(i, i + 2);
            const Token &right = leftOfRange ? list[i + 2] : t;
            const QStringView rightAfter = QStringView(text).mid(right.end);
            const bool year = t.whole.size() == 4 && !t.negative && !t.money && t.fraction.isEmpty()
                              && right.unit.isEmpty() && rightAfter.startsWith(u'年')
                              && right.whole.size() == 4;
            // In "3-5%" both sides are percentages; other units follow the right side only.
            QString unit = t.unit;
            if (leftOfRange && unit.isEmpty() && (right.unit == u"%" || right.unit == u"％"))
                unit = right.unit;
            say(numberWords(t, before, leftOfRange ? rightAfter : after, unit, year), t.start, length);
            break;
        }
        }
    }
    return r;
}

Reading forSynth(const QString &voiceText, const QString &voiceId)
{
    const bool mandarin = voiceId.startsWith(u"cmn"_s, Qt::CaseInsensitive);
    const bool cantonese = voiceId.startsWith(u"yue"_s, Qt::CaseInsensitive);
    Reading r;
    bool afterSyllable = false;
    // A syllable is set apart from the words beside it by one space.
    const auto append = [&](QStringView piece, int from, bool syllable) {
        if (!r.text.isEmpty() && !piece.isEmpty() && (syllable || afterSyllable) && r.text.back().isLetterOrNumber()
            && piece.front().isLetterOrNumber()) {
            r.text += u' ';
            r.source.append(r.source.back());
        }
        for (const QChar c : piece) {
            r.text += c;
            r.source.append(from);
        }
        afterSyllable = syllable;
    };
    const auto plain = [&](qsizetype from, qsizetype to) {
        const QStringView part = QStringView(voiceText).mid(from, to - from);
        if (mandarin) {
            for (const pinyin::Word &w : pinyin::words(part)) {
                if (w.syllables.isEmpty()) {
                    for (qsizetype k = 0; k < w.length; ++k) {
                        const QChar c = part[w.position + k];
                        if (c == u' ' && (r.text.isEmpty() || r.text.back() == u' '))
                            continue;
                        append(QStringView(&c, 1), int(from + w.position + k), false);
                    }
                    continue;
                }
                for (qsizetype k = 0; k < w.syllables.size(); ++k)
                    append(w.syllables[k], int(from + w.position + k), true);
            }
            return;
        }
        static const QString simplified = u"万亿两点负幺"_s, traditional = u"萬億兩點負一"_s;
        for (qsizetype k = from; k < to; ++k) {
            QChar c = voiceText[k];
            if (cantonese && simplified.contains(c))
                c = traditional[simplified.indexOf(c)];
            r.text += c;
            r.source.append(int(k));
        }
    };
    qsizetype at = 0;
    while (at < voiceText.size()) {
        const qsizetype open = voiceText.indexOf(QStringView(kLiteralOpen), at);
        const qsizetype close = open < 0 ? -1 : voiceText.indexOf(QStringView(kLiteralClose), open + 2);
        if (close < 0) {
            plain(at, voiceText.size());
            break;
        }
        plain(at, open);
        for (qsizetype k = open + 2; k < close; ++k) {
            if (mandarin && k == open + 2)
                append(QStringView(voiceText).mid(k, 1), int(k), false);
            else {
                r.text += voiceText[k];
                r.source.append(int(k));
            }
        }
        at = close + 2;
    }
    return r;
}

Reading forEngine(const QString &shown, const QString &voiceId)
{
    const Reading words = forVoice(shown);
    Reading engine = forSynth(words.text, voiceId);
    for (int &s : engine.source)
        s = words.source.value(s, int(shown.size()));
    return engine;
}

} // namespace tav::zhreading

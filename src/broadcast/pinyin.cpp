#include "broadcast/pinyin.h"

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

// Resources of a static library are registered by name, outside any namespace.
static void registerPinyinResource()
{
    Q_INIT_RESOURCE(pinyin);
}

namespace tav::pinyin {

bool isHan(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x4E00 && u <= 0x9FFF) || (u >= 0x3400 && u <= 0x4DBF) || (u >= 0xF900 && u <= 0xFAFF)
           || u == 0x3007;
}

const Dictionary &Dictionary::instance()
{
    static const Dictionary dictionary = [] {
        registerPinyinResource();
        Dictionary d;
        QFile file(u":/tav/pinyin.txt"_s);
        if (!file.open(QIODevice::ReadOnly)) {
            d.m_error = u"无法读取拼音词典：%1"_s.arg(file.errorString());
            return d;
        }
        d.m_text = QString::fromUtf8(file.readAll());
        d.parse();
        if (d.m_entries.empty())
            d.m_error = u"拼音词典是空的"_s;
        return d;
    }();
    return dictionary;
}

Dictionary Dictionary::fromText(const QString &text)
{
    Dictionary d;
    d.m_text = text;
    d.parse();
    return d;
}

void Dictionary::parse()
{
    // "word reading" a line; "#" starts a comment line.
    m_entries.clear();
    m_fromFirst.clear();
    m_toLast.clear();
    const QStringView all(m_text);
    qsizetype at = 0;
    while (at < all.size()) {
        qsizetype end = all.indexOf(u'\n', at);
        if (end < 0)
            end = all.size();
        const QStringView line = all.mid(at, end - at);
        const qsizetype space = line.indexOf(u' ');
        if (!line.startsWith(u'#') && space > 0 && space < 0xFFFF && line.size() - space - 1 < 0xFFFF) {
            qsizetype readingLength = line.size() - space - 1;
            if (line.endsWith(u'\r'))
                --readingLength;
            m_entries.push_back({quint32(at), quint32(at + space + 1), quint16(space), quint16(readingLength)});
            m_longest = std::max(m_longest, int(space));
            int &fromFirst = m_fromFirst[line.front().unicode()];
            fromFirst = std::max(fromFirst, int(space));
            int &toLast = m_toLast[line[space - 1].unicode()];
            toLast = std::max(toLast, int(space));
        }
        at = end + 1;
    }
    std::sort(m_entries.begin(), m_entries.end(),
              [this](const Entry &a, const Entry &b) { return wordOf(a) < wordOf(b); });
}

QStringView Dictionary::reading(QStringView word) const
{
    const auto it = std::lower_bound(m_entries.begin(), m_entries.end(), word,
                                     [this](const Entry &e, QStringView w) { return wordOf(e) < w; });
    if (it == m_entries.end() || wordOf(*it) != word)
        return {};
    return QStringView(m_text).mid(it->reading, it->readingLength);
}

qsizetype Dictionary::bytes() const
{
    return m_text.capacity() * qsizetype(sizeof(QChar)) + qsizetype(m_entries.capacity() * sizeof(Entry))
           + (m_fromFirst.size() + m_toLast.size()) * 32;
}

namespace {

int toneOf(const QString &syllable)
{
    return syllable.isEmpty() ? 0 : syllable.back().digitValue();
}

bool isNumeral(QChar c)
{
    return u"零〇一二三四五六七八九十百千万亿两幺第"_s.contains(c);
}

// 一 and 不 as they are spoken before the next syllable of the same phrase.
void sandhi(QList<Word> &words, QStringView text)
{
    // Every syllable of the phrase in order, with its character's position.
    struct Syllable
    {
        QString *reading;
        qsizetype position;
    };
    QList<Syllable> run;
    const auto flush = [&] {
        for (qsizetype i = 0; i + 1 < run.size(); ++i) {
            QString &s = *run[i].reading;
            const qsizetype at = run[i].position;
            const int next = toneOf(*run[i + 1].reading);
            if (s == u"bu4" && next == 4) {
                s = u"bu2"_s;
            } else if (s == u"yi1") {
                const QChar before = at > 0 ? text[at - 1] : QChar();
                const QStringView after = text.mid(at + 1);
                // Counted or ordinal: 第一, 十一, 一二三, 一月, 一号, 一楼, 一年级 …
                if (isNumeral(before) || (after.size() && (isNumeral(after[0]) && after[0] != u'百' && after[0] != u'千'
                                                           && after[0] != u'万' && after[0] != u'亿'))
                    || (after.size() && u"月号日楼层班级等路期线中"_s.contains(after[0])) || after.startsWith(u"年级"))
                    continue;
                s = next == 4 || next == 5 ? u"yi2"_s : u"yi4"_s;
            }
        }
        run.clear();
    };
    qsizetype end = 0;
    for (Word &w : words) {
        if (w.syllables.isEmpty() || w.position != end)
            flush();
        for (qsizetype i = 0; i < w.syllables.size(); ++i)
            run.append({&w.syllables[i], w.position + i});
        if (w.syllables.isEmpty())
            flush();
        end = w.position + w.length;
    }
    flush();
}

} // namespace

namespace {

// The word of `length` characters at `at`, when the dictionary has it with
// one syllable for each.
bool known(QStringView text, qsizetype at, qsizetype length, const Dictionary &dictionary, Word *word)
{
    const QStringView reading = dictionary.reading(text.mid(at, length));
    if (reading.isEmpty())
        return false;
    QStringList syllables;
    for (const QStringView s : reading.split(u' ', Qt::SkipEmptyParts))
        syllables.append(s.toString());
    if (syllables.size() != length)
        return false;
    *word = {at, length, syllables};
    return true;
}

Word single(QStringView text, qsizetype at, const Dictionary &dictionary)
{
    Word w;
    if (!known(text, at, 1, dictionary, &w)) // a character it does not know: the voice reads it
        w = {at, 1, text[at] == u'〇' ? QStringList{u"ling2"_s} : QStringList{}};
    return w;
}

// The Chinese characters [from, to) cut into the longest known words, from
// the left or from the right.
QList<Word> cut(QStringView text, qsizetype from, qsizetype to, const Dictionary &dictionary, bool fromRight)
{
    QList<Word> out;
    if (!fromRight) {
        for (qsizetype at = from; at < to;) {
            Word w = single(text, at, dictionary);
            for (qsizetype length = qMin<qsizetype>(dictionary.longestFrom(text[at]), to - at); length >= 2; --length)
                if (known(text, at, length, dictionary, &w))
                    break;
            at += w.length;
            out.append(w);
        }
        return out;
    }
    for (qsizetype end = to; end > from;) {
        Word w = single(text, end - 1, dictionary);
        for (qsizetype length = qMin<qsizetype>(dictionary.longestTo(text[end - 1]), end - from); length >= 2; --length)
            if (known(text, end - length, length, dictionary, &w))
                break;
        end -= w.length;
        out.prepend(w);
    }
    return out;
}

} // namespace

QList<Word> words(QStringView text, const Dictionary &dictionary)
{
    QList<Word> out;
    qsizetype at = 0;
    while (at < text.size()) {
        qsizetype end = at + 1;
        while (end < text.size() && isHan(text[end]) == isHan(text[at]))
            ++end;
        if (!isHan(text[at])) {
            out.append({at, end - at, {}});
            at = end;
            continue;
        }
        // Longest words from the left, unless those from the right make fewer
        // words (大|学生会 rather than 大学|生|会).
        const QList<Word> left = cut(text, at, end, dictionary, false);
        const QList<Word> right = cut(text, at, end, dictionary, true);
        out.append(right.size() < left.size() ? right : left);
        at = end;
    }
    for (Word &w : out) {
        // 为 alone is "is" (时间为, 温度为); before a person or 了 it is "for".
        if (w.length == 1 && text[w.position] == u'为' && w.position + 1 < text.size()
            && u"您你我他她它大人了什何此"_s.contains(text[w.position + 1]))
            w.syllables = {u"wei4"_s};
    }
    sandhi(out, text);
    return out;
}

} // namespace tav::pinyin

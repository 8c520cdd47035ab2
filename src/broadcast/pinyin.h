#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringView>

#include <vector>

namespace tav::pinyin {

// The readings of Chinese words in pinyin with tone numbers ("yin2 hang2",
// 5 for the neutral tone, "v" for ü): one reading for every character and
// the words whose reading is not that of their characters one by one. Read
// from the program's resources at its first use (a few tens of
// milliseconds, done by whichever thread asks first; the synthesis worker
// in practice), kept for the life of the program.
class Dictionary
{
public:
    static const Dictionary &instance();

    // The reading of a word, or an empty view when it is not known.
    QStringView reading(QStringView word) const;
    // The longest word known, in QString units; of those that begin or end
    // with a character.
    int longest() const { return m_longest; }
    int longestFrom(QChar first) const { return m_fromFirst.value(first.unicode()); }
    int longestTo(QChar last) const { return m_toLast.value(last.unicode()); }
    qsizetype size() const { return qsizetype(m_entries.size()); }
    // The memory it holds.
    qsizetype bytes() const;
    // Why it could not be read (empty when it was).
    const QString &error() const { return m_error; }

    // For tests: a dictionary of "word reading" lines.
    static Dictionary fromText(const QString &text);

private:
    struct Entry
    {
        quint32 word;
        quint32 reading;
        quint16 wordLength;
        quint16 readingLength;
    };
    void parse();
    QStringView wordOf(const Entry &e) const { return QStringView(m_text).mid(e.word, e.wordLength); }

    QString m_text;
    std::vector<Entry> m_entries; // sorted by word
    int m_longest = 1;
    QHash<char16_t, int> m_fromFirst, m_toLast;
    QString m_error;
};

// A word of a text and its syllables.
struct Word
{
    qsizetype position = 0; // in the text
    qsizetype length = 0;
    QStringList syllables;  // one for each character; empty: not Chinese, or no reading known
};

// The Chinese of `text` cut into words, longest known word first, each with
// its reading; "一" and "不" take the tone they are spoken with before the
// next syllable (一样 yi2 yang4, 一起 yi4 qi3, 不是 bu2 shi4; 第一, 十一,
// 一月 and a last 一 keep yi1). Other characters come as one Word each run.
QList<Word> words(QStringView text, const Dictionary &dictionary = Dictionary::instance());

// Is this a Chinese character the dictionary may know?
bool isHan(QChar c);

} // namespace tav::pinyin

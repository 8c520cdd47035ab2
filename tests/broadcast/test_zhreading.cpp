#include "broadcast/pinyin.h"
#include "broadcast/readingsynth.h"
#include "broadcast/zhreading.h"
#include "fakes/fakes.h"
#include "platform/speech.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::test::at;
namespace zr = tav::zhreading;
namespace py = tav::pinyin;

namespace {

const QString kMandarin = u"cmn-latn-pinyin+f2"_s;

// The lines of a file beside the announcements, without comments and blanks.
QStringList dataLines(const QString &name)
{
    QFile file(QFileInfo(QStringLiteral(TAV_ANNOUNCEMENTS)).dir().filePath(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
    QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    lines.removeIf([](const QString &l) { return l.startsWith(u'#'); });
    return lines;
}

// The characters of `reading` that stand for text[from, from + length).
QString spokenFor(const zr::Reading &reading, qsizetype from, qsizetype length)
{
    QString out;
    for (qsizetype i = 0; i < reading.text.size(); ++i)
        if (reading.source[i] >= from && reading.source[i] < from + length)
            out += reading.text[i];
    return out.simplified();
}

} // namespace

TEST(Placeholders, TwelveHourTimeWeekAndDate)
{
    const std::pair<const char *, QString> times[] = {
        {"2026-11-22 12:05:00", u"上午12:05"_s}, // noon is morning
        {"2026-11-22 00:07:00", u"上午0:07"_s},  {"2026-11-22 09:05:59", u"上午9:05"_s},
        {"2026-11-22 13:00:00", u"下午1:00"_s},  {"2026-11-22 18:59:00", u"下午6:59"_s},
        {"2026-11-22 19:00:00", u"晚上7:00"_s},  {"2026-11-22 23:59:00", u"晚上11:59"_s},
    };
    for (const auto &[when, text] : times)
        EXPECT_EQ(zr::expandPlaceholders(u"%Time"_s, at(when)), text) << when;
    // Every occurrence; the lower-case time is not a placeholder; week and
    // date in both spellings.
    EXPECT_EQ(zr::expandPlaceholders(u"%Time|%time|%Week|%week|%Date|%date|%Time"_s, at("2026-11-22 08:30:00")),
              u"上午8:30|%time|星期日|星期日|2026/11/22|2026/11/22|上午8:30");
    EXPECT_EQ(zr::expandPlaceholders(u"%TIME %DATE"_s, at("2026-11-22 08:30:00")), u"%TIME %DATE");
}

// tests/broadcast/data/readings.txt: what each voice is given for a text.
TEST(VoiceReading, NumbersTimesAndWordsAsEachVoiceGetsThem)
{
    QString voice;
    int cases = 0;
    for (const QString &line : dataLines(u"readings.txt"_s)) {
        if (line.startsWith(u'[') && !line.contains(u'\t')) {
            voice = line.mid(1, line.size() - 2);
            continue;
        }
        const QString text = line.section(u'\t', 0, 0);
        const zr::Reading r = voice == u"all voices" ? zr::forVoice(text) : zr::forEngine(text, voice);
        EXPECT_EQ(r.text, line.section(u'\t', 1)) << voice.toStdString() << ": " << text.toStdString();
        ++cases;
    }
    EXPECT_GE(cases, 30);

    const std::pair<qint64, QString> numbers[] = {
        {0, u"零"_s},           {10, u"十"_s},           {110, u"一百一十"_s}, {10010, u"一万零一十"_s},
        {120000, u"十二万"_s}, {300000000, u"三亿"_s}, {-7, u"负七"_s},
    };
    for (const auto &[n, words] : numbers)
        EXPECT_EQ(zr::number(n), words) << n;
}

// What the station speaks through: the engine gets pinyin, the marks come
// back on the characters of the text as given.
TEST(VoiceReading, TheEngineGetsTheReadingAndItsMarksPointIntoTheText)
{
    tav::test::FakeSynth engine;
    tav::ReadingSynth synth(engine);
    tav::SpeechAudio audio;
    QString error;
    ASSERT_TRUE(synth.synthesize(u"请到银行。"_s, u"cmn-latn-pinyin"_s, 0, &audio, &error));
    EXPECT_EQ(engine.texts().last(), u"qing3 dao4 yin2 hang2。");
    QList<int> words;
    for (const tav::SpeechMark &m : std::as_const(audio.marks))
        if (m.kind == tav::SpeechMark::Kind::Word && !words.contains(m.textPos)) {
            words.append(m.textPos);
            EXPECT_EQ(m.length, 1);
        }
    EXPECT_EQ(words, (QList<int>{0, 1, 2, 3, 4}));
    ASSERT_TRUE(synth.synthesize(u"请到[[银行]]"_s, u"en"_s, 0, &audio, &error));
    EXPECT_EQ(audio.marks.last().textPos, 5); // 行, after the mark
    engine.refusal = u"不行"_s;
    EXPECT_FALSE(synth.synthesize(u"请到"_s, u"cmn-latn-pinyin"_s, 0, &audio, &error));
    EXPECT_EQ(error, u"不行");
}

TEST(Pinyin, LongestKnownWordsAndUnknownCharactersAsTheyAre)
{
    const py::Dictionary d = py::Dictionary::fromText(
        u"# comment\n长 chang2\n大 da4\n长大 zhang3 da4\n大学 da4 xue2\n学 xue2\n生 sheng1\n学生 xue2 sheng5\n"
        u"长大学生 zhang3 da4 xue2 sheng5\n错 cuo4 wu4\n研究 yan2 jiu1\n研究生 yan2 jiu1 sheng1\n"
        u"生命 sheng1 ming4\n命 ming4\n起源 qi3 yuan2\r\n学生会 xue2 sheng1 hui4\n会 hui4"_s);
    const auto read = [&](const QString &text) {
        QStringList out;
        for (const py::Word &w : py::words(text, d))
            out.append(w.syllables.isEmpty() ? u"["_s + text.mid(w.position, w.length) + u"]"_s
                                             : w.syllables.join(u' '));
        return out.join(u'|');
    };
    const std::pair<QString, QString> cases[] = {
        {u"长大学生"_s, u"zhang3 da4 xue2 sheng5"_s},             // the longest word
        {u"研究生命起源"_s, u"yan2 jiu1 sheng1|ming4|qi3 yuan2"_s}, // from the left
        {u"大学生会"_s, u"da4|xue2 sheng1 hui4"_s},                // from the right: fewer words
        {u"长, 错X"_s, u"chang2|[, ]|[错]|[X]"_s},                 // a reading of the wrong length is not used
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(read(text), expected) << text.toStdString();
}

// Real announcements (tests/broadcast/data/announcements.txt): the share of
// words of several readings read right, and every number; each found
// through where its reading points back into the text.
TEST(Pinyin, AnnouncementsAreReadAsListenersExpect)
{
    int words = 0, wordsRight = 0, sentences = 0;
    QString sentence;
    zr::Reading spoken, engine;
    qsizetype from = 0;
    QStringList wrong;
    for (const QString &line : dataLines(u"announcements.txt"_s)) {
        if (line.startsWith(u"> "_s)) {
            sentence = line.mid(2);
            spoken = zr::forVoice(sentence);
            engine = zr::forEngine(sentence, kMandarin);
            from = 0;
            ++sentences;
            continue;
        }
        const QString written = line.section(u'\t', 0, 0), expected = line.section(u'\t', 1);
        const qsizetype at = sentence.indexOf(written, from);
        ASSERT_GE(at, 0) << written.toStdString() << " not in " << sentence.toStdString();
        from = at + written.size();
        if (expected.startsWith(u'=')) {
            EXPECT_EQ(spokenFor(spoken, at, written.size()), expected.mid(1)) << sentence.toStdString();
            continue;
        }
        const QString got = spokenFor(engine, at, written.size());
        ++words;
        wordsRight += got == expected;
        if (got != expected)
            wrong.append(u"%1: %2 (expected %3)"_s.arg(written, got, expected));
    }
    EXPECT_GE(sentences, 50);
    EXPECT_GE(100.0 * wordsRight / qMax(words, 1), 98.0) << wordsRight << "/" << words << " words right; wrong: "
                                                        << wrong.join(u"; "_s).toStdString();
}

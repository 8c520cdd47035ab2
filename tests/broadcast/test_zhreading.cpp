#include "broadcast/pinyin.h"
#include "broadcast/readingsynth.h"
#include "broadcast/zhreading.h"
#include "fakes/fakes.h"
#include "platform/speech.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::test::at;
namespace zr = tav::zhreading;
namespace py = tav::pinyin;

namespace {

const QString kMandarin = u"cmn-latn-pinyin+f2"_s;

struct Case
{
    const char16_t *text;
    const char16_t *expected;
};

QString str(const char16_t *text)
{
    return QString::fromUtf16(text);
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
    const Case cases[] = {
        {u"2026-11-22 12:05:00", u"上午12:05"}, // noon is morning
        {u"2026-11-22 00:07:00", u"上午0:07"},  {u"2026-11-22 09:05:59", u"上午9:05"},
        {u"2026-11-22 13:00:00", u"下午1:00"},  {u"2026-11-22 18:59:00", u"下午6:59"},
        {u"2026-11-22 19:00:00", u"晚上7:00"},  {u"2026-11-22 23:59:00", u"晚上11:59"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(zr::expandPlaceholders(u"%Time"_s, at(str(c.text).toLatin1().constData())), str(c.expected));
    // Every occurrence; the lower-case time is not a placeholder; week and
    // date in both spellings.
    EXPECT_EQ(zr::expandPlaceholders(u"%Time|%time|%Week|%week|%Date|%date|%Time"_s, at("2026-11-22 08:30:00")),
              u"上午8:30|%time|星期日|星期日|2026/11/22|2026/11/22|上午8:30");
    EXPECT_EQ(zr::expandPlaceholders(u"%TIME %DATE"_s, at("2026-11-22 08:30:00")), u"%TIME %DATE");
}

TEST(VoiceReading, TimesDatesAndNumbersTheChineseWay)
{
    const Case cases[] = {
        // times and dates
        {u"上午9:05", u"上午九点零五分"},
        {u"10:30开会", u"十点三十分开会"},
        {u"下午2:00", u"下午两点整"},
        {u"8:30:15", u"八点三十分十五秒"},
        {u"0:07", u"零点零七分"},
        {u"今天是2026/11/22", u"今天是二〇二六年十一月二十二日"},
        {u"2026-1-5", u"二〇二六年一月五日"},
        {u"2026年11月22日", u"二〇二六年十一月二十二日"},
        {u"2026年", u"二〇二六年"},
        {u"2025-2026年度", u"二〇二五到二〇二六年度"},
        {u"3年", u"三年"},
        // cardinals, 两, decimals, percentages, ordinals
        {u"12000人", u"一万二千人"},
        {u"1,000元", u"一千元"},
        {u"100010000人", u"一亿零一万人"},
        {u"2个，2000个，22000，200，22人", u"两个，两千个，两万二千，二百，二十二人"},
        {u"第2名，2月2号", u"第二名，二月二号"},
        {u"3.5元，0.05", u"三点五元，零点零五"},
        {u"35%，3.5％，３５％", u"百分之三十五，百分之三点五，百分之三十五"},
        {u"第3节", u"第三节"},
        // negatives, ranges, scores
        {u"-3℃，-3，−2.5", u"零下三度，负三，负二点五"},
        {u"20℃，38.5°C", u"二十度，三十八点五度"},
        {u"8:00-9:00", u"八点到九点"},
        {u"3-5人，2~3次，20～25℃，3-5%", u"三到五人，两到三次，二十到二十五度，百分之三到百分之五"},
        {u"2至3个", u"两至三个"},
        {u"比分3:2", u"比分三比二"},
        // telephone numbers, money, units
        {u"热线12345", u"热线幺二三四五"},
        {u"电话：0755-12345678", u"电话：零七五五，幺二三四五六七八"},
        {u"请拨打110", u"请拨打幺幺零"},
        {u"13800138000", u"幺三八零零幺三八零零零"},
        {u"400-800-1234", u"四零零，八零零，幺二三四"},
        {u"12000000人", u"一千二百万人"},
        {u"¥20，￥3.50", u"二十元，三点五零元"},
        {u"5km，2kg，3m，50cm，5mm，80m²，500g，2L，250ml，120km/h，2h，5min",
         u"五公里，两公斤，三米，五十厘米，五毫米，八十平方米，五百克，两升，二百五十毫升，一百二十公里每小时，两小时，五分钟"},
        // left as written: digits joined to letters, literal text, what is no number
        {u"G1234次，A320", u"G1234次，A320"},
        {u"请说[[8:00-9:00]]，[[未闭合", u"请说[[8:00-9:00]]，[[未闭合"},
        {u"25:61，1:2:3", u"二十五比六十一，一比二比三"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(zr::forVoice(str(c.text)).text, str(c.expected)) << str(c.text).toStdString();

    const std::pair<qint64, const char16_t *> numbers[] = {
        {0, u"零"},         {10, u"十"},         {15, u"十五"},         {105, u"一百零五"},       {110, u"一百一十"},
        {1200, u"一千二百"}, {2026, u"二千零二十六"}, {10010, u"一万零一十"}, {120000, u"十二万"},
        {300000000, u"三亿"}, {-7, u"负七"},
    };
    for (const auto &[n, words] : numbers)
        EXPECT_EQ(zr::number(n), str(words)) << n;
}

// The spoken words point back into the text shown, so the word being
// spoken can be highlighted where the operator wrote it.
TEST(VoiceReading, EachSpokenCharacterKnowsWhereItCameFrom)
{
    const QString shown = u"现在是上午9:05，请到银行集合"_s;
    for (const zr::Reading &r : {zr::forVoice(shown), zr::forEngine(shown, kMandarin)}) {
        ASSERT_EQ(r.source.size(), r.text.size());
        EXPECT_EQ(r.source.first(), 0);
        for (qsizetype i = 1; i < r.source.size(); ++i)
            EXPECT_LE(r.source[i - 1], r.source[i]);
    }
    EXPECT_EQ(spokenFor(zr::forVoice(shown), shown.indexOf(u'9'), 4), u"九点零五分");
    EXPECT_EQ(spokenFor(zr::forEngine(shown, kMandarin), shown.indexOf(u"银行"), 2), u"yin2 hang2");
}

TEST(VoiceReading, EachVoiceGetsTheWordsItReads)
{
    const struct
    {
        const char16_t *text;
        const char16_t *voice;
        const char16_t *expected;
    } cases[] = {
        // Mandarin: pinyin, single spaces, punctuation kept, Latin words apart.
        {u"银行，您好！", u"cmn-latn-pinyin", u"yin2 hang2，nin2 hao3！"},
        {u"请到A区 2号窗口", u"cmn-latn-pinyin+f4", u"qing3 dao4 A qu1 er4 hao4 chuang1 kou3"},
        {u"重庆的行长长大了", u"cmn-latn-pinyin", u"chong2 qing4 de5 hang2 zhang3 zhang3 da4 le5"},
        // 一 and 不 as spoken; counted and ordinal 一 keep their tone.
        {u"一样一起一定不是不好", u"cmn-latn-pinyin", u"yi2 yang4 yi4 qi3 yi2 ding4 bu2 shi4 bu4 hao3"},
        {u"第一，十一，一月，统一", u"cmn-latn-pinyin", u"di4 yi1，shi2 yi1，yi1 yue4，tong3 yi1"},
        {u"8:00-9:00为2018年", u"cmn-latn-pinyin", u"ba1 dian3 dao4 jiu3 dian3 wei2 er4 ling2 yi1 ba1 nian2"},
        // Literal text goes as it is, without its marks; the rest in pinyin.
        {u"拨打[[12345]]银行", u"cmn-latn-pinyin", u"bo1 da3 12345 yin2 hang2"},
        // Cantonese: the number words in traditional characters, no 幺.
        {u"兩萬人，热线12345，2000元", u"yue+f2", u"兩萬人，热线一二三四五，兩千元"},
        {u"[[2点]]", u"en", u"2点"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(zr::forEngine(str(c.text), str(c.voice)).text, str(c.expected))
            << str(c.text).toStdString();
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
    EXPECT_EQ(engine.texts().last(), u"请到银行");
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
    EXPECT_EQ(d.size(), 16);
    EXPECT_EQ(d.longest(), 4);
    EXPECT_EQ(d.reading(u"长大"), u"zhang3 da4");
    EXPECT_EQ(d.reading(u"起源"), u"qi3 yuan2");
    EXPECT_TRUE(d.reading(u"长长").isEmpty());
    const auto read = [&](const QString &text) {
        QStringList out;
        for (const py::Word &w : py::words(text, d))
            out.append(w.syllables.isEmpty() ? u"["_s + text.mid(w.position, w.length) + u"]"_s
                                             : w.syllables.join(u' '));
        return out.join(u'|');
    };
    const Case cases[] = {
        {u"长大学生", u"zhang3 da4 xue2 sheng5"},             // the longest word
        {u"研究生", u"yan2 jiu1 sheng1"},
        {u"研究生命起源", u"yan2 jiu1 sheng1|ming4|qi3 yuan2"}, // from the left
        {u"大学生会", u"da4|xue2 sheng1 hui4"},                // from the right: fewer words
        {u"长, 错X", u"chang2|[, ]|[错]|[X]"},                 // a reading of the wrong length is not used
    };
    for (const Case &c : cases)
        EXPECT_EQ(read(str(c.text)), str(c.expected)) << str(c.text).toStdString();
}

// The shipped dictionary: read once, small, and every syllable in it is one
// the Mandarin voice reads as one syllable with a tone.
TEST(Pinyin, TheDictionaryIsReadAndTheVoiceKnowsEverySyllable)
{
    const py::Dictionary &d = py::Dictionary::instance();
    ASSERT_TRUE(d.error().isEmpty()) << d.error().toStdString();
    EXPECT_GT(d.size(), 50000);
    EXPECT_LT(d.bytes(), 8 << 20);
    QFile file(u":/tav/pinyin.txt"_s);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QSet<QString> syllables;
    static const QRegularExpression syllable(u"^[a-z]+[1-5]$"_s);
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts)) {
        if (line.startsWith(u'#'))
            continue;
        for (const QString &s : line.section(u' ', 1).split(u' ')) {
            EXPECT_TRUE(syllable.match(s).hasMatch()) << line.toStdString();
            syllables.insert(s);
        }
    }
    tav::EspeakSynth synth;
    ASSERT_TRUE(synth.isAvailable());
    static const QRegularExpression tone(u"[1-5ɜ]"_s);
    QStringList unread;
    for (const QString &s : std::as_const(syllables)) {
        const QString ipa = tav::EspeakSynth::phonemes(s, u"cmn-latn-pinyin"_s);
        if (ipa.count(tone) != 1 || ipa.contains(u"(en)"_s))
            unread.append(s + u" → "_s + ipa);
    }
    unread.sort();
    // Interjections written without a vowel are read as their consonant.
    unread.removeIf([](const QString &s) { return s.startsWith(u'm') && s[1].isDigit(); });
    unread.removeIf([](const QString &s) { return s.startsWith(u"hm"_s) || s.startsWith(u"ng"_s) || s.startsWith(u"hng"_s); });
    EXPECT_TRUE(unread.isEmpty()) << syllables.size() << " syllables; not read: " << unread.join(u", "_s).toStdString();
}

// Real announcements (tests/broadcast/data/announcements.txt): the share of
// words of several readings read right, and every number.
TEST(Pinyin, AnnouncementsAreReadAsListenersExpect)
{
    QFile file(QStringLiteral(TAV_ANNOUNCEMENTS));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
    int words = 0, wordsRight = 0, numbers = 0, numbersRight = 0, sentences = 0;
    QString sentence;
    zr::Reading spoken, engine;
    qsizetype from = 0;
    QStringList wrong;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
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
        const bool isNumber = expected.startsWith(u'=');
        const QString got = isNumber ? spokenFor(spoken, at, written.size()) : spokenFor(engine, at, written.size());
        const bool right = got == (isNumber ? expected.mid(1) : expected);
        (isNumber ? numbers : words) += 1;
        (isNumber ? numbersRight : wordsRight) += right ? 1 : 0;
        if (!right)
            wrong.append(u"%1: %2 (expected %3)"_s.arg(written, got, expected));
    }
    const double share = words ? 100.0 * wordsRight / words : 0;
    std::printf("%d sentences: words of several readings %d/%d (%.1f %%), numbers %d/%d\n", sentences, wordsRight,
                words, share, numbersRight, numbers);
    for (const QString &w : std::as_const(wrong))
        std::printf("  %s\n", w.toUtf8().constData());
    EXPECT_GE(sentences, 50);
    EXPECT_GE(share, 98.0);
    EXPECT_EQ(numbersRight, numbers);
}

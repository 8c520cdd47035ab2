#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

namespace tav::zhreading {

// The placeholders of a broadcast text, replaced right before it is spoken
// (case-sensitive, every occurrence):
// - "%Time" → "上午"/"下午"/"晚上" + hour (12-hour, no leading zero) + ":" +
//   two-digit minute: 19:00 and later "晚上" (hour − 12), 13:00 to 18:59
//   "下午" (hour − 12), else "上午" with the hour as it is (12:05 gives
//   "上午12:05", 00:07 gives "上午0:07"). There is no "%time".
// - "%Week", then "%week" → "星期一" … "星期日".
// - "%Date", then "%date" → "yyyy/M/d".
QString expandPlaceholders(const QString &text, const QDateTime &now);

// A text as the voice should read it, with where each of its characters
// came from in the shown text (for highlighting the spoken word).
struct Reading
{
    QString text;
    QList<int> source; // for each character of text, its index in the input
};

// The marks around text that is read as it is written: nothing in it is
// rewritten, and the marks themselves are not spoken.
inline constexpr char16_t kLiteralOpen[] = u"[[";
inline constexpr char16_t kLiteralClose[] = u"]]";

// Times, dates and numbers written out in Chinese words, the rest as it is
// (text between [[ and ]] too, the marks kept for forSynth()):
// - times "H:MM" and "H:MM:SS" → "九点零五分", "十点三十分", "八点整",
//   "八点三十分十五秒" (2 o'clock is "两点"); dates "yyyy/M/d", "yyyy-M-d"
//   and "yyyy年M月d日" → "二〇二六年十一月二十二日"; a year before 年 digit
//   by digit ("2026年" → "二〇二六年");
// - cardinals with 万 and 亿 ("12000" → "一万二千", "1,000" → "一千"), 两 for
//   a lone 2 before a measure word and a leading 2 before 千/万/亿 ("两个",
//   "两千"); decimals "三点五"; "35%" → "百分之三十五"; "第3节" → "第三节";
//   "-3℃" → "零下三度", "-3" → "负三"; ranges with "-", "~" or "至" →
//   "八点到九点", "三到五人"; "¥20" → "二十元"; units after a number
//   (km 公里, kg 公斤, m 米, cm 厘米, mm 毫米, m² 平方米, g 克, L 升, ml 毫升,
//   km/h 公里每小时, h 小时, min 分钟, ℃ 度);
// - telephone numbers digit by digit with 幺 for 1: numbers after 电话,
//   热线, 拨打, 致电, 手机, 号码, 专线, 传真 and the like, numbers of seven
//   digits or more, and digit groups joined by "-" ("0755-12345678");
// - digits joined to Latin letters (G1234, A320) are left to the voice.
Reading forVoice(const QString &text);

// What the speech engine gets for the text forVoice() made, for a voice of
// the engine (source: indexes into that text):
// - Mandarin voices ("cmn…"): every Chinese word in pinyin with tone numbers
//   ("yin2 hang2"), syllables separated by single spaces, punctuation kept;
// - Cantonese voices ("yue…"): the number words in traditional characters,
//   一 for 幺;
// - text between [[ and ]] as it is, without the marks.
Reading forSynth(const QString &voiceText, const QString &voiceId);

// Both steps: what the engine gets for a shown text, pointing into it.
Reading forEngine(const QString &shown, const QString &voiceId);

// A whole number in Chinese numerals: 10 "十", 15 "十五", 105 "一百零五",
// 2000 "二千", 120000 "十二万", 300000000 "三亿"; negative ones with 负.
QString number(qint64 n);

} // namespace tav::zhreading

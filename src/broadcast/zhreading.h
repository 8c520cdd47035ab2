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

// The text as the voice should read it, with where each of its characters
// came from in the shown text (for highlighting the spoken word):
// - times "H:MM" and "H:MM:SS" → "九点零五分", "十点三十分", "八点整",
//   "八点三十分十五秒" (2 o'clock is "两点");
// - dates "yyyy/M/d", "yyyy-M-d" and "yyyy年M月d日" → "二〇二六年十一月二十二日"
//   (the year digit by digit);
// Anything else is left to the voice.
struct Reading
{
    QString text;
    QList<int> source; // for each character of text, its index in the input
};
Reading forVoice(const QString &text);

// 0 … 99999 in Chinese numerals: 10 "十", 15 "十五", 105 "一百零五", 2000 "二千".
QString number(int n);

} // namespace tav::zhreading

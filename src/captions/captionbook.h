#pragma once

#include "core/datadir.h"
#include "core/ini.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

namespace tav {

class Clock;
class MessageLog;

// One row of the caption list: "Scroll"+N in "【SCROLL】.ini".
struct Caption
{
    QString start;  // "HH:mm:00"
    QString end;    // "HH:mm:00"
    QString swicth; // "开" when the caption runs
    QString content;

    bool isOn() const;
    bool operator==(const Caption &) const = default;
};

// A caption that runs: its 1-based row number and its fields.
struct ActiveCaption
{
    int row = 0;
    QString content;
    QString start;
    QString end;
};

// How the captions run, kept in "【CONTROL】.ini".
struct CaptionSettings
{
    enum Manner { Loop = 0, OnceInOrder = 1, ByTime = 2 };

    static constexpr int kMinMove = 1, kMaxMove = 20;
    static constexpr int kMinJump = 1, kMaxJump = 1000;
    static constexpr int kMaxChangeMinutes = 60;

    int move = 2;          // 速度/MOVE, pixels per jump
    int jump = 20;         // 跳跃速度/JUMP, milliseconds
    // 高度位置/Y, top of the strip: by default low on the screen, clear of
    // the logo and clock at the top left (the strip keeps itself on screen).
    int y = 700;
    int manner = Loop;     // 字幕播放方式/Manner
    int changeMinutes = 1; // 字幕切换时间/titleChangeTime
    // 字体/Name … ForeColor; the colour as the stored number, red + green×256 + blue×65536.
    QString fontName;
    double fontSize = 28; // points; "10.5" stays 10.5
    bool bold = true;
    bool italic = false;
    bool underline = false;
    bool strikeOut = false;
    quint32 foreColor = 0x0000FF; // red

    bool operator==(const CaptionSettings &) const = default;
};

// The caption list and the caption settings: "【SCROLL】.ini" and the
// caption keys of "【CONTROL】.ini". Rows are kept sorted by start time.
class CaptionBook : public QObject
{
    Q_OBJECT
public:
    // 255 GBK bytes is the longest caption; 256 and more are refused.
    static constexpr int kMaxBytes = 255;
    static const QString kFileName; // "【SCROLL】.ini"
    static const QString kOn;       // "开"

    CaptionBook(const DataDir &dir, MessageLog &log, const Clock &clock, QObject *parent = nullptr);

    QString path() const { return m_dir.file(kFileName); }

    // Reads both files (getSCROLLini); every problem found goes to the message log.
    void load();
    const QList<Caption> &rows() const { return m_rows; }
    const CaptionSettings &settings() const { return m_settings; }

    // What is wrong with a caption text, in the editor's words; empty when it may be added.
    static QString checkText(const QString &text);
    static bool fits(const QString &text) { return gbkLength(text) <= kMaxBytes; }
    // The first row (0-based) holding exactly this text, or -1.
    int findSame(const QString &text) const;

    // Each edit keeps the list sorted and returns the row's new index; the
    // files are written by save().
    int add(const Caption &caption);
    int change(int row, const Caption &caption);
    void remove(int row);
    void setRows(QList<Caption> rows);

    // Rewrites "【SCROLL】.ini" whole, atomically, from the rows.
    bool save(QString *error = nullptr);
    bool saveSettings(const CaptionSettings &settings, QString *error = nullptr);

    // The captions that run, in list order.
    QList<ActiveCaption> active() const;
    // The same as the program-wide text array: number<分>text<分>start<分>end<分>开
    // per caption, each followed by "<分隔>", split on it (so the last element is empty).
    QStringList activeArray() const;

    // Stable: equal start times keep their order.
    static void sort(QList<Caption> &rows);

signals:
    void changed();
    void settingsChanged();

private:
    void report(const QString &text);
    int nthEqual(const Caption &caption, qsizetype n) const;
    CaptionSettings readSettings();

    DataDir m_dir;
    MessageLog &m_log;
    const Clock &m_clock;
    QList<Caption> m_rows;
    CaptionSettings m_settings;
};

} // namespace tav

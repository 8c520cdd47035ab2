#pragma once

#include "captions/captionbook.h"

#include <QDateTime>
#include <QObject>
#include <QString>

namespace tav {

class Clock;
class Settings;

// Which caption runs on the strip, and when. Three manners: a loop over the
// running captions, once through them, or each caption in its own minutes.
// Switching is counted in minutes and the timed check looks at the clock;
// both are driven by the station's second ticks (onSecond) and read the
// injectable clock. The strip's own motion (MOVE pixels every JUMP ms) is
// the strip's business: this says only whether it moves.
class CaptionScroller : public QObject
{
    Q_OBJECT
public:
    // The timed check acts in the first seconds of a minute only.
    static constexpr int kCheckSeconds = 10;
    static const QString kTooLong; // "字幕长度超出范围!"

    CaptionScroller(const Clock &clock, const Settings &settings, CaptionBook &book, QObject *parent = nullptr);

    // The editor's controls as they stand (unsaved); the book's saved
    // settings take over again whenever they are saved.
    void useSettings(const CaptionSettings &settings);
    const CaptionSettings &settings() const { return m_settings; }

    // Starts by the manner: the timed check when captions are switched on
    // and the manner is by time, else the first running caption at once.
    void playMode();
    void cmdStartNow_Click() { playMode(); }
    // Stops moving and switching and hides the strip; the timed check of
    // the timed manner goes on, so the next caption due by time still runs.
    void cmdSRstop_Click();
    // The editor's preview: this text runs on the strip until stopped.
    void preview(const QString &text);
    // The list or the settings were saved: what runs starts again with them.
    void restart();

    void onSecond();

    bool isRunning() const { return m_switching || m_checking || m_moving; }
    bool isMoving() const { return m_moving; }       // the strip's text moves
    bool isSwitching() const { return m_switching; } // minutes counted (manners 0 and 1)
    bool isChecking() const { return m_checking; }   // the timed check (manner 2)
    bool isVisible() const { return m_visible; }
    const QString &text() const { return m_text; }     // what the strip shows
    int row() const { return m_row; }                  // its row number, 0 for none
    const QString &status() const { return m_status; } // "预览第N条"
    const QString &timedEnd() const { return m_timedEnd; }

signals:
    // A caption starts on the strip: it replaces the text where the text
    // stands and moves on from there.
    void captionStarted(const QString &text);
    // The text stopped (once through: the last caption stays in view) or moves again.
    void movingChanged(bool moving);
    void visibleChanged(bool visible);
    void statusChanged(const QString &status);

private:
    void show(const ActiveCaption &caption, const QString &status);
    void setVisible(bool visible);
    void setMoving(bool moving);
    void nextCaption();
    void orderTick(const QDateTime &now);
    void timedCheck(const QDateTime &now);
    void hideAtEnd(const QDateTime &now);

    const Clock &m_clock;
    const Settings &m_stationSettings;
    CaptionBook &m_book;
    CaptionSettings m_settings;

    bool m_moving = false;
    bool m_switching = false;
    bool m_checking = false;
    bool m_visible = false;
    QString m_text;
    int m_row = 0;
    int m_index = -1; // in the running captions
    QString m_status;
    // Switching: minutes counted, and when the next minute is due.
    int m_counter = 0;
    QDateTime m_nextMinute;
    // The timed check: the last minute it acted in, the caption's end.
    QDateTime m_checkedMinute;
    QString m_timedEnd;
};

} // namespace tav

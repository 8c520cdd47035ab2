#include "captions/captionscroller.h"

#include "core/clock.h"
#include "core/settings.h"
#include "core/zhtext.h"

using namespace Qt::StringLiterals;

namespace tav {

const QString CaptionScroller::kTooLong = u"字幕长度超出范围!"_s;

namespace {

QDateTime minuteOf(const QDateTime &t)
{
    return QDateTime(t.date(), QTime(t.time().hour(), t.time().minute()));
}

} // namespace

CaptionScroller::CaptionScroller(const Clock &clock, const Settings &settings, CaptionBook &book, QObject *parent)
    : QObject(parent), m_clock(clock), m_stationSettings(settings), m_book(book), m_settings(book.settings())
{
    connect(&m_book, &CaptionBook::settingsChanged, this, [this] { m_settings = m_book.settings(); });
}

void CaptionScroller::useSettings(const CaptionSettings &settings)
{
    m_settings = settings;
}

void CaptionScroller::setMoving(bool moving)
{
    if (moving == m_moving)
        return;
    m_moving = moving;
    emit movingChanged(moving);
}

void CaptionScroller::setVisible(bool visible)
{
    if (visible == m_visible)
        return;
    m_visible = visible;
    emit visibleChanged(visible);
}

// ScrollToRight: the row's number to the editor, the text to the strip.
void CaptionScroller::show(const ActiveCaption &caption, const QString &status)
{
    m_row = caption.row;
    m_text = CaptionBook::fits(caption.content) ? caption.content : kTooLong;
    setMoving(true);
    m_status = status;
    emit statusChanged(m_status);
    emit captionStarted(m_text);
    setVisible(true);
}

void CaptionScroller::playMode()
{
    cmdSRstop_Click();
    m_checking = false;
    if (m_stationSettings.isOn(Switch::Captions) && m_settings.manner == CaptionSettings::ByTime) {
        m_checking = true;
        m_checkedMinute = QDateTime();
        return;
    }
    const QList<ActiveCaption> running = m_book.active();
    if (running.isEmpty())
        return; // nothing to show, nothing to switch
    m_switching = true;
    m_counter = 0;
    m_nextMinute = m_clock.now().addSecs(60);
    m_index = 0;
    show(running.first(), u"预览第%1条"_s.arg(running.first().row));
}

void CaptionScroller::cmdSRstop_Click()
{
    setMoving(false);
    m_switching = false;
    m_timedEnd.clear();
    m_index = -1;
    setVisible(false);
}

void CaptionScroller::preview(const QString &text)
{
    cmdSRstop_Click();
    show({0, text, {}, {}}, u"预览"_s);
}

void CaptionScroller::restart()
{
    if (isRunning())
        playMode();
}

void CaptionScroller::onSecond()
{
    const QDateTime now = m_clock.now();
    if (m_switching)
        orderTick(now);
    if (!m_timedEnd.isEmpty())
        hideAtEnd(now);
    if (m_checking)
        timedCheck(now);
}

// Once a minute: after titleChangeTime minutes the next caption.
void CaptionScroller::orderTick(const QDateTime &now)
{
    if (now.secsTo(m_nextMinute) > 60) // the clock was set back
        m_nextMinute = now.addSecs(60);
    if (now < m_nextMinute)
        return;
    m_nextMinute = m_nextMinute.addSecs(60);
    if (m_nextMinute <= now) // the clock was set forward: no replay of the missed minutes
        m_nextMinute = now.addSecs(60);
    if (++m_counter < qMax(1, m_settings.changeMinutes))
        return;
    m_counter = 0;
    nextCaption();
}

void CaptionScroller::nextCaption()
{
    const QList<ActiveCaption> running = m_book.active();
    int next = m_index + 1;
    if (next >= running.size()) {
        if (running.isEmpty()) {
            cmdSRstop_Click();
            return;
        }
        if (m_settings.manner != CaptionSettings::Loop) {
            // Once through: done; the last caption stays where it stands.
            m_switching = false;
            setMoving(false);
            return;
        }
        next = 0;
    }
    m_index = next;
    show(running[next], u"预览第%1条"_s.arg(running[next].row));
}

// In the first seconds of a minute, once: the captions that start in it.
// The last of them wins the strip.
void CaptionScroller::timedCheck(const QDateTime &now)
{
    if (now.time().second() >= kCheckSeconds)
        return;
    const QDateTime minute = minuteOf(now);
    if (minute == m_checkedMinute)
        return;
    m_checkedMinute = minute;
    if (!m_stationSettings.isOn(Switch::Captions) || m_settings.manner != CaptionSettings::ByTime)
        return;
    const int thisMinute = zh::secondsOfDay(now.time()) / 60;
    for (const ActiveCaption &c : m_book.active()) {
        const int start = zh::secondsOfDay(c.start);
        if (start < 0 || start / 60 != thisMinute)
            continue;
        m_timedEnd = c.end;
        show(c, QString::number(c.row));
    }
}

// The caption started by its time goes at its end time (within the minute after it).
void CaptionScroller::hideAtEnd(const QDateTime &now)
{
    const int end = zh::secondsOfDay(m_timedEnd);
    const int since = zh::secondsOfDay(now.time()) - end;
    if (end >= 0 && (since < 0 || since >= 60))
        return;
    m_timedEnd.clear();
    setMoving(false);
    m_row = 0;
    setVisible(false);
}

} // namespace tav

#include "captions/captionstrip.h"

#include "captions/captionbook.h"
#include "captions/captionscroller.h"
#include "core/clock.h"
#include "core/colorref.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "core/zhtext.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QWindow>

#include <chrono>
#include <cmath>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

constexpr int kPadding = 4; // above and below the text

} // namespace

QFont captionFont(const CaptionSettings &s, QString *problem)
{
    QFont font = QGuiApplication::font();
    if (!s.fontName.isEmpty()) {
        if (QFontDatabase::hasFamily(s.fontName))
            font.setFamily(s.fontName);
        else if (problem)
            *problem = u"字幕字体“%1”在本机不存在，改用默认字体%2"_s.arg(s.fontName, font.family());
    }
    font.setPointSizeF(s.fontSize);
    font.setBold(s.bold);
    font.setItalic(s.italic);
    font.setUnderline(s.underline);
    font.setStrikeOut(s.strikeOut);
    return font;
}

QColor captionColour(quint32 stored)
{
    const ColorRef colour{stored};
    return QColor(colour.red(), colour.green(), colour.blue());
}

quint32 storedColour(const QColor &colour)
{
    return ColorRef::of(colour.red(), colour.green(), colour.blue());
}

CaptionStrip::CaptionStrip(CaptionScroller &scroller, CaptionBook &book, const Settings &station, MessageLog &log,
                           const Clock &clock, QWidget *parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool
                          | Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint),
      m_scroller(scroller), m_station(station), m_log(log), m_clock(clock)
{
    setObjectName(u"CaptionStrip"_s);
    setWindowTitle(u"滚动字幕"_s);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    m_frames.setTimerType(Qt::PreciseTimer);
    m_frames.setSingleShot(true);
    connect(&m_frames, &QTimer::timeout, this, [this] {
        frame();
        scheduleFrame();
    });

    connect(&book, &CaptionBook::settingsChanged, this, &CaptionStrip::followScroller);
    connect(&scroller, &CaptionScroller::captionStarted, this, [this](const QString &text) {
        followScroller(); // the editor's settings as they stand, when it started the caption
        setCaption(text);
        setMoving(m_scroller.isMoving());
    });
    connect(&scroller, &CaptionScroller::movingChanged, this,
            [this](bool moving) { setMoving(moving && m_scroller.isVisible()); });
    connect(&scroller, &CaptionScroller::visibleChanged, this, [this](bool visible) {
        setMoving(visible && m_scroller.isMoving());
        if (visible) {
            placeOnScreen();
            show();
            raise();
        } else
            hide();
    });
    followScroller();
}

void CaptionStrip::followScroller()
{
    const CaptionSettings &s = m_scroller.settings();
    QString problem;
    const QFont font = captionFont(s, &problem);
    if (!problem.isEmpty() && problem != m_fontProblem)
        m_log.append(zh::stampedLine(m_clock.now(), problem));
    m_fontProblem = problem;
    setLook(font, captionColour(s.foreColor));
    setSpeed(s.move, s.jump);
    setTop(s.y);
}

void CaptionStrip::setLook(const QFont &font, const QColor &colour)
{
    if (font == m_font && colour == m_colour && !m_picture.isNull())
        return;
    m_font = font;
    m_colour = colour;
    render();
    placeOnScreen();
}

void CaptionStrip::setCaption(const QString &text)
{
    // The new text takes the place of the old one and moves on from there;
    // the first one enters from the right.
    const bool first = m_text.isEmpty();
    const double x = position();
    m_text = text;
    render();
    placeOnScreen();
    m_runBefore = first ? 0 : width() - x;
    m_since.restart();
    m_paintedX = INT_MIN;
    update();
}

void CaptionStrip::setSpeed(int move, int jump)
{
    if (move == m_move && jump == m_jump)
        return;
    // Carry on from where the text stands.
    m_runBefore = width() - position();
    m_since.restart();
    m_move = move;
    m_jump = qMax(1, jump);
}

void CaptionStrip::setTop(int y)
{
    m_top = y;
    placeOnScreen();
}

void CaptionStrip::setPacing(Pacing pacing)
{
    m_pacing = pacing;
    if (pacing == Pacing::UpdateRequests) {
        create();
        windowHandle()->installEventFilter(this);
    }
}

bool CaptionStrip::eventFilter(QObject *watched, QEvent *event)
{
    // The next update request as soon as this one is served.
    if (event->type() == QEvent::UpdateRequest && m_pacing == Pacing::UpdateRequests && m_running) {
        frame();
        static_cast<QWindow *>(watched)->requestUpdate();
    }
    return QWidget::eventFilter(watched, event);
}

void CaptionStrip::setMoving(bool moving)
{
    if (moving == isMoving())
        return;
    if (moving) {
        m_runBefore = width() - position();
        m_since.start();
        m_running = true;
        // One frame per refresh of the screen the band is on.
        const qreal hz = screen() ? screen()->refreshRate() : 60.0;
        m_framePeriodNs = qint64(1e9 / (hz > 1 ? hz : 60.0));
        m_frameClock.start();
        m_frameNo = 0;
        if (m_pacing == Pacing::RefreshTimer)
            scheduleFrame();
        else if (windowHandle())
            windowHandle()->requestUpdate();
    } else {
        m_runBefore = width() - position();
        m_running = false;
        m_frames.stop();
    }
}

// The next frame at the next whole refresh period from the start, so that
// frames keep one phase against the screen's refresh instead of drifting
// through it as a timer of whole milliseconds would (16 or 17 ms at 60 Hz).
void CaptionStrip::scheduleFrame()
{
    const qint64 now = m_frameClock.nsecsElapsed();
    m_frameNo = qMax(m_frameNo + 1, now / m_framePeriodNs + 1); // a late frame skips, never bunches
    const qint64 wait = m_frameNo * m_framePeriodNs - now;
    m_frames.start(int((wait + 999'999) / 1'000'000));
}

double CaptionStrip::position() const
{
    const double textWidth = m_picture.isNull() ? 0 : m_picture.width() / m_picture.devicePixelRatio();
    const double span = width() + textWidth;
    double run = m_runBefore;
    if (m_running && m_since.isValid())
        run += double(m_move) * double(m_since.nsecsElapsed()) / 1e6 / double(m_jump);
    if (span > 0)
        run = std::fmod(run, span);
    return width() - run;
}

void CaptionStrip::frame()
{
    // Nothing to draw until the text has moved a whole pixel.
    if (int(std::lround(position())) != m_paintedX)
        repaint(); // now, not after whatever else the event loop holds
}

void CaptionStrip::render()
{
    const QFontMetrics metrics(m_font);
    const qreal ratio = devicePixelRatioF();
    const QSize size(qMax(1, metrics.horizontalAdvance(m_text) + 2), metrics.height() + 2 * kPadding);
    QPixmap picture(size * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::black);
    QPainter p(&picture);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.setFont(m_font);
    p.setPen(m_colour);
    p.drawText(QPoint(1, kPadding + metrics.ascent()), m_text);
    p.end();
    m_picture = picture;
}

void CaptionStrip::placeOnScreen()
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return;
    // The player window's screen: the second one when it is asked for.
    const QScreen *target = screens.size() > 1 && m_station.isOn(Switch::SecondMonitor)
                                ? screens.at(1)
                                : QGuiApplication::primaryScreen();
    const QRect area = target->geometry();
    const int height = qMin(area.height(), qRound(m_picture.height() / m_picture.devicePixelRatio()));
    const int top = qBound(0, m_top, area.height() - height);
    setGeometry(area.x(), area.y() + top, area.width(), height);
}

void CaptionStrip::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_paintedX = INT_MIN;
}

void CaptionStrip::paintEvent(QPaintEvent *)
{
    const int x = int(std::lround(position()));
    QPainter p(this);
    p.fillRect(rect(), Qt::black);
    p.drawPixmap(x, 0, m_picture);
    m_paintedX = x;
    emit framePainted(std::chrono::duration_cast<std::chrono::nanoseconds>(
                          std::chrono::steady_clock::now().time_since_epoch())
                          .count(),
                      x);
}

void CaptionStrip::keepClear(QWidget &window) const
{
    if (!isVisible())
        return;
    const QRect strip = frameGeometry();
    QRect place = window.frameGeometry();
    if (!place.intersects(strip))
        return;
    const QScreen *where = screen();
    const QRect area = where ? where->availableGeometry() : QRect();
    if (strip.top() - area.top() >= place.height() || strip.top() - area.top() >= area.bottom() - strip.bottom())
        place.moveBottom(strip.top() - 1);
    else
        place.moveTop(strip.bottom() + 1);
    window.move(place.topLeft());
}

} // namespace tav

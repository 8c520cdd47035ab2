#pragma once

#include <QColor>
#include <QElapsedTimer>
#include <QFont>
#include <QPixmap>
#include <QTimer>
#include <QWidget>

#include <climits>

namespace tav {

class CaptionBook;
class CaptionScroller;
class Clock;
class MessageLog;
class Settings;
struct CaptionSettings;

// The caption font of the settings; a family this machine does not have is
// named in `problem` and the default family is used.
QFont captionFont(const CaptionSettings &settings, QString *problem = nullptr);
// The stored colour number (red + green×256 + blue×65536) and back.
QColor captionColour(quint32 stored);
quint32 storedColour(const QColor &colour);

// The caption strip: a frameless band across the screen at height Y, above
// every other window, on which the caption runs from right to left at MOVE
// pixels per JUMP milliseconds and comes in from the right again once it
// has left. The text is drawn once into a picture; each frame only places
// it, at the position the elapsed time gives, so the speed is exact however
// late a frame comes. Frames are paced by the screen's refresh.
class CaptionStrip final : public QWidget
{
    Q_OBJECT
public:
    // Follows the scroller: shown, hidden, each new caption from the right.
    CaptionStrip(CaptionScroller &scroller, CaptionBook &book, const Settings &station, MessageLog &log,
                 const Clock &clock, QWidget *parent = nullptr);

    // How frames are paced: a precise timer at the screen's refresh
    // interval, or the window system's update requests one after another.
    enum class Pacing { RefreshTimer, UpdateRequests };
    void setPacing(Pacing pacing);

    void setCaption(const QString &text);
    void setLook(const QFont &font, const QColor &colour);
    void setSpeed(int move, int jump);
    // Top of the band; kept on the screen.
    void setTop(int y);
    void setMoving(bool moving);
    // The settings the scroller runs with: font, colour, speed and height.
    void followScroller();
    // A window the strip (always on top) would cover goes clear of it:
    // above it where there is room, else below.
    void keepClear(QWidget &window) const;

    const QString &caption() const { return m_text; }
    const QFont &captionFontInUse() const { return m_font; }
    const QColor &colour() const { return m_colour; }
    bool isMoving() const { return m_running; }
    // Where the text's left edge stands now, in the band's pixels.
    double position() const;
    // The refresh period frames are paced by, in milliseconds.
    double framePeriod() const { return double(m_framePeriodNs) / 1e6; }

signals:
    // Every drawn frame: when (monotonic ns) and where the text stood.
    void framePainted(qint64 nsecs, int x);

protected:
    void paintEvent(QPaintEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void render();
    void placeOnScreen();
    void frame();
    void scheduleFrame();

    CaptionScroller &m_scroller;
    const Settings &m_station;
    MessageLog &m_log;
    const Clock &m_clock;
    QString m_fontProblem; // reported once
    QString m_text;
    QFont m_font;
    QColor m_colour = Qt::red;
    QPixmap m_picture;
    int m_move = 2;
    int m_jump = 20;
    int m_top = 50;
    // Distance run since the text stood at the right edge: m_runBefore at
    // the moment m_since started.
    double m_runBefore = 0;
    QElapsedTimer m_since;
    bool m_running = false;
    int m_paintedX = INT_MIN;
    QTimer m_frames;
    QElapsedTimer m_frameClock;
    qint64 m_framePeriodNs = 16'666'667;
    qint64 m_frameNo = 0;
    Pacing m_pacing = Pacing::RefreshTimer;
};

} // namespace tav

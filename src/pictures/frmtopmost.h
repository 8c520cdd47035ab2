#pragma once

#include "pictures/logosettings.h"

#include <QPixmap>
#include <QWidget>

class QLabel;
class QTime;

namespace tav {

class ClockLabel;
class DataDir;

// The station's topmost overlay: the logo picture "LOGO.bmp" (imgLogo) and
// the clock (lblTime) beneath it, on the background picture "PBG.JPG"
// (scaled to the window). The logo's grey 808080 shows the background; where
// the window's own pixels are that grey, it is see-through: the window's shape is made
// from its own pixels, so it works without a compositor. Clicks go through
// to whatever lies below.
//
// In screen-saver mode the window instead covers a whole screen with the
// background picture (black without one), the logo and clock in their
// places; a click ends it (dismissed()).
class frmTopMost final : public QWidget
{
    Q_OBJECT
public:
    explicit frmTopMost(const DataDir &dir, QWidget *parent = nullptr);

    // Reads both pictures afresh. A missing or unreadable file leaves its
    // picture empty, without a message.
    void loadPictures();
    bool hasLogo() const { return !m_logo.isNull(); }
    bool hasBackground() const { return !m_background.isNull(); }

    // Where the logo's top left corner goes, in pixels.
    void placeAt(const QPoint &pixels);
    QPoint place() const { return m_place; }

    void setLogoShown(bool shown);
    void setClockShown(bool shown);
    bool isLogoShown() const { return m_logoShown; }
    bool isClockShown() const { return m_clockShown; }
    // A family that does not exist falls back to the application's font.
    void setClockFont(const ClockFont &font);
    // The clock shows the time as hh:mm:ss; only its own part of the
    // window's shape is made again.
    void showTime(const QTime &time);

    void setScreenSaver(bool on, const QRect &area = QRect());
    bool isScreenSaver() const { return m_screenSaver; }

    // The window is shown exactly while it has something to show.
    bool hasContent() const;

signals:
    void dismissed();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    void relayout();
    void reshape();
    void reshapeClock();
    QRegion regionOf(const QRect &part);

    const DataDir &m_dir;
    QLabel *m_imgLogo = nullptr;
    ClockLabel *m_lblTime = nullptr;
    QPixmap m_logo;
    QPixmap m_background;
    QPoint m_place;
    QRect m_saverArea;
    bool m_logoShown = false;
    bool m_clockShown = false;
    bool m_screenSaver = false;
};

} // namespace tav

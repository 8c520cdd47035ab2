#include "pictures/frmtopmost.h"

#include "core/datadir.h"
#include "pictures/logoclock.h"
#include "pictures/logomask.h"

#include <QFileInfo>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QTime>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// Always on top, no frame, no task bar entry, never taking the focus; the
// window manager does not place or restack it (X11 bypass), so it stays
// exactly where the settings put it. Clicks go through unless the window
// covers a screen as the screen saver.
Qt::WindowFlags overlayFlags(bool takesClicks)
{
    Qt::WindowFlags flags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
                            | Qt::X11BypassWindowManagerHint | Qt::WindowDoesNotAcceptFocus;
    if (!takesClicks)
        flags |= Qt::WindowTransparentForInput;
    return flags;
}

// A picture beside the program, or none.
QPixmap pictureOf(const DataDir &dir, const QString &name)
{
    const QString path = dir.fixedFile(name);
    return QFileInfo::exists(path) ? QPixmap(path) : QPixmap();
}

} // namespace

frmTopMost::frmTopMost(const DataDir &dir, QWidget *parent)
    : QWidget(parent, overlayFlags(false))
    , m_dir(dir)
{
    setObjectName(u"frmTopMost"_s);
    setWindowTitle(u"台标"_s);
    setAttribute(Qt::WA_ShowWithoutActivating);
    m_imgLogo = new QLabel(this);
    m_imgLogo->setObjectName(u"imgLogo"_s);
    m_lblTime = new ClockLabel(this);
    m_lblTime->setObjectName(u"lblTime"_s);
    m_lblTime->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    setClockFont(ClockFont());
    relayout();
}

void frmTopMost::loadPictures()
{
    m_logo = pictureOf(m_dir, DataDir::kLogo);
    m_background = pictureOf(m_dir, DataDir::kBackground);
    // The logo's grey lets the background (or, without one, the see-through
    // grey of the window) show.
    m_imgLogo->setPixmap(m_logo.isNull() ? m_logo : QPixmap::fromImage(withoutKey(m_logo.toImage())));
    relayout();
}

void frmTopMost::placeAt(const QPoint &pixels)
{
    m_place = pixels;
    relayout();
}

void frmTopMost::setLogoShown(bool shown)
{
    m_logoShown = shown;
    relayout();
}

void frmTopMost::setClockShown(bool shown)
{
    m_clockShown = shown;
    relayout();
}

void frmTopMost::setClockFont(const ClockFont &clockFont)
{
    m_lblTime->setClockFont(clockFont);
    m_lblTime->setFixedSize(m_lblTime->fittedSize()); // the shape never cuts a second off
    if (m_lblTime->text().isEmpty())
        m_lblTime->setText(u"00:00:00"_s);
    relayout();
}

void frmTopMost::showTime(const QTime &time)
{
    const QString text = time.toString(u"hh:mm:ss"_s);
    if (text == m_lblTime->text())
        return;
    m_lblTime->setText(text);
    if (m_clockShown && isVisible())
        reshapeClock();
}

void frmTopMost::setScreenSaver(bool on, const QRect &area)
{
    if (on == m_screenSaver && (!on || area == m_saverArea))
        return;
    m_screenSaver = on;
    m_saverArea = area;
    relayout();
}

bool frmTopMost::hasContent() const
{
    return m_screenSaver || m_clockShown || (m_logoShown && (hasLogo() || hasBackground()));
}

void frmTopMost::relayout()
{
    const bool logoPart = m_logoShown && (hasLogo() || (hasBackground() && !m_screenSaver));
    const QSize logoSize = !logoPart ? QSize(0, 0) : hasLogo() ? m_logo.size() : m_background.size();
    const QPoint origin = m_screenSaver ? m_place - m_saverArea.topLeft() : QPoint(0, 0);
    m_imgLogo->setGeometry(QRect(origin, logoSize));
    m_imgLogo->setVisible(logoPart && hasLogo());
    m_lblTime->move(origin + QPoint(0, logoSize.height()));
    m_lblTime->setVisible(m_clockShown);

    if (m_screenSaver) {
        setGeometry(m_saverArea);
    } else {
        const QSize clockSize = m_clockShown ? m_lblTime->size() : QSize(0, 0);
        setGeometry(QRect(m_place, QSize(std::max(logoSize.width(), clockSize.width()),
                                         logoSize.height() + clockSize.height())));
    }

    const bool takesClicks = m_screenSaver;
    if (takesClicks == windowFlags().testFlag(Qt::WindowTransparentForInput))
        setWindowFlags(overlayFlags(takesClicks)); // hides the window
    if (!hasContent()) {
        hide();
        return;
    }
    reshape();
    if (!isVisible()) {
        show();
        raise();
    }
    update();
}

QRegion frmTopMost::regionOf(const QRect &part)
{
    QImage image = grab(part).toImage();
    if (image.size() != part.size())
        image = image.scaled(part.size(), Qt::IgnoreAspectRatio, Qt::FastTransformation); // high density
    return opaqueRegion(image).translated(part.topLeft());
}

void frmTopMost::reshape()
{
    if (m_screenSaver) {
        // All of it. (Clearing the mask instead may leave the old shape on
        // a window that was just made again for its new flags.)
        setMask(QRegion(rect()));
        return;
    }
    const QRegion shape = regionOf(rect());
    // An empty mask would mean no mask at all: the grey would show.
    setMask(shape.isEmpty() ? QRegion(-1, -1, 1, 1) : shape);
}

void frmTopMost::reshapeClock()
{
    if (m_screenSaver)
        return;
    const QRect part = m_lblTime->geometry();
    QRegion shape = mask().subtracted(part).united(regionOf(part));
    setMask(shape.isEmpty() ? QRegion(-1, -1, 1, 1) : shape);
}

void frmTopMost::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_screenSaver) {
        painter.fillRect(rect(), Qt::black);
        if (hasBackground()) {
            // Covers the screen, cut evenly where the proportions differ.
            const QSize size = m_background.size().scaled(this->size(), Qt::KeepAspectRatioByExpanding);
            const QRect target(QPoint((width() - size.width()) / 2, (height() - size.height()) / 2), size);
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawPixmap(target, m_background);
        }
        return;
    }
    painter.fillRect(rect(), QColor::fromRgb(kLogoColourKey));
    if (hasBackground())
        painter.drawPixmap(rect(), m_background);
}

void frmTopMost::mousePressEvent(QMouseEvent *event)
{
    if (m_screenSaver)
        emit dismissed();
    QWidget::mousePressEvent(event);
}

} // namespace tav

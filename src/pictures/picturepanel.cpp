#include "pictures/picturepanel.h"

#include "pictures/slideshow.h"
#include "playback/frmplay.h"
#include "playback/mpvvideowidget.h"
#include "playback/playbackcontroller.h"

#include <QEvent>
#include <QFileInfo>
#include <QImageReader>
#include <QLayout>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace tav {

DecodedPicture decodePicture(const QString &path, QSize target)
{
    DecodedPicture result;
    const QFileInfo info(path);
    if (!info.isFile()) {
        result.error = u"文件不存在"_s;
        return result;
    }
    QImageReader reader(path);
    reader.setAutoTransform(true);
    reader.setDecideFormatFromContent(true);
    if (!reader.canRead()) {
        result.error = u"不是图片或已损坏"_s;
        return result;
    }
    const QSize whole = reader.size();
    if (whole.isValid() && !whole.isEmpty() && target.isValid() && !target.isEmpty()) {
        const QSize fit = whole.scaled(target, Qt::KeepAspectRatio).boundedTo(whole);
        // JPEG decodes straight at an eighth, a quarter or half the size;
        // other formats are decoded whole and scaled afterwards.
        const bool scalesWhileReading = reader.format() == "jpeg";
        if (!scalesWhileReading && qint64(whole.width()) * whole.height() > PicturePanel::kMaxPixels) {
            result.error = u"图片太大（%1×%2）"_s.arg(whole.width()).arg(whole.height());
            return result;
        }
        reader.setScaledSize(fit.expandedTo(QSize(1, 1)));
    }
    if (!reader.read(&result.image) || result.image.isNull()) {
        result.image = QImage();
        result.error = u"不是图片或已损坏：%1"_s.arg(reader.errorString());
    }
    return result;
}

PicturePanel::PicturePanel(QWidget *parent) : QWidget(parent)
{
    setObjectName(u"picPanel"_s);
    setAttribute(Qt::WA_OpaquePaintEvent);
    // One picture at a time; a newer request makes a waiting one pointless.
    m_pool.setMaxThreadCount(1);
}

PicturePanel::~PicturePanel()
{
    m_latest->store(~quint64(0));
    m_pool.clear();
    m_pool.waitForDone();
}

QRect PicturePanel::picWH(QSize picture, QRect area)
{
    if (picture.isEmpty() || area.isEmpty())
        return {};
    const QSize fit = picture.scaled(area.size(), Qt::KeepAspectRatio);
    return {area.x() + (area.width() - fit.width()) / 2, area.y() + (area.height() - fit.height()) / 2,
            fit.width(), fit.height()};
}

QSize PicturePanel::decodeSize() const
{
    // The panel fills the player window; before it is laid out only the window knows its size.
    QSize target = size().expandedTo(window()->size());
    if (target.width() < 64 || target.height() < 64)
        target = QSize(1920, 1080);
    return target * devicePixelRatioF();
}

void PicturePanel::showPicture(const QString &path)
{
    const quint64 serial = ++*m_latest;
    const QSize target = decodeSize();
    m_target = target;
    m_pool.start([this, latest = m_latest, serial, path, target] {
        if (latest->load() != serial)
            return; // a newer picture was asked for meanwhile
        DecodedPicture result = decodePicture(path, target);
        if (latest->load() != serial)
            return;
        // Queued to the panel's thread; dropped with the panel, which waits for this task first.
        QMetaObject::invokeMethod(
            this, [this, serial, path, result = std::move(result)] { decoded(serial, path, result); },
            Qt::QueuedConnection);
    });
}

void PicturePanel::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // Grown well beyond the size the picture was read for (another screen): read it again.
    const QSize now = decodeSize();
    if (!m_path.isEmpty() && (now.width() > m_target.width() * 11 / 10 || now.height() > m_target.height() * 11 / 10))
        showPicture(m_path);
}

void PicturePanel::decoded(quint64 serial, const QString &path, const DecodedPicture &result)
{
    if (serial != m_latest->load())
        return;
    if (!result.error.isEmpty()) {
        emit failed(path, result.error);
        return;
    }
    m_path = path;
    m_image = result.image;
    update();
    emit shown(path);
}

void PicturePanel::clear()
{
    ++*m_latest;
    m_path.clear();
    m_image = QImage();
    update();
}

void PicturePanel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (m_image.isNull())
        return;
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(picWH(m_image.size(), rect()), m_image);
}

PictureScreen::PictureScreen(Slideshow &slideshow, PlaybackController &playback, frmPlay &window)
    : QObject(&window), m_slideshow(slideshow), m_playback(playback), m_window(window)
{
    m_panel = new PicturePanel(&window);
    m_panel->hide();
    window.layout()->addWidget(m_panel); // shares the window with the video; one of them shows
    window.video()->installEventFilter(this);
    connect(&slideshow, &Slideshow::pictureChanged, m_panel, &PicturePanel::showPicture);
    connect(&slideshow, &Slideshow::cleared, m_panel, &PicturePanel::clear);
    connect(m_panel, &PicturePanel::failed, &slideshow, &Slideshow::pictureFailed);
    connect(&slideshow, &Slideshow::showingChanged, this, &PictureScreen::showingChanged);
    // A video item shows over the pictures; sound alone leaves them in view.
    connect(&playback, &PlaybackController::itemOpening, this, [this](const QString &path) {
        if (m_slideshow.isShowing())
            m_window.setVideoVisible(!PlaybackController::isAudioOnly(path));
        follow();
    });
}

void PictureScreen::showingChanged(bool showing)
{
    if (!showing) {
        m_window.setVideoVisible(true);
    } else {
        const QString current = m_playback.currentText();
        m_window.setVideoVisible(!current.isEmpty() && !PlaybackController::isAudioOnly(current));
    }
    follow();
}

void PictureScreen::follow()
{
    m_panel->setVisible(m_slideshow.isShowing() && !m_window.isVideoVisible());
}

bool PictureScreen::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ShowToParent || event->type() == QEvent::HideToParent)
        follow();
    return QObject::eventFilter(watched, event);
}

} // namespace tav

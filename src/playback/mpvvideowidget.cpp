#include "playback/mpvvideowidget.h"

#include "platform/mpvplayer.h"

#include <QFileInfo>
#include <QMetaObject>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLWindow>
#include <QPainter>
#include <QVBoxLayout>
#include <QtDebug>

#include <mpv/render_gl.h>

#include <functional>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

void *glProcAddress(void *context, const char *name)
{
    auto *gl = static_cast<QOpenGLContext *>(context);
    return reinterpret_cast<void *>(gl->getProcAddress(name));
}

void paintBackground(QPainter &painter, const QRect &area, const QImage &background)
{
    if (background.isNull())
        painter.fillRect(area, Qt::black);
    else
        painter.drawImage(area, background);
}

} // namespace

// The OpenGL part: a native window that owns mpv's render context. mpv draws
// into the window's default framebuffer, which is then swapped to the screen.
class MpvVideoWidget::Surface final : public QOpenGLWindow
{
public:
    Surface(MpvPlayer *player, std::function<void()> initialized)
        : QOpenGLWindow(QOpenGLWindow::NoPartialUpdate)
        , m_player(player)
        , m_initialized(std::move(initialized))
    {
        // Clicks, double clicks and keys go to the widgets under the window.
        setFlags(flags() | Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus);
        if (m_player) {
            // Directly: the core must not be destroyed with our context alive.
            connect(m_player, &MpvPlayer::coreClosing, this, [this] { freeRenderContext(context()); },
                    Qt::DirectConnection);
        }
    }
    ~Surface() override { freeRenderContext(context()); }

    bool isRendering() const { return m_render != nullptr; }
    bool isInitialized() const { return m_isInitialized; }
    const QString &errorString() const { return m_error; }

    // The video frame drawn anew into the back buffer and read from there;
    // null when there is none to show.
    QImage freshFrame()
    {
        if (!showsVideo() || !isExposed() || !context())
            return QImage();
        makeCurrent();
        renderFrame(false);
        QImage frame = grabFramebuffer();
        doneCurrent();
        return frame;
    }

protected:
    void initializeGL() override
    {
        // A new GL context (first show, or the native window made again): a
        // render context made in the old one goes with it. The slot makes
        // the dying context current itself, as mpv frees GL objects.
        QOpenGLContext *gl = context();
        connect(gl, &QOpenGLContext::aboutToBeDestroyed, this, [this, gl] { freeRenderContext(gl); },
                Qt::DirectConnection);
        if (m_player && !m_render) {
            QString error;
            m_render = m_player->createGlRenderContext(&glProcAddress, gl, &error);
            if (m_render) {
                m_error.clear();
                mpv_render_context_set_update_callback(m_render, &Surface::onMpvUpdate, this);
            } else {
                m_error = error;
                qWarning("%s", qUtf8Printable(error));
            }
        }
        m_isInitialized = true;
        // Not from inside initializeGL: the owner may hide us.
        QMetaObject::invokeMethod(this, [this] { m_initialized(); }, Qt::QueuedConnection);
    }

    void paintGL() override
    {
        if (showsVideo()) {
            renderFrame(false);
            return;
        }
        // Only until the owner hides us and shows the background itself.
        QOpenGLFunctions *gl = context()->functions();
        gl->glClearColor(0, 0, 0, 1);
        gl->glClear(GL_COLOR_BUFFER_BIT);
    }

private:
    bool showsVideo() const { return m_render && m_player && m_player->hasVideoOutput(); }

    static void onMpvUpdate(void *context)
    {
        // Any mpv thread: no render call here, only a note to the GUI thread.
        auto *self = static_cast<Surface *>(context);
        QMetaObject::invokeMethod(self, [self] { self->frameReady(); }, Qt::QueuedConnection);
    }

    // No mpv_render_context_report_swap() after the swaps: with it mpv took
    // them for the display's refresh and dropped frames (measured at 720p
    // under Xvfb); without it mpv times frames by its clock, as it should
    // with video-timing-offset 0.
    void frameReady()
    {
        if (!m_render)
            return;
        if (!(mpv_render_context_update(m_render) & MPV_RENDER_UPDATE_FRAME))
            return;
        if (isExposed()) {
            update(); // paintGL, then the swap
            return;
        }
        // Hidden (audio-only item, or the window is hidden): mpv still waits
        // for its frames to be taken, so take them without drawing.
        if (!context())
            return;
        makeCurrent();
        renderFrame(true);
        doneCurrent();
    }

    void renderFrame(bool skip)
    {
        const qreal ratio = devicePixelRatio();
        mpv_opengl_fbo fbo{static_cast<int>(defaultFramebufferObject()),
                           qMax(1, qRound(width() * ratio)), qMax(1, qRound(height() * ratio)), 0};
        int flipY = 1;
        int skipRendering = skip ? 1 : 0;
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_OPENGL_FBO, &fbo},
            {MPV_RENDER_PARAM_FLIP_Y, &flipY},
            {MPV_RENDER_PARAM_SKIP_RENDERING, &skipRendering},
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        mpv_render_context_render(m_render, params);
    }

    void freeRenderContext(QOpenGLContext *gl)
    {
        if (!m_render)
            return;
        // Render calls need the GL context the render context was made in.
        const bool current = gl && handle() && gl->makeCurrent(this);
        mpv_render_context_set_update_callback(m_render, nullptr, nullptr);
        mpv_render_context_free(m_render);
        m_render = nullptr;
        if (current)
            gl->doneCurrent();
    }

    QPointer<MpvPlayer> m_player;
    std::function<void()> m_initialized;
    bool m_isInitialized = false;
    mpv_render_context *m_render = nullptr;
    QString m_error;
};

MpvVideoWidget::MpvVideoWidget(MpvPlayer *player, const QString &backgroundFile, QWidget *parent)
    : QWidget(parent)
{
    setContextMenuPolicy(Qt::NoContextMenu);
    if (!backgroundFile.isEmpty() && QFileInfo::exists(backgroundFile) && !m_background.load(backgroundFile))
        qWarning("the background picture %s cannot be read", qUtf8Printable(backgroundFile));
    if (player)
        player->setStretchToFit(true);
    m_player = player;
    if (!openGlAvailable())
        return;
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_surface = new Surface(player, [this] { placeSurface(); });
    // The container takes the window; it alone changes parents when the
    // widget moves, the window and its GL context stay.
    m_container = QWidget::createWindowContainer(m_surface, this);
    m_container->setFocusPolicy(Qt::NoFocus);
    m_container->setContextMenuPolicy(Qt::NoContextMenu);
    layout->addWidget(m_container);
    if (m_player) {
        connect(m_player, &MpvPlayer::videoOutputChanged, this, &MpvVideoWidget::placeSurface);
        connect(m_player, &MpvPlayer::videoOutputChanged, this, &MpvVideoWidget::videoOutputChanged);
    }
}

void MpvVideoWidget::placeSurface()
{
    // The window must be shown once to get its GL context and mpv's render
    // context; after that it shows only while mpv has a picture, and the
    // background is painted here without OpenGL.
    const bool video = m_player && m_player->hasVideoOutput() && m_surface->isRendering();
    m_container->setVisible(!m_surface->isInitialized() || video);
}

void MpvVideoWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // The first show makes the render context: the item about to load waits for it.
    if (m_surface && m_player && !m_surface->isInitialized())
        m_player->awaitRenderContext();
}

bool MpvVideoWidget::videoShown() const
{
    return m_container && !m_container->isHidden() && isRendering() && m_player
           && m_player->hasVideoOutput();
}

MpvVideoWidget::~MpvVideoWidget() = default;

bool MpvVideoWidget::isRendering() const
{
    return m_surface && m_surface->isRendering();
}

QString MpvVideoWidget::errorString() const
{
    if (!m_surface)
        return u"this display gives no OpenGL, so no video can be shown"_s;
    return m_surface->errorString();
}

QImage MpvVideoWidget::grabFrame()
{
    // The native window is not part of a widget grab; paintEvent draws its
    // frame in.
    return grab().toImage();
}

QImage MpvVideoWidget::videoFrame()
{
    return videoShown() ? m_surface->freshFrame() : QImage();
}

bool MpvVideoWidget::openGlAvailable()
{
    static const bool available = [] {
        QOpenGLContext probe;
        return probe.create();
    }();
    return available;
}

void MpvVideoWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    // On screen the native window covers this; painted for grabs (the
    // window's frame is not in the widgets' backing store), and seldom
    // otherwise, as the video's frames do not repaint the widget.
    if (const QImage frame = videoFrame(); !frame.isNull()) {
        painter.drawImage(rect(), frame);
        return;
    }
    // Between items, for audio-only items, and without OpenGL.
    paintBackground(painter, rect(), m_background);
}

} // namespace tav

#include "playback/mpvvideowidget.h"

#include "platform/mpvplayer.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QMetaObject>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLWidget>
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

// The OpenGL part: owns mpv's render context.
class MpvVideoWidget::Surface final : public QOpenGLWidget
{
public:
    Surface(MpvPlayer *player, std::function<void()> initialized, QWidget *parent)
        : QOpenGLWidget(parent)
        , m_player(player)
        , m_initialized(std::move(initialized))
    {
        setContextMenuPolicy(Qt::NoContextMenu);
        if (m_player) {
            // Directly: the core must not be destroyed with our context alive.
            connect(m_player, &MpvPlayer::coreClosing, this, [this] { freeRenderContext(); },
                    Qt::DirectConnection);
        }
    }
    ~Surface() override { freeRenderContext(); }

    bool isRendering() const { return m_render != nullptr; }
    bool isInitialized() const { return m_isInitialized; }
    const QString &errorString() const { return m_error; }

protected:
    void initializeGL() override
    {
        // A new GL context (first show, or a move to another window without
        // shared contexts): a render context made in the old one goes with it.
        connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, [this] { freeRenderContext(); },
                Qt::DirectConnection);
        if (m_player && !m_render) {
            QString error;
            m_render = m_player->createGlRenderContext(&glProcAddress, context(), &error);
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
        if (m_render && m_player && m_player->hasVideoOutput()) {
            renderFrame();
            return;
        }
        // Only until the owner hides us and shows the background itself.
        QOpenGLFunctions *gl = context()->functions();
        gl->glClearColor(0, 0, 0, 1);
        gl->glClear(GL_COLOR_BUFFER_BIT);
    }

private:
    static void onMpvUpdate(void *context)
    {
        // Any mpv thread: no render call here, only a note to the GUI thread.
        auto *self = static_cast<Surface *>(context);
        QMetaObject::invokeMethod(self, [self] { self->frameReady(); }, Qt::QueuedConnection);
    }

    void frameReady()
    {
        if (!m_render)
            return;
        if (isVisible()) {
            update();
            return;
        }
        // Hidden (audio-only item, or the window is hidden): mpv still waits
        // for its frames to be drawn, so draw them where no one looks.
        makeCurrent();
        renderFrame();
        doneCurrent();
    }

    void renderFrame()
    {
        const qreal ratio = devicePixelRatioF();
        mpv_opengl_fbo fbo{static_cast<int>(defaultFramebufferObject()),
                           qMax(1, qRound(width() * ratio)), qMax(1, qRound(height() * ratio)), 0};
        int flipY = 1;
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_OPENGL_FBO, &fbo},
            {MPV_RENDER_PARAM_FLIP_Y, &flipY},
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        mpv_render_context_render(m_render, params);
    }

    void freeRenderContext()
    {
        if (!m_render)
            return;
        // Render calls need the GL context the render context was made in.
        const bool haveGl = context() != nullptr;
        if (haveGl)
            makeCurrent();
        mpv_render_context_set_update_callback(m_render, nullptr, nullptr);
        mpv_render_context_free(m_render);
        m_render = nullptr;
        if (haveGl)
            doneCurrent();
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
    if (player && !QCoreApplication::testAttribute(Qt::AA_ShareOpenGLContexts))
        qWarning("the video widget needs Qt::AA_ShareOpenGLContexts set before the application is "
                 "created, or the picture is lost when it moves to the full-screen window");
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_surface = new Surface(player, [this] { placeSurface(); }, this);
    layout->addWidget(m_surface);
    if (m_player)
        connect(m_player, &MpvPlayer::videoOutputChanged, this, &MpvVideoWidget::placeSurface);
}

void MpvVideoWidget::placeSurface()
{
    // The surface must be shown once to get its GL context and mpv's render
    // context; after that it shows only while mpv has a picture, and the
    // background is painted here without OpenGL.
    const bool video = m_player && m_player->hasVideoOutput() && m_surface->isRendering();
    m_surface->setVisible(!m_surface->isInitialized() || video);
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
    // QWidget::grab() takes the OpenGL child's frame too.
    return grab().toImage();
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
    // Between items, for audio-only items, and without OpenGL.
    QPainter painter(this);
    paintBackground(painter, rect(), m_background);
}

} // namespace tav

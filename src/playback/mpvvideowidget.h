#pragma once

#include <QImage>
#include <QPointer>
#include <QString>
#include <QWidget>

class QOpenGLWidget;

namespace tav {

class MpvPlayer;

// The player control's picture: draws the frames of the one MpvPlayer through
// mpv's OpenGL render API (the player needs vo=libmpv for frames to come).
// The picture is stretched to the widget, there is no context menu, and
// whenever mpv shows no video (between items, audio-only items) the widget
// shows the background picture, or plain black when there is none.
//
// The drawing is done by an OpenGL child widget, made only when the platform
// can give an OpenGL context: Qt cannot show an OpenGL widget on one that
// cannot (the offscreen platform, for one), so there the background alone
// shows.
//
// mpv allows one render context per core, so one widget per player. The
// render context lives in the child's GL context: it is made when the widget
// is first shown and freed before that GL context or the player's core goes
// away. Moving the widget to another window keeps the GL context only when
// the application was created with Qt::AA_ShareOpenGLContexts; without it Qt
// makes a new GL context and mpv drops the video of the item playing.
class MpvVideoWidget final : public QWidget
{
    Q_OBJECT
public:
    // player may be null: the widget then only shows the background.
    // backgroundFile: a picture to show between items; missing → black.
    MpvVideoWidget(MpvPlayer *player, const QString &backgroundFile, QWidget *parent = nullptr);
    ~MpvVideoWidget() override;

    const QImage &background() const { return m_background; }
    // mpv's frames can be drawn: the render context exists.
    bool isRendering() const;
    // Why frames cannot be drawn; empty while they can or before the first show.
    QString errorString() const;
    // What the widget shows now, video frame included.
    QImage grabFrame();

    // True when the platform gives OpenGL contexts (asked once).
    static bool openGlAvailable();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    class Surface;
    void placeSurface();

    QPointer<MpvPlayer> m_player;
    QImage m_background;
    Surface *m_surface = nullptr;
};

} // namespace tav

#pragma once

#include <QImage>
#include <QPointer>
#include <QString>
#include <QWidget>

namespace tav {

class MpvPlayer;

// The player control's picture: draws the frames of the one MpvPlayer through
// mpv's OpenGL render API (the player needs vo=libmpv for frames to come).
// The picture is stretched to the widget, there is no context menu, and
// whenever mpv shows no video (between items, audio-only items) the widget
// shows the background picture, or plain black when there is none.
//
// The drawing is done by a native OpenGL window embedded in the widget, made
// only when the platform can give an OpenGL context: Qt cannot show OpenGL on
// one that cannot (the offscreen platform, for one), so there the background
// alone shows. mpv draws straight into that window's own framebuffer and the
// window swaps it to the screen, with no copy through the widgets' backing
// store (which on a software OpenGL costs about as much as mpv's drawing).
// The window takes no input: clicks and keys reach the widgets under it.
//
// mpv allows one render context per core, so one widget per player. The
// render context lives in the window's GL context: it is made when the window
// is first shown and freed before that GL context or the player's core goes
// away. Moving the widget to another window moves only the window's
// container; the native window, with its GL context and the render context,
// stays the same. Should the platform still recreate the native window, the
// render context is freed with the old GL context and made again in the new
// (mpv then ends the picture of the item playing, as before a move did
// without shared GL contexts).
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
    // The frame now in the OpenGL window, freshly drawn; null while no video
    // shows there.
    QImage videoFrame();

    // True when the platform gives OpenGL contexts (asked once).
    static bool openGlAvailable();

signals:
    // The player's video output came or went: an item with a picture shows.
    void videoOutputChanged(bool active);

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    class Surface;
    void placeSurface();
    bool videoShown() const;

    QPointer<MpvPlayer> m_player;
    QImage m_background;
    Surface *m_surface = nullptr;       // owned by m_container
    QWidget *m_container = nullptr;
};

} // namespace tav

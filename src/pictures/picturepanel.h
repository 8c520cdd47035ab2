#pragma once

#include <QImage>
#include <QObject>
#include <QRect>
#include <QSize>
#include <QString>
#include <QThreadPool>
#include <QWidget>

#include <atomic>
#include <memory>

namespace tav {

class PlaybackController;
class Slideshow;
class frmPlay;

// A picture read from its file at about the size it will be shown, or why not.
struct DecodedPicture
{
    QImage image;
    QString error; // "文件不存在", "不是图片或已损坏…", "图片太大…"
};

// Reads a picture scaled to fit `target` (keeping its proportions), so a
// 50-megapixel photograph never has to be held whole: formats that can
// (JPEG) decode straight at the smaller size. Pictures that would need more
// than kMaxPixels whole are refused. Safe on any thread.
DecodedPicture decodePicture(const QString &path, QSize target);

// The picture panel: the slideshow's current picture scaled into the panel
// keeping its proportions, centred on black. Pictures are read on a worker
// thread; only the newest request is shown, and one that cannot be read is
// reported through failed().
class PicturePanel final : public QWidget
{
    Q_OBJECT
public:
    static constexpr qint64 kMaxPixels = 120'000'000;

    explicit PicturePanel(QWidget *parent = nullptr);
    ~PicturePanel() override;

    // Where a picture of `picture` size goes in `area`: as large as fits,
    // proportions kept, centred (picWH).
    static QRect picWH(QSize picture, QRect area);

    void showPicture(const QString &path);
    void clear();
    const QString &currentPath() const { return m_path; }
    const QImage &image() const { return m_image; }
    // Waits for the worker (tests).
    void waitForDecode() { m_pool.waitForDone(); }

signals:
    void shown(const QString &path);
    void failed(const QString &path, const QString &reason);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QSize decodeSize() const;
    void decoded(quint64 serial, const QString &path, const DecodedPicture &result);

    QThreadPool m_pool;
    std::shared_ptr<std::atomic<quint64>> m_latest = std::make_shared<std::atomic<quint64>>(0);
    QString m_path;
    QImage m_image;
    QSize m_target; // the size the last picture was asked for
};

// The slideshow on the player window: the panel takes the window's place
// while pictures are shown and no video is to be seen (between items, and
// while a sound-only item plays); a video item shows over it.
class PictureScreen final : public QObject
{
    Q_OBJECT
public:
    PictureScreen(Slideshow &slideshow, PlaybackController &playback, frmPlay &window);
    PicturePanel *panel() const { return m_panel; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void showingChanged(bool showing);
    void follow();

    Slideshow &m_slideshow;
    PlaybackController &m_playback;
    frmPlay &m_window;
    PicturePanel *m_panel = nullptr;
};

} // namespace tav

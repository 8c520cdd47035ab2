#pragma once

#include "core/settings.h"

#include <QString>
#include <QWidget>

class QVBoxLayout;

namespace tav {

class DataDir;
class MpvPlayer;
class MpvVideoWidget;

// The borderless player window. It hosts the player control "wmp1" (the one
// MpvVideoWidget) and shows the background picture "Vbg.jpg" of the data
// folder, or black, wherever the control is hidden or away.
//
// Size and place come from 【CONTROL】.ini, section 播放窗口尺寸, keys
// PlayHeight, PlayWidth, PlayTop, PlayLeft. The original program turned these
// pixel numbers into twips with a fixed factor of 15 (1 twip = 1/1440 inch,
// so the factor assumes 96 dots per inch whatever the display). Here the
// numbers are used as Qt's device-independent (logical) pixels, which keeps
// that property: 800 × 600 is the same size on a standard 96-dpi display
// whatever its resolution, and Qt scales it on a high-density one.
class frmPlay final : public QWidget
{
    Q_OBJECT
public:
    struct PlaySize
    {
        int height = 0;
        int width = 0;
        int top = 0;
        int left = 0;
    };

    // player may be null (no picture, background only).
    frmPlay(Settings &settings, const DataDir &dir, MpvPlayer *player, QWidget *parent = nullptr);

    MpvVideoWidget *video() const { return m_video; }

    // The four stored numbers; a missing or non-numeric value counts 0.
    PlaySize storedSize() const;
    // Applies the stored size and place and announces them (sizeApplied).
    void windowSize();
    // Places the window over the whole second screen, or over the first
    // when there is only one.
    void windowSizeTwo();
    // The second-monitor switch (chkdisplayTwo) is on.
    bool secondMonitorWanted() const;
    // Where a fresh station puts the window: the whole second screen when
    // there is one; otherwise the top right quarter of the first screen's
    // free area, 16:9.
    static Settings::PlayWindowPlace freshPlace();
    // windowSizeTwo() when the second-monitor switch is on, else windowSize().
    // Runs at construction and again when a size setting is saved.
    void applyPlacement();

    // Audio-only item with pictures in the picture panel: false hides the
    // picture so the background shows; true shows it again.
    void setVideoVisible(bool visible);
    bool isVideoVisible() const { return m_videoVisible; }

    // The video control is placed in this window again (after full screen).
    void takeVideoBack();
    bool hasVideo() const;

    void ExitWindows() { close(); }

    // The check of the size fields before they are saved: each is a whole
    // number (blanks around it allowed, an optional sign); height and width
    // 1 … 10000, top and left -10000 … 10000.
    static bool validSize(const QString &height, const QString &width, const QString &top,
                          const QString &left);

signals:
    // The stored values were applied; the main window copies them into its
    // size fields.
    void sizeApplied(int height, int width, int top, int left);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void placementSettingChanged();

    Settings &m_settings;
    MpvVideoWidget *m_video = nullptr;
    QVBoxLayout *m_layout = nullptr;
    bool m_videoVisible = true;
    bool m_placementPending = false;
};

} // namespace tav

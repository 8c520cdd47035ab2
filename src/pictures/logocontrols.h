#pragma once

#include <QObject>
#include <QPointer>

#include <functional>

class QGroupBox;
class QLineEdit;
class QRect;
class QWidget;

class QFileSystemWatcher;
class QTimer;

namespace tav {

class Clock;
class DataDir;
class MediaPlayer;
class OverlayKeeper;
class Prompt;
class SecondTicker;
class Settings;
class frmTimeShow;
class frmTopMost;
enum class Switch;

// The console's side of the logo and clock overlay (frmTopMost):
// - the place fields txtLogoTop, txtLogoLeft (twips) and cmdSaveLogoMove;
// - 台标LOGO (chkLogo) shows the logo, 时间显示 (chkTimeShow) the clock,
//   which shows the time of each of the station's seconds;
// - 屏保 (chkPingBao): once nothing has played for kSaverDelaySeconds, the
//   overlay covers the player window's screen with "PBG.JPG" until
//   something plays again or the operator clicks it away;
// - the font dialog frmTimeShow, whose choice the clock follows at once;
// - the overlay is kept above the player windows given to watch().
class LogoControls final : public QObject
{
    Q_OBJECT
public:
    static constexpr int kSaverDelaySeconds = 5;
    static const QString kPlaceRefused; // the message for a refused place

    LogoControls(Settings &settings, const DataDir &dir, MediaPlayer &player, SecondTicker &ticker,
                 const Clock &clock, Prompt &prompt, QWidget *owner);
    ~LogoControls() override;

    QGroupBox *placeBox() const { return m_placeBox; }
    frmTopMost *overlay() const { return m_overlay; }
    OverlayKeeper &keeper() const { return *m_keeper; }

    // After the settings are loaded: pictures, place, font and switches.
    void start();
    // A window that must not cover the overlay; the first one given also
    // names the screen the screen saver covers.
    void watch(QWidget *window);

    void loadFields();
    // Checks both fields; writes "LOGOTop" and "LOGOLeft" and moves the
    // overlay, or shows kPlaceRefused and writes nothing.
    void saveLogoMove();
    void openTimeShow();
    frmTimeShow *timeShow() const { return m_timeShow; }
    // The operator is back: the screen saver goes until the next quiet spell.
    void dismissScreenSaver();
    // Something else on the screen that counts as playing (the advertising
    // slideshow's pictures); screenChanged() is to be called when it changes.
    void setScreenBusy(std::function<bool()> busy) { m_screenBusy = std::move(busy); }
    void screenChanged() { updateScreenSaver(); }

private:
    void switchChanged(Switch s, bool on);
    void second();
    void updateScreenSaver();
    QRect saverArea() const;

    void reportWriteFailure();
    // The pictures are read again when their files change (a logo copied
    // in while the station runs shows without a restart).
    void watchPictures();
    QString pictureSignature() const;

    Settings &m_settings;
    const DataDir &m_dir;
    MediaPlayer &m_player;
    const Clock &m_clock;
    Prompt &m_prompt;
    QWidget *m_owner;
    frmTopMost *m_overlay = nullptr;
    OverlayKeeper *m_keeper = nullptr;
    frmTimeShow *m_timeShow = nullptr;
    QPointer<QWidget> m_saverScreenOf;
    QGroupBox *m_placeBox = nullptr;
    QLineEdit *m_top = nullptr;
    QLineEdit *m_left = nullptr;
    int m_quietSeconds = 0;
    bool m_saverDismissed = false;
    std::function<bool()> m_screenBusy;
    QFileSystemWatcher *m_pictureWatch = nullptr;
    QTimer *m_pictureSettle = nullptr;
    QString m_pictureSignature;
};

} // namespace tav

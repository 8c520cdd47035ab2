#pragma once

#include <QObject>

class QGroupBox;
class QLineEdit;
class QPushButton;
class QWidget;

namespace tav {

class PlaybackController;
class Prompt;
class Settings;
class frmFullMV;
class frmPlay;

// The console's handles on the player window: the show/hide button
// (cmdOpenPlayWindow), the mini-view button (cmdNarrow), the size and place
// fields with their save button (cmdSeveSize), and full screen.
// - The window comes up, where its settings put it, when an item with a
//   picture is about to play, or when the operator asks; sound alone leaves
//   it as it was.
// - Full screen follows mpv's video output when the full-screen switch is on.
// - When a task ends the window leaves full screen and shows its picture again.
// Without a player window (video null) the buttons are disabled.
class PlayerWindowControls final : public QObject
{
    Q_OBJECT
public:
    PlayerWindowControls(frmPlay *video, PlaybackController &playback, Settings &settings, Prompt &prompt,
                         QWidget *owner);
    ~PlayerWindowControls() override;

    QPushButton *openButton() const { return m_open; }
    QPushButton *narrowButton() const { return m_narrow; }
    QGroupBox *sizeBox() const { return m_sizeBox; }

    void showVideo();
    void togglePlayWindow();
    void toggleMiniView();
    bool isMini() const;
    // Checks and stores the four size fields; the window follows the settings.
    void saveWindowSize();
    // The fields show the stored values (also after each placement).
    void loadSizeFields();
    void applyPlacement();
    // The task ended: back to the window's own size, its picture shown.
    void resetVideo();

signals:
    // The operator left full screen: the console comes to the front.
    void returnedToMain();

private:
    frmPlay *m_video;
    Settings &m_settings;
    Prompt &m_prompt;
    frmFullMV *m_fullScreen = nullptr;
    QPushButton *m_open = nullptr;
    QPushButton *m_narrow = nullptr;
    QGroupBox *m_sizeBox = nullptr;
    QLineEdit *m_sizeFields[4] = {};
};

} // namespace tav

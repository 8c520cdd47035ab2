#pragma once

#include "pictures/picturestore.h"

#include <QWidget>

#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;
class QListWidget;
class QRadioButton;

namespace tav {

class Prompt;
class Slideshow;

// The slideshow's window: the picture list and the music list with their
// buttons, the orders, the switch time, the music volume and the two music
// switches; save, play and stop. Loads "【IMAGE】.ini" when it is made and
// writes it back with cmdSave after the checks, in order:
// "图片播放时间设置不正确！" (5 … 60 seconds), "音量设置不正确！" (1 … 65535),
// then "写文件时出错" when the file cannot be written.
class frmPic final : public QWidget
{
    Q_OBJECT
public:
    using FileChooser = std::function<QStringList(const QString &title, const QString &filter)>;

    frmPic(Slideshow &slideshow, Prompt &prompt, QWidget *parent = nullptr);

    void setFileChooser(FileChooser chooser) { m_chooseFiles = std::move(chooser); }

    // The controls from the file / the controls as settings.
    void load();
    SlideshowSettings shown() const;
    // cmdSave: checks, then writes; true when written.
    bool save();
    // cmdPlay: the slideshow runs with what the window shows (after the checks).
    void play();

private:
    bool checked();
    void showCurrent(const QString &path);

    Slideshow &m_slideshow;
    Prompt &m_prompt;
    QListWidget *m_pictures = nullptr;
    QListWidget *m_music = nullptr;
    QRadioButton *m_pictureOrder[2] = {};
    QRadioButton *m_musicOrder[2] = {};
    QComboBox *m_switchTime = nullptr;
    QComboBox *m_volume = nullptr;
    QCheckBox *m_playMusic = nullptr;
    QCheckBox *m_muteOnStopDates = nullptr;
    QLabel *m_caption = nullptr; // Label5
    QLabel *m_current = nullptr;
    FileChooser m_chooseFiles;
};

} // namespace tav

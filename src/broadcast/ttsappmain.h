#pragma once

#include "broadcast/broadcastparts.h"
#include "broadcast/filechooser.h"

#include <QDialog>
#include <QHash>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSlider;
class QTableWidget;
class QTextEdit;

namespace tav {

struct BroadcastRequest;
class frmPresentation;
class frmTTSModify;

// The broadcast window: the broadcast tasks, today's waiting list, the
// scripts, the speaking panel and the event log. It lives as long as the
// program; closing only hides it.
class TTSAppMain : public QDialog
{
    Q_OBJECT
public:
    static const QStringList kTaskColumns;  // the eighteen headings, blanks and all
    static const QStringList kWaitColumns;
    static const QStringList kScriptColumns;

    TTSAppMain(BroadcastParts parts, QWidget *parent = nullptr);

    void setFileChooser(FileChooser chooser);

    // The Speak button: the panel's text with the panel's settings.
    void speak();
    // Copies a request into the panel and speaks it (the editor's play-now, a script's listen).
    void speakRequest(const BroadcastRequest &request);
    void saveToWave();  // menu "Save to a Wave File"
    void speakWave();   // menu "Speak a Wave File"
    void openText();    // menu "Open a Text File"
    // The Reading button: the panel's text as the chosen voice will get it,
    // shown under the buttons (made off the window's thread).
    void showReading();

    frmTTSModify *editor() const { return m_editor; }
    frmPresentation *scriptEditor() const { return m_scriptEditor; }

signals:
    void waveSaved(const QString &path); // the wave file is written

private:
    QWidget *buildTasks();
    QWidget *buildScripts();
    QWidget *buildPanel();
    void refreshTasks();
    void refreshWaitList();
    void refreshWaitRow(int row);
    void refreshScripts();
    void refreshButtons();
    void fillOutputs();
    void debug(const QString &line);
    void highlight(int position, int length);
    int selectedTask() const;
    int selectedScript() const;
    BroadcastRequest panelRequest() const;

    BroadcastParts m_parts;
    FileChooser m_choose;
    frmTTSModify *m_editor = nullptr;
    frmPresentation *m_scriptEditor = nullptr;
    QTableWidget *m_tasks = nullptr;
    QTableWidget *m_wait = nullptr;
    QHash<QString, QString> m_waitTexts; // broadcast → its text, as listed
    QLabel *m_waitLabel = nullptr;
    QTableWidget *m_scripts = nullptr;
    QLineEdit *m_findTask = nullptr;
    QLineEdit *m_findScript = nullptr;
    QTextEdit *m_text = nullptr;
    QLabel *m_count = nullptr;
    QComboBox *m_voice = nullptr;
    QLabel *m_voiceLabel = nullptr;
    QSlider *m_rate = nullptr;
    QSlider *m_volume = nullptr;
    QComboBox *m_format = nullptr;
    QComboBox *m_output = nullptr;
    QCheckBox *m_flags[6] = {};
    QCheckBox *m_tone = nullptr;
    QLineEdit *m_music = nullptr;
    QLineEdit *m_musicVolume = nullptr;
    QPushButton *m_speakButton = nullptr;
    QPushButton *m_pauseButton = nullptr;
    QPushButton *m_skipButton = nullptr;
    QPushButton *m_stopButton = nullptr;
    QPlainTextEdit *m_debug = nullptr;
    QPlainTextEdit *m_reading = nullptr;
};

} // namespace tav

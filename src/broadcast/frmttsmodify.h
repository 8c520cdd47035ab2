#pragma once

#include "broadcast/broadcastdraft.h"
#include "broadcast/broadcaster.h"
#include "broadcast/filechooser.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTimeEdit;

namespace tav {

struct BroadcastParts;

// One broadcast task: added, modified or viewed. Saving runs the checks of
// BroadcastDraft in their order; the first that fails is shown and nothing
// is written.
class frmTTSModify : public QDialog
{
    Q_OBJECT
public:
    enum class Mode { Add, Modify, View };
    static const QString kMusicFilter; // as the dialog has always offered it, trailing bar and all
    static const QString kWaveFilter;

    frmTTSModify(BroadcastParts &parts, QWidget *parent = nullptr);

    void openNew(const QString &content = {});
    void openTask(const BroadcastTask &task, Mode mode);
    Mode mode() const { return m_mode; }
    void setFileChooser(FileChooser chooser) { m_choose = std::move(chooser); }

    BroadcastDraft draft() const;
    // The OK button: true when saved.
    bool save();

signals:
    void saved();
    void playNow(const tav::BroadcastRequest &request);

private:
    void fill(const BroadcastDraft &d);
    void setEditable(bool on);

    BroadcastParts &m_parts;
    Mode m_mode = Mode::Add;
    int m_section = 0;
    QString m_oldName;
    FileChooser m_choose;
    QLineEdit *m_name = nullptr;
    QPlainTextEdit *m_content = nullptr;
    QTimeEdit *m_timeStart = nullptr;
    QTimeEdit *m_timeEnd = nullptr;
    QDateEdit *m_dateStart = nullptr;
    QDateEdit *m_dateEnd = nullptr;
    QCheckBox *m_week[7] = {};
    QLineEdit *m_interval = nullptr;
    QComboBox *m_switch = nullptr;
    QLineEdit *m_musicVolume = nullptr;
    QCheckBox *m_tone = nullptr;
    QComboBox *m_speaker = nullptr;
    QLabel *m_speakerLabel = nullptr;
    QLineEdit *m_rate = nullptr;
    QLineEdit *m_volume = nullptr;
    QLineEdit *m_music = nullptr;
    QLineEdit *m_delay = nullptr;
    QComboBox *m_frequency = nullptr;
    QComboBox *m_priority = nullptr;
    QPushButton *m_ok = nullptr;
};

} // namespace tav

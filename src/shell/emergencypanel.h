#pragma once

#include <QGroupBox>
#include <QWidget>

#include <functional>

class QComboBox;
class QLineEdit;
class QPushButton;

namespace tav {

class Station;

// The line at the top of the console: a text said at once (txtAnnounce,
// cmdAnnounce: queued behind a broadcast that speaks, like a timed one) and
// the emergency's start and clear button (cmdEmergency). Starting and
// clearing ask once, without holding up the clockwork; a refusal is said
// and the typed text stays.
class AnnounceBar : public QWidget
{
    Q_OBJECT
public:
    explicit AnnounceBar(Station &station, QWidget *parent = nullptr);

    // The field's text, said now; the field empties once it is accepted.
    void announceNow();
    // Starts the emergency after one question, or clears it after one;
    // `origin` says in the log where it came from.
    void toggleEmergency(const QString &origin);

private:
    Station &m_station;
    QLineEdit *m_text;
    QPushButton *m_emergency;
};

// The emergency's own settings on the settings page (fraEmergency): the text
// read in a loop, the voice and a sound file played instead. Read again
// whenever the page is shown; 保存 keeps what was typed when it is refused.
class EmergencyBox : public QGroupBox
{
    Q_OBJECT
public:
    using FileChooser = std::function<QStringList(const QString &title, const QString &filter)>;

    explicit EmergencyBox(Station &station, QWidget *parent = nullptr);

    void load();
    void save();
    // Tests answer the file dialog.
    void setFileChooser(FileChooser chooser) { m_chooseFiles = std::move(chooser); }

private:
    void chooseFile();

    Station &m_station;
    QLineEdit *m_text;
    QComboBox *m_voice;
    QLineEdit *m_file;
    FileChooser m_chooseFiles;
};

} // namespace tav

#pragma once

#include "core/datadir.h"

#include <QGroupBox>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace tav {

class Prompt;

// The web console's settings on the console's settings page: on/off, port,
// listen address, the manager's and the viewer's password, the HTTPS
// certificate and key. Saved into "【CONTROL】.ini" by 保存; the running
// station takes them at its next start (a new password counts at once).
class WebConsoleBox : public QGroupBox
{
    Q_OBJECT
public:
    WebConsoleBox(const DataDir &dir, Prompt &prompt, QWidget *parent = nullptr);

    void load();
    // Checks and writes the fields; passwords are hashed off the event loop,
    // so the answer comes through saved().
    void save();

signals:
    void saved(bool ok);

private:
    DataDir m_dir;
    Prompt &m_prompt;
    QCheckBox *m_on;
    QSpinBox *m_port;
    QComboBox *m_listen;
    QLineEdit *m_password;
    QLineEdit *m_viewerPassword;
    QCheckBox *m_noViewer;
    QLineEdit *m_certificate;
    QLineEdit *m_key;
    QPushButton *m_save;
    QLabel *m_state;
};

} // namespace tav

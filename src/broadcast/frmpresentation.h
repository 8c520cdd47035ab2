#pragma once

#include "broadcast/filechooser.h"

#include <QDialog>

class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace tav {

struct BroadcastParts;

// One broadcast script: added, edited or viewed; imported from a text file,
// listened to, or made into a broadcast task.
class frmPresentation : public QDialog
{
    Q_OBJECT
public:
    enum class Mode { Add, Edit, View };
    static const QString kImportFilter; // with its trailing bar

    frmPresentation(BroadcastParts &parts, QWidget *parent = nullptr);

    void openNew();
    void openScript(int section, const QString &title, Mode mode);
    void setFileChooser(FileChooser chooser) { m_choose = std::move(chooser); }
    bool save();

signals:
    void saved();
    void listen(const QString &text);
    void makeTask(const QString &text);

private:
    BroadcastParts &m_parts;
    Mode m_mode = Mode::Add;
    int m_section = 0;
    QString m_oldTitle;
    FileChooser m_choose;
    QLineEdit *m_title = nullptr;
    QPlainTextEdit *m_text = nullptr;
    QPushButton *m_save = nullptr;
    QPushButton *m_import = nullptr;
};

} // namespace tav

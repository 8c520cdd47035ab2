#pragma once

#include "backup/filebackup.h"

#include <QDialog>

#include <functional>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace tav {

class Clock;
class Prompt;

// "任务备份与还原": the two folders, the search and comparison, backup and
// restore. Long work runs off the window's thread while its progress shows;
// the clockwork never waits for it.
class frmFileBak : public QDialog
{
    Q_OBJECT
public:
    using FolderChooser = std::function<QString(const QString &title)>;
    // Called after a restore: the program ends at once (the default) so that
    // nothing of the old data is written back over the restored files.
    using Exit = std::function<void()>;

    frmFileBak(const QString &dataDir, Prompt &prompt, const Clock &clock, QWidget *parent = nullptr);

    // Each opening does one direction: the other button is disabled.
    void openForBackup();
    void openForRestore();

    void setFolderChooser(FolderChooser chooser) { m_choose = std::move(chooser); }
    void setExit(Exit exit) { m_exit = std::move(exit); }
    bool isBusy() const { return m_busy; }

    // The buttons' work, as the operator clicks them.
    void chooseSource();      // Command1
    void chooseDestination(); // Command2
    void searchAndCompare();  // Command3
    void backup();            // Command4
    void restore();           // Command5

signals:
    void workDone();

private:
    QString settingsFile() const;
    void saveFolders();
    void updateCompareButton(); // enabled when both folders are given and nothing runs
    bool checkFolders(const QString &source, const QString &destination);
    void setBusy(bool busy);
    void progress(const QString &text);
    // Runs `work` on a worker thread; `done` back on this one.
    void runOffThread(std::function<void()> work, std::function<void()> done);

    QString m_dataDir;
    Prompt &m_prompt;
    const Clock &m_clock;
    QLineEdit *m_source = nullptr;
    QLineEdit *m_destination = nullptr;
    QPushButton *m_buttons[6] = {};
    QListWidget *m_lists[6] = {};
    QLabel *m_status = nullptr;
    QLabel *m_progress = nullptr;
    FolderChooser m_choose;
    Exit m_exit;
    bool m_busy = false;
    bool m_backupDirection = true;
};

} // namespace tav

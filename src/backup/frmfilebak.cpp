#include "backup/frmfilebak.h"

#include "core/clock.h"
#include "platform/prompt.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QThread>

#include <cstdio>
#include <memory>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tav {

frmFileBak::frmFileBak(const QString &dataDir, Prompt &prompt, const Clock &clock, QWidget *parent)
    : QDialog(parent), m_dataDir(dataDir), m_prompt(prompt), m_clock(clock)
{
    setObjectName(u"frmFileBak"_s);
    setWindowTitle(u"任务备份与还原"_s);
    auto *grid = new QGridLayout(this);
    m_source = new QLineEdit;
    m_source->setObjectName(u"Text1"_s);
    m_destination = new QLineEdit;
    m_destination->setObjectName(u"Text2"_s);
    const QString captions[6] = {u"来源文件夹..."_s, u"目的文件夹..."_s, u"文件智能搜索与比较"_s,
                                 u"备份"_s, u"还原"_s, u"关闭"_s};
    for (int i = 0; i < 6; ++i) {
        m_buttons[i] = new QPushButton(captions[i]);
        m_buttons[i]->setObjectName(u"Command%1"_s.arg(i + 1));
        m_lists[i] = new QListWidget;
        m_lists[i]->setObjectName(u"List%1"_s.arg(i + 1));
    }
    m_buttons[3]->setToolTip(u"备份软件目录下的所有文件内容到指定的文件夹中"_s);
    m_buttons[4]->setToolTip(u"还原指定文件夹中所有文件内容到软件目录下"_s);
    const QString listTitles[6] = {u"来源文件"_s, u"目的文件"_s, u"只在来源中"_s,
                                   u"只在目的中"_s, u"内容不同"_s, u"内容相同"_s};
    grid->addWidget(new QLabel(u"来源文件夹"_s), 0, 0);
    grid->addWidget(m_source, 0, 1, 1, 4);
    grid->addWidget(m_buttons[0], 0, 5);
    grid->addWidget(new QLabel(u"目的文件夹"_s), 1, 0);
    grid->addWidget(m_destination, 1, 1, 1, 4);
    grid->addWidget(m_buttons[1], 1, 5);
    for (int i = 0; i < 6; ++i) {
        grid->addWidget(new QLabel(listTitles[i]), 2, i);
        grid->addWidget(m_lists[i], 3, i);
    }
    m_status = new QLabel;
    m_status->setObjectName(u"lblStatus"_s);
    m_progress = new QLabel;
    m_progress->setObjectName(u"lblProgress"_s);
    grid->addWidget(m_status, 4, 0, 1, 3);
    grid->addWidget(m_progress, 4, 3, 1, 3);
    for (int i = 2; i < 6; ++i)
        grid->addWidget(m_buttons[i], 5, i);
    resize(860, 420);

    connect(m_buttons[0], &QPushButton::clicked, this, &frmFileBak::chooseSource);
    connect(m_buttons[1], &QPushButton::clicked, this, &frmFileBak::chooseDestination);
    connect(m_buttons[2], &QPushButton::clicked, this, &frmFileBak::searchAndCompare);
    connect(m_buttons[3], &QPushButton::clicked, this, &frmFileBak::backup);
    connect(m_buttons[4], &QPushButton::clicked, this, &frmFileBak::restore);
    connect(m_buttons[5], &QPushButton::clicked, this, &QDialog::close);

    m_choose = [this](const QString &title) { return QFileDialog::getExistingDirectory(this, title); };
    m_exit = [] {
        // At once, without the normal exit steps: nothing may be saved over the restored files.
        std::fflush(stdout);
        ::_exit(0);
    };
    const FileBackup::Folders folders = FileBackup::openSet(settingsFile());
    m_source->setText(folders.source.isEmpty() ? m_dataDir : folders.source);
    m_destination->setText(folders.destination);
    updateCompareButton();
    // A folder typed in counts as one chosen.
    connect(m_source, &QLineEdit::textChanged, this, &frmFileBak::updateCompareButton);
    connect(m_destination, &QLineEdit::textChanged, this, &frmFileBak::updateCompareButton);
}

void frmFileBak::updateCompareButton()
{
    m_buttons[2]->setEnabled(!m_busy && !m_source->text().isEmpty() && !m_destination->text().isEmpty());
}

QString frmFileBak::settingsFile() const
{
    return QDir(m_dataDir).filePath(FileBackup::kSettingsName);
}

void frmFileBak::openForBackup()
{
    m_backupDirection = true;
    m_buttons[3]->setEnabled(true);
    m_buttons[4]->setEnabled(false);
    show();
    raise();
}

void frmFileBak::openForRestore()
{
    m_backupDirection = false;
    m_buttons[3]->setEnabled(false);
    m_buttons[4]->setEnabled(true);
    show();
    raise();
}

void frmFileBak::chooseSource()
{
    const QString dir = m_choose(u"请选择文件夹"_s);
    if (dir.isEmpty())
        return;
    m_source->setText(dir);
    saveFolders();
}

void frmFileBak::chooseDestination()
{
    m_prompt.inform(u"提示"_s, u"请保证所选的路径文件夹是空文件的，否则新建文件夹再备份任务"_s);
    const QString dir = m_choose(u"请选择文件夹"_s);
    if (dir.isEmpty())
        return;
    m_destination->setText(dir);
    saveFolders();
}

void frmFileBak::saveFolders()
{
    QString error;
    if (!FileBackup::saveSet(settingsFile(), {m_source->text(), m_destination->text()}, &error))
        m_status->setText(u"无法保存文件夹设置："_s + error);
}

bool frmFileBak::checkFolders(const QString &source, const QString &destination)
{
    const QString refused = FileBackup::check(source, destination);
    if (refused.isEmpty())
        return true;
    m_prompt.inform(u"警告"_s, refused);
    return false;
}

void frmFileBak::setBusy(bool busy)
{
    m_busy = busy;
    for (int i = 0; i < 2; ++i)
        m_buttons[i]->setEnabled(!busy);
    updateCompareButton();
    m_buttons[3]->setEnabled(!busy && m_backupDirection);
    m_buttons[4]->setEnabled(!busy && !m_backupDirection);
}

void frmFileBak::progress(const QString &text)
{
    if (text.startsWith(u"搜索"_s) || text == u"分析来源文件夹" || text == u"分析目的文件夹")
        m_status->setText(text);
    else
        m_progress->setText(text);
}

void frmFileBak::runOffThread(std::function<void()> work, std::function<void()> done)
{
    setBusy(true);
    QThread *worker = QThread::create(std::move(work));
    connect(worker, &QThread::finished, this, [this, worker, done = std::move(done)] {
        worker->deleteLater();
        setBusy(false);
        done();
        emit workDone();
    });
    worker->start();
}

void frmFileBak::searchAndCompare()
{
    const QString source = m_source->text(), destination = m_destination->text();
    if (!checkFolders(source, destination))
        return;
    saveFolders();
    for (QListWidget *list : m_lists)
        list->clear();
    auto result = std::make_shared<FileBackup::Comparison>();
    QPointer<frmFileBak> self(this);
    const FileBackup::Progress report = [self](const QString &text, int) {
        QMetaObject::invokeMethod(self, [self, text] { if (self) self->progress(text); }, Qt::QueuedConnection);
    };
    runOffThread([=] { *result = FileBackup::compare(source, destination, report); },
                 [this, result] {
                     m_lists[0]->addItems(result->sourceFiles);
                     m_lists[1]->addItems(result->destinationFiles);
                     m_lists[2]->addItems(result->onlyInSource);
                     m_lists[3]->addItems(result->onlyInDestination);
                     m_lists[4]->addItems(result->differing);
                     m_lists[5]->addItems(result->same);
                     m_status->setText(u"比较完成：来源 %1 个文件，目的 %2 个文件"_s.arg(result->sourceFiles.size())
                                           .arg(result->destinationFiles.size()));
                 });
}

void frmFileBak::backup()
{
    const QString source = m_source->text(), destination = m_destination->text();
    if (!checkFolders(source, destination))
        return;
    saveFolders();
    auto result = std::make_shared<FileBackup::CopyResult>();
    QPointer<frmFileBak> self(this);
    const FileBackup::Progress report = [self](const QString &text, int) {
        QMetaObject::invokeMethod(self, [self, text] { if (self) self->progress(text); }, Qt::QueuedConnection);
    };
    runOffThread([=] { *result = FileBackup::backup(source, destination, report); },
                 [this, result] {
                     QString text;
                     if (!result->failed.isEmpty())
                         text += u"以下文件未能复制：\n"_s + result->failed.join(u'\n');
                     if (!result->skipped.isEmpty())
                         text += (text.isEmpty() ? QString() : u"\n"_s) + u"以下符号链接未跟随，未备份：\n"_s
                                 + result->skipped.join(u'\n');
                     if (result->failed.isEmpty())
                         m_status->setText(u"已完成操作！"_s);
                     else
                         m_status->setText(u"已完成操作，%1 个文件未能复制"_s.arg(result->failed.size()));
                     if (!text.isEmpty())
                         m_prompt.inform(u"提示"_s, text);
                 });
}

// The backup folder (the destination of backups) back into the data folder.
void frmFileBak::restore()
{
    const QString backupDir = m_destination->text();
    if (!checkFolders(backupDir, m_dataDir))
        return;
    if (!m_prompt.ask(u"警告"_s,
                      u"该操作会删除软件根目录下所有（*.ini）和（*.txt）原文件内容并会退出软件，需要您手动运行软件才能生效，您真的要执行吗？"_s,
                      false))
        return;
    auto result = std::make_shared<FileBackup::RestoreResult>();
    QPointer<frmFileBak> self(this);
    const FileBackup::Progress report = [self](const QString &text, int) {
        QMetaObject::invokeMethod(self, [self, text] { if (self) self->progress(text); }, Qt::QueuedConnection);
    };
    const QString dataDir = m_dataDir;
    const QDateTime now = m_clock.now();
    runOffThread([=] { *result = FileBackup::restore(backupDir, dataDir, now, report); },
                 [this, result] {
                     if (!result->error.isEmpty()) {
                         m_prompt.inform(u"提示"_s, result->error);
                         return;
                     }
                     QString text = u"已完成操作，退出软件！"_s;
                     if (!result->setAside.isEmpty())
                         text += u"\n原有文件已移到：\n"_s + result->setAside + u"\n如需撤销，可从该文件夹还原。"_s;
                     if (!result->copy.skipped.isEmpty())
                         text += u"\n以下符号链接未跟随，未还原：\n"_s + result->copy.skipped.join(u'\n');
                     m_prompt.inform(u"提示"_s, text);
                     m_exit();
                 });
}

} // namespace tav

#pragma once

#include <QString>

namespace tav {

// The station's data folder: every INI file, the play log and the pictures
// the operator drops in live here, under the names the original software used.
class DataDir
{
public:
    explicit DataDir(QString root) : m_root(std::move(root)) {}

    // --data-dir when given, else the executable's folder when writable,
    // else $XDG_DATA_HOME/tavplayer. Creates the folder when missing.
    static QString resolve(const QString &explicitDir, QString *error);
    // The same choice with the executable's folder and the per-user folder
    // given. A shared program folder such as /usr/bin is never a data
    // folder, even for root, who can write there.
    static QString resolve(const QString &explicitDir, const QString &exeDir, const QString &userDir,
                           QString *error);
    static bool isSharedProgramFolder(const QString &dir);

    const QString &root() const { return m_root; }
    QString file(const QString &name) const { return m_root + u'/' + name; }

    // Whether a name read from a file or typed by the operator makes a file
    // name inside the folder: not empty, no separator of either system, no
    // NUL, and not starting with a dot (so neither ".." nor a hidden file).
    // Also refused: a name of the program's own files ("【SONG】", "【PLAYLOG】"
    // …, in any case), so that no task, broadcast or script ever reads,
    // writes, renames or deletes one of them through its name.
    static bool isSafeName(const QString &name);
    static bool isReservedName(const QString &name);
    // Why a name typed by the operator cannot make a file (empty when it can):
    // `what` names the field ("任务名称", "标题").
    static QString nameProblem(const QString &name, const QString &what);
    // The one way a path is made from a name: the folder + the trimmed name +
    // `suffix`, or an empty text for a name that is not safe (which every
    // reader, writer and remover treats as no file). A refused name that is
    // not empty is told to DataFaults.
    QString nameFile(const QString &name, const QString &suffix) const;
    // The list file of a task (or the text file of a voice broadcast).
    QString taskListFile(const QString &taskName) const { return nameFile(taskName, QStringLiteral(".ini")); }

    QString song() const;
    QString control() const;
    QString timerSet() const;
    QString stopDates() const;
    QString playLog() const;
    QString tts() const;  // the voice broadcasts
    QString tone() const; // the prompt tone played before a broadcast

    // The path of a file the operator puts in the folder under a fixed name
    // ("LOGO.bmp", "TONE.wav" …), found whatever the case of its letters, as
    // a folder carried over from Windows may have "tone.wav" or "Logo.BMP".
    // The exact spelling wins; otherwise the first match in name order. A
    // symlink that leads out of the folder is not taken. Without a match:
    // the path under the given name (which does not exist). The folder is
    // read again only when it has changed since the last look.
    QString fixedFile(const QString &name) const;

    static inline const QString kLogo = QStringLiteral("LOGO.bmp");
    static inline const QString kBackground = QStringLiteral("PBG.JPG");
    static inline const QString kPlayerBackground = QStringLiteral("Vbg.jpg");
    static inline const QString kTitlePicture = QStringLiteral("BG800X600.JPG");
    static inline const QString kTone = QStringLiteral("TONE.wav");

private:
    QString m_root;
};

} // namespace tav

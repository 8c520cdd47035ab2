#include "core/datadir.h"

#include "core/datafaults.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QHash>
#include <QMutex>
#include <QFileInfo>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace tav {

QString DataDir::resolve(const QString &explicitDir, QString *error)
{
    return resolve(explicitDir, QCoreApplication::applicationDirPath(),
                   QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/tavplayer"_s, error);
}

bool DataDir::isSharedProgramFolder(const QString &dir)
{
    static const QStringList shared = {u"/usr/bin"_s, u"/usr/sbin"_s, u"/usr/local/bin"_s, u"/usr/local/sbin"_s,
                                       u"/usr/games"_s, u"/bin"_s, u"/sbin"_s};
    const QString clean = QDir::cleanPath(dir);
    const QString real = QFileInfo(clean).canonicalFilePath();
    return shared.contains(clean) || (!real.isEmpty() && shared.contains(real));
}

QString DataDir::resolve(const QString &explicitDir, const QString &exeDir, const QString &userDir, QString *error)
{
    QString dir = explicitDir;
    if (dir.isEmpty())
        dir = QFileInfo(exeDir).isWritable() && !isSharedProgramFolder(exeDir) ? exeDir : userDir;
    dir = QDir(dir).absolutePath();
    if (!QDir().mkpath(dir) || !QFileInfo(dir).isDir()) {
        if (error)
            *error = u"无法创建数据文件夹：%1"_s.arg(dir);
        return QString();
    }
    return dir;
}

bool DataDir::isReservedName(const QString &name)
{
    static const QStringList own = {u"【SONG】"_s,  u"【CONTROL】"_s,      u"【TIMERSET】"_s, u"【DATE】"_s,
                                    u"【IMAGE】"_s, u"【TTS】"_s,          u"【PRESENTATION】"_s,
                                    u"【SCROLL】"_s, u"【PLAYLOG】"_s,     u"【FILEBAK】"_s};
    QString n = name.trimmed();
    // "【SONG】.ini" typed whole is the same file under another suffix.
    for (const QString &suffix : {u".ini"_s, u".txt"_s})
        if (n.endsWith(suffix, Qt::CaseInsensitive))
            n.chop(suffix.size());
    return own.contains(n.trimmed(), Qt::CaseInsensitive);
}

bool DataDir::isSafeName(const QString &name)
{
    const QString n = name.trimmed();
    if (n.isEmpty() || n.startsWith(u'.'))
        return false;
    for (const QChar c : n)
        if (c == u'/' || c == u'\\'|| c.isNull())
            return false;
    return !isReservedName(n);
}

QString DataDir::nameProblem(const QString &name, const QString &what)
{
    if (name.trimmed().isEmpty())
        return u"%1不能为空"_s.arg(what);
    if (isReservedName(name))
        return u"“%1”是程序自用的文件名，%2请换一个"_s.arg(name.trimmed(), what);
    if (!isSafeName(name))
        return u"%1不能包含“/”“\\”，也不能以“.”开头"_s.arg(what);
    return {};
}

QString DataDir::nameFile(const QString &name, const QString &suffix) const
{
    if (!isSafeName(name)) {
        if (!name.trimmed().isEmpty())
            DataFaults::instance().refusedName(name.trimmed(), u"文件"_s);
        return QString();
    }
    return file(name.trimmed() + suffix);
}

QString DataDir::song() const { return file(u"【SONG】.ini"_s); }
QString DataDir::control() const { return file(u"【CONTROL】.ini"_s); }
QString DataDir::timerSet() const { return file(u"【TIMERSET】.ini"_s); }
QString DataDir::stopDates() const { return file(u"【DATE】.ini"_s); }
QString DataDir::playLog() const { return file(u"【PLAYLOG】.txt"_s); }
QString DataDir::tts() const { return file(u"【TTS】.ini"_s); }
QString DataDir::tone() const { return fixedFile(kTone); }

namespace {

bool insideFolder(const QFileInfo &entry, const QString &canonicalRoot)
{
    if (!entry.isSymLink())
        return true;
    const QString target = entry.canonicalFilePath();
    return !target.isEmpty() && target.startsWith(canonicalRoot + u'/');
}

// The folder's names, kept while its modification time stays the same and
// was already a second old when they were read (file times are coarse: a
// change in the same tick as the read would not show in the time).
struct FolderNames
{
    QDateTime modified;
    QDateTime readAt;
    QStringList names;
};

} // namespace

QString DataDir::fixedFile(const QString &name) const
{
    const QString exact = file(name);
    const QFileInfo folder(m_root);
    const QString canonicalRoot = folder.canonicalFilePath();
    if (canonicalRoot.isEmpty())
        return exact;
    if (QFileInfo::exists(exact))
        return insideFolder(QFileInfo(exact), canonicalRoot) ? exact : QString();

    static QMutex mutex;
    static QHash<QString, FolderNames> seen;
    const QDateTime modified = folder.lastModified();
    QStringList names;
    {
        QMutexLocker lock(&mutex);
        auto it = seen.find(canonicalRoot);
        if (it == seen.end() || it->modified != modified || it->readAt < modified.addSecs(1)) {
            if (seen.size() > 16)
                seen.clear();
            it = seen.insert(canonicalRoot,
                             {modified, QDateTime::currentDateTimeUtc(),
                              QDir(m_root).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name)});
        }
        names = it->names;
    }
    for (const QString &candidate : std::as_const(names))
        if (candidate.compare(name, Qt::CaseInsensitive) == 0) {
            const QString path = file(candidate);
            if (insideFolder(QFileInfo(path), canonicalRoot))
                return path;
        }
    return exact;
}

} // namespace tav

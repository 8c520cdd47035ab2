#include "core/datawatcher.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileSystemWatcher>
#include <QHash>
#include <QSet>
#include <QThread>
#include <QTimer>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

constexpr int kPollMs = 100;    // while something is settling
constexpr int kRescanMs = 1000; // in case a notification was lost

struct Signature
{
    quint64 inode = 0;
    qint64 size = -1;
    qint64 mtimeNs = 0;
    qint64 ctimeNs = 0;
    bool operator==(const Signature &) const = default;
};

bool signatureOf(const QString &path, Signature *sig)
{
    struct stat st;
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return false; // gone, or a link or folder: no data file
    sig->inode = st.st_ino;
    sig->size = st.st_size;
    sig->mtimeNs = qint64(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec;
    sig->ctimeNs = qint64(st.st_ctim.tv_sec) * 1'000'000'000 + st.st_ctim.tv_nsec;
    return true;
}

} // namespace

bool DataWatcher::isDataFileName(const QString &name)
{
    if (name.isEmpty() || name.startsWith(u'.') || name.startsWith(u'~'))
        return false;
    return name.endsWith(u".ini"_s, Qt::CaseInsensitive) || name.endsWith(u".txt"_s, Qt::CaseInsensitive);
}

class DataWatcher::Worker : public QObject
{
    Q_OBJECT
public:
    Worker() : m_poll(this), m_rescan(this)
    {
        m_poll.setInterval(kPollMs);
        connect(&m_poll, &QTimer::timeout, this, &Worker::scan);
        m_rescan.setInterval(kRescanMs);
        connect(&m_rescan, &QTimer::timeout, this, &Worker::scan);
    }

    void watch(const QString &dir, const QStringList &ignored, int settleMs)
    {
        stop();
        m_dir = dir;
        m_ignored = QSet<QString>(ignored.begin(), ignored.end());
        m_settleMs = settleMs;
        m_watcher = new QFileSystemWatcher(this);
        connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &Worker::wake);
        connect(m_watcher, &QFileSystemWatcher::fileChanged, this, &Worker::wake);
        m_watcher->addPath(dir);
        m_clock.start();
        m_taken = current();
        for (auto it = m_taken.cbegin(); it != m_taken.cend(); ++it)
            m_watcher->addPath(m_dir + u'/' + it.key());
        m_rescan.start();
    }

    void stop()
    {
        m_poll.stop();
        m_rescan.stop();
        delete m_watcher;
        m_watcher = nullptr;
        m_taken.clear();
        m_pending.clear();
    }

signals:
    void changed(const QStringList &names);

private:
    struct Pending
    {
        Signature sig;
        bool exists = false;
        qint64 since = 0; // when it was first seen like this
    };

    void wake()
    {
        if (!m_poll.isActive()) {
            scan();
            m_poll.start();
        }
    }

    QHash<QString, Signature> current() const
    {
        QHash<QString, Signature> files;
        const QStringList names = QDir(m_dir).entryList(QDir::Files | QDir::Hidden | QDir::System);
        for (const QString &name : names) {
            Signature sig;
            if (isDataFileName(name) && !m_ignored.contains(name) && signatureOf(m_dir + u'/' + name, &sig))
                files.insert(name, sig);
        }
        return files;
    }

    void scan()
    {
        if (!m_watcher)
            return;
        const qint64 now = m_clock.elapsed();
        const QHash<QString, Signature> files = current();
        QSet<QString> names(m_taken.keyBegin(), m_taken.keyEnd());
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            names.insert(it.key());
        QStringList settled;
        for (const QString &name : std::as_const(names)) {
            const auto file = files.constFind(name);
            const auto taken = m_taken.constFind(name);
            const bool exists = file != files.cend();
            if (exists == (taken != m_taken.cend()) && (!exists || *file == *taken)) {
                m_pending.remove(name); // back as it was told last
                continue;
            }
            const Signature sig = exists ? *file : Signature{};
            // A file renamed over the old one was written whole elsewhere:
            // it is taken at once. Any other change settles first.
            const bool replaced = exists && taken != m_taken.cend() && taken->inode != sig.inode;
            auto pending = m_pending.find(name);
            if (!replaced) {
                if (pending == m_pending.end() || pending->exists != exists || !(pending->sig == sig)) {
                    m_pending.insert(name, Pending{sig, exists, now});
                    continue;
                }
                if (now - pending->since < m_settleMs)
                    continue;
            }
            m_pending.remove(name);
            const QString path = m_dir + u'/' + name;
            if (exists) {
                // A new file (a new inode) is watched afresh.
                if (taken == m_taken.cend() || taken->inode != sig.inode) {
                    m_watcher->removePath(path);
                    m_watcher->addPath(path);
                }
                m_taken.insert(name, sig);
            } else {
                m_taken.remove(name);
                m_watcher->removePath(path);
            }
            settled.append(name);
        }
        if (m_pending.isEmpty())
            m_poll.stop();
        else if (!m_poll.isActive())
            m_poll.start();
        if (!settled.isEmpty()) {
            settled.sort();
            emit changed(settled);
        }
    }

    QString m_dir;
    QSet<QString> m_ignored;
    int m_settleMs = kSettleMs;
    QFileSystemWatcher *m_watcher = nullptr;
    QTimer m_poll;
    QTimer m_rescan;
    QElapsedTimer m_clock;
    QHash<QString, Signature> m_taken; // as last told (or found at the start)
    QHash<QString, Pending> m_pending; // differing from that, settling
};

DataWatcher::DataWatcher(QObject *parent) : QObject(parent)
{
}

DataWatcher::~DataWatcher()
{
    stop();
}

void DataWatcher::watch(const QString &dir, const QStringList &ignoredNames, int settleMs)
{
    if (!m_thread) {
        m_thread = new QThread(this);
        m_thread->setObjectName(u"data watcher"_s);
        m_worker = new Worker;
        m_worker->moveToThread(m_thread);
        connect(m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
        connect(m_worker, &Worker::changed, this, &DataWatcher::changed);
        m_thread->start();
    }
    QMetaObject::invokeMethod(m_worker, [w = m_worker, dir, ignoredNames, settleMs] {
        w->watch(dir, ignoredNames, settleMs);
    }, Qt::BlockingQueuedConnection); // changes from here on are told
}

void DataWatcher::stop()
{
    if (!m_thread)
        return;
    QMetaObject::invokeMethod(m_worker, [w = m_worker] { w->stop(); }, Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
    m_worker = nullptr;
}

} // namespace tav

#include "datawatcher.moc"

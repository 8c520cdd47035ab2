#include "core/datafaults.h"

#include "core/atomicfile.h"
#include "core/clock.h"

using namespace Qt::StringLiterals;

namespace tav {

namespace {
constexpr qint64 kRetellSeconds = 3600;
}

DataFaults &DataFaults::instance()
{
    static DataFaults faults;
    return faults;
}

QDateTime DataFaults::now() const
{
    return m_clock ? m_clock->now() : QDateTime::currentDateTime();
}

bool DataFaults::shouldTell(const QString &kind, const QString &path)
{
    // Called with m_mutex held.
    const QString key = kind + u'\n' + path;
    const QDateTime at = now();
    const auto it = m_told.constFind(key);
    // A clock stepped back counts as an hour gone by.
    if (it != m_told.cend() && it->secsTo(at) >= 0 && it->secsTo(at) < kRetellSeconds)
        return false;
    m_told.insert(key, at);
    return true;
}

void DataFaults::noteUnreadable(const QString &path, const QString &why, const QString &message)
{
    QMutexLocker lock(&m_mutex);
    const bool fresh = !m_unreadable.contains(path);
    m_unreadable.insert(path, why);
    const bool tell = shouldTell(u"read"_s, path);
    lock.unlock();
    if (fresh)
        emit changed();
    if (tell)
        emit fault(message);
}

void DataFaults::unreadable(const QString &path, const QString &why)
{
    noteUnreadable(path, why, u"无法读取数据文件“%1”（%2），其中的内容没有使用，文件保持原样"_s.arg(path, why));
}

void DataFaults::rejected(const QString &path, const QString &why)
{
    {
        QMutexLocker lock(&m_mutex);
        m_rejected.insert(path);
    }
    noteUnreadable(path, why, u"数据文件“%1”已被其他程序修改，但内容不完整（%2），继续使用原有内容"_s.arg(path, why));
}

void DataFaults::unwritable(const QString &path, const QString &why, const QByteArray &bytes)
{
    QMutexLocker lock(&m_mutex);
    const bool fresh = !m_pending.contains(path);
    m_pending.insert(path, bytes);
    const bool tell = shouldTell(u"write"_s, path);
    lock.unlock();
    if (fresh)
        emit changed();
    if (tell)
        emit fault(u"保存数据文件“%1”失败（%2），内容保留在内存中，稍后自动重试"_s.arg(path, why));
}

void DataFaults::refusedName(const QString &name, const QString &what)
{
    QMutexLocker lock(&m_mutex);
    const bool tell = shouldTell(u"name"_s, name);
    lock.unlock();
    if (tell)
        emit fault(u"名称“%1”会指向数据文件夹以外，不读写其%2"_s.arg(name, what));
}

void DataFaults::leftOut(const QString &key, const QString &text)
{
    QMutexLocker lock(&m_mutex);
    const bool tell = shouldTell(u"leftOut"_s, key);
    lock.unlock();
    if (tell)
        emit fault(text);
}

void DataFaults::readOk(const QString &path)
{
    QMutexLocker lock(&m_mutex);
    if (m_unreadable.isEmpty() || m_rejected.contains(path) || !m_unreadable.remove(path))
        return;
    lock.unlock();
    emit changed();
}

void DataFaults::takenIn(const QString &path)
{
    QMutexLocker lock(&m_mutex);
    m_rejected.remove(path);
    if (!m_unreadable.remove(path))
        return;
    lock.unlock();
    emit changed();
}

void DataFaults::written(const QString &path)
{
    QMutexLocker lock(&m_mutex);
    if (m_pending.isEmpty() && m_unreadable.isEmpty())
        return;
    const bool wasPending = m_pending.remove(path);
    const bool wasUnreadable = m_unreadable.remove(path);
    lock.unlock();
    if (wasPending)
        emit fault(u"数据文件“%1”已补写保存"_s.arg(path));
    if (wasPending || wasUnreadable)
        emit changed();
}

bool DataFaults::pending(const QString &path, QByteArray *bytes) const
{
    QMutexLocker lock(&m_mutex);
    if (m_pending.isEmpty())
        return false;
    const auto it = m_pending.constFind(path);
    if (it == m_pending.cend())
        return false;
    if (bytes)
        *bytes = *it;
    return true;
}

void DataFaults::forget(const QString &path)
{
    QMutexLocker lock(&m_mutex);
    const bool hadPending = m_pending.remove(path);
    const bool hadUnreadable = m_unreadable.remove(path);
    lock.unlock();
    if (hadPending || hadUnreadable)
        emit changed();
}

int DataFaults::retry()
{
    QMutexLocker lock(&m_mutex);
    const QHash<QString, QByteArray> kept = m_pending;
    lock.unlock();
    for (auto it = kept.cbegin(); it != kept.cend(); ++it)
        writeFileAtomically(it.key(), it.value());
    lock.relock();
    return int(m_pending.size());
}

QStringList DataFaults::outstanding() const
{
    QMutexLocker lock(&m_mutex);
    QStringList lines;
    for (auto it = m_unreadable.cbegin(); it != m_unreadable.cend(); ++it)
        lines.append(u"无法读取“%1”"_s.arg(it.key()));
    for (auto it = m_pending.cbegin(); it != m_pending.cend(); ++it)
        lines.append(u"未能保存“%1”"_s.arg(it.key()));
    lines.sort();
    return lines;
}

void DataFaults::reset()
{
    QMutexLocker lock(&m_mutex);
    m_told.clear();
    m_pending.clear();
    m_unreadable.clear();
    m_rejected.clear();
    m_clock = nullptr;
    lock.unlock();
    emit changed();
}

} // namespace tav

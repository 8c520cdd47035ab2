#include "core/messagelog.h"

#include "core/atomicfile.h"
#include "core/clock.h"
#include "core/ini.h"
#include "core/zhtext.h"

#include <QFile>
#include <QStringDecoder>
#include <QTimer>

#include <limits>

using namespace Qt::StringLiterals;

namespace tav {

namespace {
const QString kCrLf = u"\r\n"_s;

// GBK, as the station writes it. Chinese GBK text is almost never valid
// UTF-8, while UTF-8 Chinese often passes as GBK: so a log that is valid
// UTF-8 was written by another tool and is read as such.
QString decodeLog(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(bytes);
    return utf8.hasError() ? fromGbk(bytes) : text;
}
} // namespace

MessageLog::MessageLog(QString playLogPath, const Clock &clock, QObject *parent)
    : QObject(parent), m_path(std::move(playLogPath)), m_clock(clock), m_caption(u"消息"_s)
{
}

MessageLog::~MessageLog()
{
    flush();
}

void MessageLog::startUp()
{
    transfer(Transfer::Load);
    transfer(Transfer::Recount);
    m_firstMessage = true;
}

void MessageLog::append(const QString &message)
{
    if (m_count < std::numeric_limits<qint16>::max())
        ++m_count;
    m_caption = u"消息共%1条"_s.arg(m_count);
    if (m_firstMessage || m_text.isEmpty()) {
        m_firstMessage = false;
        setText(m_text + message);
    } else {
        setText(m_text + kCrLf + message);
    }
    emit messageAdded(message);
    if (m_count > kMaxMessages || m_text.size() > kMaxChars) {
        m_caption = u"消息"_s;
        setText(zh::stampedLine(m_clock.now(),
                                u"消息已超出1000条或字符数已超出60000个，所以自动清空"_s));
        m_count = 0;
    }
    emit changed();
}

void MessageLog::clear()
{
    m_text.clear();
    m_caption = u"消息"_s;
    m_count = 0;
    m_savePending = false;
    transfer(Transfer::Clear);
    emit changed();
}

void MessageLog::transfer(Transfer mode)
{
    switch (mode) {
    case Transfer::Load: {
        QByteArray bytes;
        if (readWholeFile(m_path, &bytes))
            setText(decodeLog(bytes));
        break;
    }
    case Transfer::Clear:
        writeFileAtomically(m_path, QByteArray());
        break;
    case Transfer::Save:
        writeFileAtomically(m_path, toGbk(m_text + kCrLf));
        break;
    case Transfer::Recount: {
        const qsizetype breaks = m_text.count(kCrLf);
        if (breaks <= std::numeric_limits<qint16>::max()) // an overflow leaves the count
            m_count = int(breaks);
        break;
    }
    }
}

void MessageLog::flush()
{
    if (!m_savePending)
        return;
    m_savePending = false;
    transfer(Transfer::Save);
}

void MessageLog::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    scheduleSave();
}

void MessageLog::scheduleSave()
{
    if (m_savePending)
        return;
    m_savePending = true;
    QTimer::singleShot(0, this, &MessageLog::flush);
}

} // namespace tav

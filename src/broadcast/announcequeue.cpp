#include "broadcast/announcequeue.h"

#include "core/clock.h"
#include "core/messagelog.h"
#include "core/zhtext.h"

#include <QFileInfo>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

namespace tav {

AnnounceQueue::AnnounceQueue(const Clock &clock, Broadcaster &broadcaster, MessageLog &messages, QObject *parent)
    : QObject(parent), m_clock(clock), m_broadcaster(broadcaster), m_log(messages)
{
    // After the broadcast in progress, as a timed one held back would go.
    connect(&m_broadcaster, &Broadcaster::finished, this,
            [this] { QTimer::singleShot(0, this, &AnnounceQueue::startNext); });
}

BroadcastRequest AnnounceQueue::requestFor(const AnnounceRequest &request)
{
    BroadcastRequest r;
    r.name = kName;
    r.text = request.text;
    if (!request.speaker.trimmed().isEmpty())
        r.speaker = request.speaker.trimmed();
    r.frequency = qBound(1, request.repeat, 10);
    r.textIsFile = request.file;
    r.tone = request.tone;
    r.rate = qBound(-10, request.rate, 10);
    r.musicVolume = qBound(0, request.musicVolume, 100);
    return r;
}

bool AnnounceQueue::submit(const AnnounceRequest &request, const QString &origin, QString *error)
{
    const auto refuse = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    if (m_held)
        return refuse(u"紧急广播中，不能插播"_s);
    if (request.text.trimmed().isEmpty())
        return refuse(u"朗读内容不能为空"_s);
    if (request.file && !QFileInfo(request.text).isFile())
        return refuse(u"找不到声音文件："_s + request.text);
    if (request.repeat < 1 || request.repeat > 10)
        return refuse(u"重复次数应为 1 到 10"_s);
    if (m_waiting.size() >= kMaxWaiting)
        return refuse(u"等待插播的内容已有%1条，请稍后再试"_s.arg(kMaxWaiting));
    const QString shown = request.text.simplified().left(40);
    if (m_broadcaster.isBusy() || !m_waiting.isEmpty()) {
        log(u"插播（%1）：等当前播音结束后播出：%2"_s.arg(origin, shown));
        m_waiting.append(requestFor(request));
        return true;
    }
    log(u"插播（%1）：%2"_s.arg(origin, shown));
    m_broadcaster.speak(requestFor(request));
    return true;
}

void AnnounceQueue::setHeld(bool held)
{
    m_held = held;
    if (!held)
        return;
    for (const BroadcastRequest &dropped : std::exchange(m_waiting, {}))
        log(u"紧急广播：等待中的插播已取消：%1"_s.arg(dropped.text.simplified().left(40)));
}

void AnnounceQueue::startNext()
{
    if (m_held || m_waiting.isEmpty() || m_broadcaster.isBusy())
        return;
    m_broadcaster.speak(m_waiting.takeFirst());
}

void AnnounceQueue::log(const QString &text)
{
    m_log.append(zh::stampedLine(m_clock.now(), text));
}

} // namespace tav

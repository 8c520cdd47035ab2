#pragma once

#include "broadcast/broadcaster.h"

#include <QList>
#include <QObject>

namespace tav {

class Clock;
class MessageLog;

// What an operator asks to be said now.
struct AnnounceRequest
{
    QString text = {};      // read aloud; or the sound file to play when `file` is set
    QString speaker = {};   // a voice's name; empty: the broadcasts' default
    int repeat = 1;         // readings, 1 … 10
    bool file = false;
    bool tone = true;       // the prompt tone first
    int rate = 0;           // -10 … 10
    int musicVolume = 30;   // percent: the media's volume while it speaks
};

// Announcements made now go the timed broadcasts' way (tone, voice,
// repeats, the media turned down and brought back step by step), in the
// order asked, each after the broadcast in progress. Held (an emergency),
// none is taken and those waiting are dropped, each logged.
class AnnounceQueue : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaxWaiting = 20;
    static inline const QString kName = QStringLiteral("插播");

    AnnounceQueue(const Clock &clock, Broadcaster &broadcaster, MessageLog &log, QObject *parent = nullptr);

    // False, with why, for an empty text, a missing sound file, a full
    // queue or while held.
    bool submit(const AnnounceRequest &request, const QString &origin, QString *error);
    void setHeld(bool held);
    qsizetype waiting() const { return m_waiting.size(); }

    static BroadcastRequest requestFor(const AnnounceRequest &request);

private:
    void startNext();
    void log(const QString &text);

    const Clock &m_clock;
    Broadcaster &m_broadcaster;
    MessageLog &m_log;
    QList<BroadcastRequest> m_waiting;
    bool m_held = false;
};

} // namespace tav

#pragma once

#include <QObject>
#include <QString>

namespace tav {

class Clock;

// The running log of what the station did, mirrored whole into
// "【PLAYLOG】.txt" (GBK) after every change. Rules:
// - append() counts the message, joins it with CRLF to the text (without a
//   line break for the first message after start-up or into an empty log);
// - past 1000 messages or 60000 characters the log clears itself down to
//   one notice;
// - the file always holds the text plus one CRLF. Saves made during one
//   pass of the event loop are written once, at its end (flush() forces it).
class MessageLog : public QObject
{
    Q_OBJECT
public:
    enum class Transfer : qint16 { Load = 1, Clear = 2, Save = 3, Recount = 4 };

    static constexpr int kMaxMessages = 1000;
    static constexpr int kMaxChars = 60000;

    MessageLog(QString playLogPath, const Clock &clock, QObject *parent = nullptr);
    ~MessageLog() override;

    // Start-up: load the play log, recount it, and join the next message to it.
    void startUp();
    void append(const QString &message);
    // The operator's clear button: empty log, count 0, play log truncated.
    void clear();
    void transfer(Transfer mode);
    void flush();

    const QString &text() const { return m_text; }
    int count() const { return m_count; }
    const QString &caption() const { return m_caption; }

signals:
    void changed();
    void messageAdded(const QString &message);

private:
    void setText(const QString &text);
    void scheduleSave();

    QString m_path;
    const Clock &m_clock;
    QString m_text;
    QString m_caption;
    int m_count = 0; // a 16-bit counter in the log's own terms
    bool m_firstMessage = false;
    bool m_savePending = false;
};

} // namespace tav

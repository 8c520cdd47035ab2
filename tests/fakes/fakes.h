#pragma once

#include "core/clock.h"
#include "platform/clocksetter.h"
#include "platform/mediaplayer.h"
#include "platform/prompt.h"
#include "platform/shutdown.h"
#include "platform/speech.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <atomic>
#include <mutex>
#include <ostream>

// Failures show Qt strings as text, not as their bytes.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace tav::test {

// set() and advance() let time pass (the monotonic clock moves the same
// way, even back: a test rewinding is not a clock step); step() sets the wall
// clock as a time service does, leaving the monotonic clock where it is.
class FakeClock final : public Clock
{
public:
    explicit FakeClock(QDateTime t) : m_now(std::move(t)) {}
    QDateTime now() const override { return m_now; }
    qint64 monotonicMs() const override { return m_mono; }
    void set(const QDateTime &t)
    {
        m_mono += m_now.msecsTo(t);
        m_now = t;
    }
    void advance(int seconds) { set(m_now.addSecs(seconds)); }
    void advanceMs(qint64 ms) { set(m_now.addMSecs(ms)); }
    void step(qint64 seconds) { m_now = m_now.addSecs(seconds); }

private:
    QDateTime m_now;
    qint64 m_mono = 1'000'000;
};

// Records what it was told to play; the test decides when items end or fail.
class FakePlayer final : public MediaPlayer
{
public:
    void open(const QString &url) override;
    void play() override { setState(State::Playing); }
    void pause() override { setState(State::Paused); }
    void stop() override { setState(State::Stopped); }
    State state() const override { return m_state; }
    QString currentUrl() const override { return m_url; }
    void setVolume(int v) override { m_volume = v; }
    int volume() const override { return m_volume; }
    void setBalance(int b) override { m_balance = b; }
    QList<AudioDevice> audioDevices() const override { return devices; }
    void setAudioDevice(const QString &name) override { device = name; }
    void warmUp() override { ++warmUps; }
    // Like a real player: loaded and held paused; open() of it lets it go,
    // and open() of it once play() let it go leaves it going.
    void prepare(const QString &url) override
    {
        if (m_state != State::Stopped)
            return;
        m_url = url;
        setState(State::Paused);
        prepared = url;
        m_held = true;
    }
    QList<AudioDevice> devices; // none unless a test gives some
    QString device;
    int warmUps = 0;
    QString prepared; // the last url prepare() took
    qint64 progressMs() const override { return progress; }
    bool reopenOutput() override { ++reopened; return true; }
    qint64 progress = -1; // the test moves it on while the item "sounds"
    qint64 outputLatencyMs() const override { return latency; }
    qint64 latency = -1;
    int reopened = 0;

    // The current item plays to its end / cannot be played / starts sounding.
    void finish() { setState(State::Stopped); }
    void fail()
    {
        m_state = State::Stopped;
        m_held = false;
        emit errorOccurred(m_url);
    }
    void begin() { setState(State::Playing); }
    // Playing and sounding: what a real player says when output begins.
    void sound()
    {
        begin();
        emit mediaStarted(m_url);
    }

    QStringList opened;
    int balance() const { return m_balance; }

private:
    void setState(State s);
    State m_state = State::Stopped;
    QString m_url;
    bool m_held = false; // m_url was prepared and not opened since
    int m_volume = 100;
    int m_balance = 0;
};

class ScriptedPrompt final : public Prompt
{
public:
    void inform(const QString &title, const QString &text) override { shown.append(title + u'|' + text); }
    bool ask(const QString &title, const QString &text, bool defaultAnswer) override
    {
        shown.append(title + u'|' + text);
        return answers.isEmpty() ? defaultAnswer : answers.takeFirst();
    }
    // Answered at once like ask(), unless holdQuestions: then the question
    // stays open until answerOpen().
    void askLater(const QString &title, const QString &text, bool defaultAnswer, const QObject *context,
                  Answer answered) override;
    void answerOpen(bool yes)
    {
        if (!m_open.isEmpty())
            m_open.takeFirst()(yes);
    }
    qsizetype openQuestions() const { return m_open.size(); }

    QList<bool> answers; // taken in order; the default when none is left
    QStringList shown;   // "title|text" of every message and question
    bool holdQuestions = false;

private:
    QList<Answer> m_open;
};

class FakeShutdown final : public Shutdown
{
public:
    bool schedule(QString *) override { ++scheduled; return true; }
    bool cancel(QString *) override { ++cancelled; return true; }
    int scheduled = 0;
    int cancelled = 0;
};

// Records the times it was asked to set; refuses when told to.
class FakeClockSetter final : public ClockSetter
{
public:
    bool setTime(const QDateTime &when, QString *error) override
    {
        if (refusal.isEmpty())
            set.append(when);
        else if (error)
            *error = refusal;
        return refusal.isEmpty();
    }
    SyncState syncState() const override { return state; }

    QList<QDateTime> set;
    QString refusal; // non-empty: every setTime fails with it
    SyncState state;
};

// Speech of silence: kMsPerChar for each character, a word mark on each
// character and a sentence mark at the start and after each "。". Records
// what it was asked; refuses everything when told to.
class FakeSynth final : public SpeechSynth
{
public:
    static constexpr int kMsPerChar = 50;
    QList<SynthVoice> voices() const override
    {
        return {{QStringLiteral("cmn-latn-pinyin"), QStringLiteral("Chinese_Mandarin"), QStringLiteral("cmn")},
                {QStringLiteral("en"), QStringLiteral("English"), QStringLiteral("en")}};
    }
    bool load(QString *) override { return true; }
    bool synthesize(const QString &text, const QString &voiceId, int rate, SpeechAudio *out,
                    QString *error) override;
    QStringList texts() const { const std::lock_guard guard(m_lock); return m_texts; }
    QStringList voiceIds() const { const std::lock_guard guard(m_lock); return m_voices; }
    QString refusal;
    std::atomic<int> delayMs{0}; // each synthesis takes at least this long
    std::atomic<int> running{0}; // syntheses under way now

private:
    mutable std::mutex m_lock;
    QStringList m_texts, m_voices;
};

// This process's resident memory in kB (VmRSS), -1 when it cannot be read.
qint64 residentKb();

// A data folder for one test, with helpers to lay GBK files into it.
class DataFolder
{
public:
    QString path() const { return m_dir.path(); }
    QString file(const QString &name) const { return m_dir.filePath(name); }
    // Writes text (CRLF line ends are added) as GBK.
    void write(const QString &name, const QString &text) const;
    void writeBytes(const QString &name, const QByteArray &bytes) const;
    QByteArray bytes(const QString &name) const { return readAll(file(name)); }
    QString text(const QString &name) const; // decoded from GBK
    static QByteArray readAll(const QString &path);

private:
    QTemporaryDir m_dir;
};

// A task's section of 【SONG】.ini (number n) and the text of a task's media list file.
struct TaskText
{
    QString name, start = QStringLiteral("9:00:00"), end = QStringLiteral("9:30:00");
    QString days = QStringLiteral("每天"), volume = QStringLiteral("50000"), order = QStringLiteral("循环");
    QString timed = QStringLiteral("开");
};
QString taskSection(int n, const TaskText &task);
QString mediaList(const QStringList &media);

// Writes the bytes to the path, making its folders; reads a file's bytes
// ("<missing>" when there is none).
void put(const QString &path, const QByteArray &bytes);
QByteArray bytesOf(const QString &path);

// A local date and time from "yyyy-MM-dd HH:mm:ss".
QDateTime at(const char *text);

// What a station is given, faked, on a data folder; the clock starts at `now`.
struct StationFakes
{
    explicit StationFakes(const char *now) : clock(at(now)) {}
    DataFolder d;
    FakeClock clock;
    FakePlayer player;
    ScriptedPrompt prompt;
    FakeShutdown shutdown;
};

// The broadcasts' devices, faked: the tone's and music's player, the
// voice's player and the speech engine.
struct BroadcastFakes
{
    FakePlayer broadcastPlayer, voicePlayer;
    FakeSynth synth;
};

} // namespace tav::test

#include "broadcast/voice.h"

#include "broadcast/waveformat.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QRegularExpression>
#include <QThread>

#include <memory>
#include <mutex>

#include <cerrno>
#include <signal.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace tav {

Voice::Voice(SpeechSynth &synth, MediaPlayer &out, QObject *parent)
    : QObject(parent), m_synth(synth), m_out(out), m_tmp(QDir::tempPath() + u"/tavplayer-voice-%1-XXXXXX"_s.arg(QCoreApplication::applicationPid()))
{
    static std::once_flag swept;
    std::call_once(swept, [] { removeStaleFolders(QDir::tempPath()); });
    m_markTimer.setSingleShot(true);
    connect(&m_markTimer, &QTimer::timeout, this, &Voice::fireMarks);
    connect(&m_out, &MediaPlayer::stateChanged, this, &Voice::onPlayerState);
    connect(&m_out, &MediaPlayer::errorOccurred, this, &Voice::onPlayerError);
    connect(&m_out, &MediaPlayer::mediaStarted, this, [this] {
        if (!m_active || !m_playing)
            return;
        m_clock.start();
        m_pausedMs = 0;
        emit eventLine(u"  Event: StartStream StreamNumber=%1 StreamPosition=0"_s.arg(m_stream));
        armMarks();
    });
}

int Voice::removeStaleFolders(const QString &tempDir)
{
    static const QRegularExpression named(u"^tavplayer-voice-(\\d+)-\\w{6}$"_s);
    static const QRegularExpression unnamed(u"^tavplayer-voice-\\w{6}$"_s);
    int removed = 0;
    const QFileInfoList entries =
        QDir(tempDir).entryInfoList({u"tavplayer-voice-*"_s}, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QFileInfo &info : entries) {
        if (info.isSymLink() || info.ownerId() != ::getuid())
            continue;
        QDir folder(info.absoluteFilePath());
        const QRegularExpressionMatch m = named.match(info.fileName());
        bool stale = false;
        if (m.hasMatch()) {
            const qint64 pid = m.captured(1).toLongLong();
            stale = pid != QCoreApplication::applicationPid() && ::kill(pid_t(pid), 0) != 0 && errno == ESRCH;
        } else if (unnamed.match(info.fileName()).hasMatch()) {
            stale = folder.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
        }
        // Only the files the voice writes there; a folder holding anything else stays.
        if (stale) {
            for (const QFileInfo &f : folder.entryInfoList(QDir::Files | QDir::Hidden | QDir::System))
                if (!f.isSymLink() && f.fileName().endsWith(u".wav"_s))
                    folder.remove(f.fileName());
            if (QDir(tempDir).rmdir(info.fileName()))
                ++removed;
        }
    }
    return removed;
}

Voice::~Voice()
{
    ++m_generation;
    // A synthesis still running uses the engine and the temporary folder,
    // which go with this object or after it.
    for (const QPointer<QThread> &worker : std::as_const(m_workers))
        if (worker)
            worker->wait();
}

void Voice::setVolume(int percent)
{
    m_volume = qBound(0, percent, 100);
    m_out.setVolume(m_volume);
}

void Voice::speak(const QString &text, Flags flags, const QList<int> &source)
{
    if (flags.purge) {
        m_queue.clear();
        if (m_active)
            endCurrent(true);
    }
    if (text.isEmpty()) { // an empty text with purge is the stop of old
        if (!m_active && m_queue.isEmpty())
            setState(State::Idle);
        return;
    }
    m_queue.append({text, flags, source});
    if (!m_active)
        startNext();
}

void Voice::startNext()
{
    if (m_queue.isEmpty()) {
        setState(State::Idle);
        return;
    }
    m_current = m_queue.takeFirst();
    m_active = true;
    m_playing = false;
    m_marks.clear();
    m_nextMark = 0;
    ++m_stream;
    if (m_state == State::Idle)
        setState(State::Speaking);
    if (m_current.flags.isFilename) {
        dropPrepared(); // the player is the file's
        const QString path = m_current.text.trimmed();
        if (!QFileInfo::exists(path)) {
            emit failed(u"Speak Error: 找不到文件 "_s + path);
            endCurrent(false);
            return;
        }
        m_playing = true;
        m_out.setVolume(m_volume);
        m_out.open(path);
        return;
    }
    if (takePrepared())
        return;
    const quint64 generation = ++m_generation;
    const QString path = m_tmp.filePath(u"speech-%1.wav"_s.arg(m_stream));
    synthesise(m_current.text, m_voiceId, m_rate, path,
               [this, generation, path](const QList<SpeechMark> &marks, const QString &error) {
                   synthesised(generation, marks, path, error);
               });
}

void Voice::synthesise(const QString &text, const QString &voiceId, int rate, const QString &path,
                       Synthesised done)
{
    // Synthesis and the wave file may take a while for a long text: never
    // on this thread.
    auto audio = std::make_shared<SpeechAudio>();
    auto error = std::make_shared<QString>();
    SpeechSynth *synth = &m_synth;
    const bool tmpValid = m_tmp.isValid();
    auto engineFailed = std::make_shared<bool>(false);
    QThread *worker = QThread::create([=] {
        // The engine starts with the first text it is given.
        *engineFailed = !synth->load(error.get());
        if (*engineFailed || !synth->synthesize(text, voiceId, rate, audio.get(), error.get())) {
            if (error->isEmpty())
                *error = u"语音合成失败"_s;
            return;
        }
        WaveFormat mono;
        mono.sampleRate = audio->sampleRate;
        mono.channels = 1;
        mono.bits = 16;
        if (!tmpValid || !writeWave(*audio, mono, path, error.get()))
            *error = u"无法写入临时文件："_s + *error;
        audio->samples.clear(); // the file has them; only the marks come back
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    m_workers.removeIf([](const QPointer<QThread> &w) { return w.isNull(); });
    m_workers.append(worker);
    connect(worker, &QThread::finished, this, [this, audio, error, done, engineFailed] {
        if (*engineFailed && !std::exchange(m_unavailableSaid, true))
            emit unavailable(*error);
        done(audio->marks, *error);
    });
    worker->start();
}

void Voice::prepare(const QString &text, const QList<int> &source, const QString &voiceId, int rate, int volume)
{
    const Reading reading{text, source, voiceId, qBound(-10, rate, 10), qBound(0, volume, 100)};
    if (m_prepared.ticket != 0 && m_prepared.reading == reading)
        return;
    dropPrepared();
    if (m_active || text.isEmpty() || m_out.state() != MediaPlayer::State::Stopped || !m_tmp.isValid())
        return;
    const quint64 ticket = ++m_tickets;
    const QString path = m_tmp.filePath(u"prepared-%1.wav"_s.arg(ticket));
    m_prepared = {reading, path, {}, ticket, false};
    synthesise(text, voiceId, reading.rate, path,
               [this, ticket, path](const QList<SpeechMark> &marks, const QString &error) {
                   if (ticket == m_adoptedTicket) { // its text is being spoken already
                       m_adoptedTicket = 0;
                       synthesised(m_adoptedGeneration, marks, path, error);
                   } else {
                       preparedSynthesised(ticket, marks, path, error);
                   }
               });
}

void Voice::preparedSynthesised(quint64 ticket, const QList<SpeechMark> &marks, const QString &path,
                                const QString &error)
{
    if (ticket != m_prepared.ticket) {
        QFile::remove(path); // let go meanwhile
        return;
    }
    // A failure is the speaking's to report, when it synthesises again.
    if (error.isEmpty() && !m_active && m_out.state() == MediaPlayer::State::Stopped)
        m_out.prepare(path);
    if (m_out.state() != MediaPlayer::State::Paused || m_out.currentUrl() != path || m_active) {
        m_prepared = {};
        QFile::remove(path);
        return;
    }
    m_prepared.marks = marks;
    m_prepared.held = true;
}

bool Voice::holdsPrepared() const
{
    return m_prepared.held && m_out.state() == MediaPlayer::State::Paused && m_out.currentUrl() == m_prepared.path;
}

// The current text, when it is the prepared one, goes on from where that
// stands: played at once, or spoken when its synthesis returns.
bool Voice::takePrepared()
{
    if (m_prepared.ticket == 0)
        return false;
    if (m_prepared.reading != Reading{m_current.text, m_current.source, m_voiceId, m_rate, m_volume}
        || (m_prepared.held && !holdsPrepared())) {
        dropPrepared();
        return false;
    }
    const Prepared taken = std::exchange(m_prepared, {});
    if (!taken.held) {
        m_adoptedTicket = taken.ticket;
        m_adoptedGeneration = ++m_generation;
        return true;
    }
    ++m_generation;
    play(taken.marks, taken.path); // only its pause goes
    return true;
}

void Voice::dropPrepared()
{
    if (m_prepared.ticket == 0)
        return;
    const bool held = holdsPrepared();
    const Prepared gone = std::exchange(m_prepared, {});
    if (held)
        m_out.stop();
    if (gone.held)
        QFile::remove(gone.path); // one still being synthesised removes its own
}

void Voice::synthesised(quint64 generation, const QList<SpeechMark> &marks, const QString &path,
                        const QString &error)
{
    if (generation != m_generation || !m_active) {
        QFile::remove(path);
        return; // purged meanwhile
    }
    if (!error.isEmpty()) {
        emit failed(u"Speak Error: "_s + error);
        endCurrent(false);
        return;
    }
    play(marks, path);
}

void Voice::play(const QList<SpeechMark> &marks, const QString &path)
{
    m_marks = marks;
    m_nextMark = 0;
    m_playing = true;
    m_out.setVolume(m_volume);
    m_out.open(path);
    if (m_state == State::Paused)
        m_out.pause();
}

void Voice::onPlayerState(MediaPlayer::State state)
{
    if (state == MediaPlayer::State::Stopped && m_prepared.held && !holdsPrepared())
        dropPrepared(); // the player let it go
    if (state != MediaPlayer::State::Stopped || !m_active || !m_playing)
        return;
    endCurrent(false);
}

void Voice::onPlayerError(const QString &url)
{
    if (m_prepared.held && !holdsPrepared())
        dropPrepared();
    if (!m_active || !m_playing)
        return;
    emit failed(u"Speak Error: 无法播放 "_s + url);
    endCurrent(false);
}

void Voice::endCurrent(bool purged)
{
    m_markTimer.stop();
    const bool wasPlaying = m_playing;
    m_active = false;
    m_playing = false;
    ++m_generation;
    if (purged && wasPlaying)
        m_out.stop();
    emit eventLine(u"  Event: EndStream StreamNumber=%1 StreamPosition=%2"_s.arg(m_stream).arg(
        wasPlaying && m_clock.isValid() ? playedMs() : 0));
    if (m_queue.isEmpty())
        setState(State::Idle);
    emit endStream();
    if (!m_queue.isEmpty() && !m_active)
        startNext();
}

void Voice::pause()
{
    if (m_state != State::Speaking)
        return;
    if (m_playing)
        m_out.pause();
    m_pausedAt = m_clock.isValid() ? m_clock.elapsed() : -1;
    m_markTimer.stop();
    setState(State::Paused);
}

void Voice::resume()
{
    if (m_state != State::Paused)
        return;
    if (m_pausedAt >= 0)
        m_pausedMs += m_clock.elapsed() - m_pausedAt;
    m_pausedAt = -1;
    setState(State::Speaking);
    if (m_playing)
        m_out.play();
    armMarks();
}

void Voice::skipSentence()
{
    if (!m_active || m_current.flags.isFilename)
        return;
    const qint64 now = playedMs();
    for (const SpeechMark &m : std::as_const(m_marks)) {
        if (m.kind == SpeechMark::Kind::Sentence && m.audioMs > now + 50) {
            Item rest{m_current.text.mid(m.textPos), m_current.flags, {}};
            for (qsizetype i = m.textPos; i < m_current.text.size(); ++i)
                rest.source.append(mapped(int(i)));
            m_queue.prepend(rest);
            endCurrent(true);
            return;
        }
    }
    endCurrent(true); // the last sentence: skipping it ends the text
}

void Voice::stop()
{
    dropPrepared();
    m_queue.clear();
    if (m_active)
        endCurrent(true);
    m_pausedAt = -1; // never left paused
    setState(State::Idle);
}

qint64 Voice::playedMs() const
{
    const qint64 now = m_pausedAt >= 0 ? m_pausedAt : m_clock.elapsed();
    return now - m_pausedMs;
}

int Voice::mapped(int position) const
{
    if (m_current.source.isEmpty())
        return position;
    return m_current.source.value(qBound(0, position, int(m_current.source.size()) - 1));
}

void Voice::armMarks()
{
    if (m_state != State::Speaking || m_nextMark >= m_marks.size() || !m_clock.isValid())
        return;
    m_markTimer.start(int(qMax<qint64>(0, m_marks[m_nextMark].audioMs - playedMs())));
}

void Voice::fireMarks()
{
    const qint64 now = playedMs();
    while (m_nextMark < m_marks.size() && m_marks[m_nextMark].audioMs <= now + 5) {
        const SpeechMark &m = m_marks[m_nextMark++];
        const int from = mapped(m.textPos);
        const int to = mapped(m.textPos + m.length - 1) + 1;
        const int length = qMax(1, to - from);
        const QString kind = m.kind == SpeechMark::Kind::Word ? u"Word"_s : u"Sentence"_s;
        emit eventLine(u"  Event: %1 StreamNum=%2 StreamPos=%3 Pos=%4 Length=%5"_s.arg(kind)
                           .arg(m_stream).arg(m.audioMs).arg(from).arg(length));
        if (m.kind == SpeechMark::Kind::Word)
            emit word(from, length);
        else
            emit sentence(from, length);
    }
    armMarks();
}

void Voice::setState(State state)
{
    if (state == m_state)
        return;
    m_state = state;
    emit stateChanged(state);
}

} // namespace tav

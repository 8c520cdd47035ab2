#include "broadcast/alarmloop.h"

#include "broadcast/broadcaster.h"
#include "broadcast/voices.h"
#include "broadcast/waveformat.h"
#include "broadcast/zhreading.h"
#include "core/clock.h"
#include "core/datadir.h"
#include "core/messagelog.h"
#include "core/zhtext.h"
#include "platform/mediaplayer.h"
#include "platform/speech.h"

#include <QFile>
#include <QFileInfo>

#include <memory>

using namespace Qt::StringLiterals;

namespace tav {

AlarmLoop::AlarmLoop(const Clock &clock, const DataDir &dir, MediaPlayer &player, SpeechSynth *synth,
                     const VoiceCatalog *voices, MessageLog &messages, QObject *parent)
    : QObject(parent), m_clock(clock), m_dir(dir), m_player(player), m_synth(synth), m_voices(voices),
      m_log(messages)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(kRetryMs);
    connect(&m_retry, &QTimer::timeout, this, &AlarmLoop::next);
    m_rearm.setSingleShot(true);
    connect(&m_rearm, &QTimer::timeout, this, &AlarmLoop::holdFirst);
    connect(&m_player, &MediaPlayer::stateChanged, this, [this](MediaPlayer::State state) {
        if (state == MediaPlayer::State::Playing || state == MediaPlayer::State::Loading) {
            m_held.clear(); // taken by whoever opened it
            m_dropped = false;
        }
        if (state == MediaPlayer::State::Stopped && !m_opening) {
            if (m_step != Step::Idle) {
                onStopped();
            } else if (!m_held.isEmpty() && m_heldSince.isValid() && m_heldSince.elapsed() < kDroppedWithinMs) {
                m_held.clear(); // the engine would not keep it (a buffer deeper than the item): not again now
                m_dropped = true;
            } else {
                m_held.clear();
                rearm();
            }
        }
    });
    connect(&m_player, &MediaPlayer::errorOccurred, this, &AlarmLoop::onError);
}

AlarmLoop::~AlarmLoop()
{
    m_ticket = 0;
    for (const QPointer<QThread> &worker : std::as_const(m_workers))
        if (worker)
            worker->wait();
}

void AlarmLoop::prepare(const AlarmContent &content)
{
    if (content == m_content && (isReady() || m_ticket != 0))
        return;
    m_content = content;
    m_dropped = false; // a new first item may be kept
    if (!m_readingPath.isEmpty())
        QFile::remove(std::exchange(m_readingPath, QString()));
    m_ticket = 0;
    if (content.soundFile.isEmpty())
        synthesise();
    if (m_step == Step::Idle)
        holdFirst();
}

void AlarmLoop::synthesise()
{
    if (!m_synth || m_content.text.trimmed().isEmpty() || !m_tmp.isValid())
        return;
    static quint64 tickets = 0;
    const quint64 ticket = ++tickets;
    m_ticket = ticket;
    const VoiceChoice choice = m_voices ? m_voices->resolve(m_content.speaker) : VoiceChoice{};
    const QString spoken = Broadcaster::textToSpeak(m_content.text, choice, m_clock.now());
    const QString text = zhreading::forVoice(spoken.left(Broadcaster::kMaxSpokenChars)).text;
    const QString path = m_tmp.filePath(u"alarm-%1.wav"_s.arg(ticket));
    auto error = std::make_shared<QString>();
    SpeechSynth *synth = m_synth;
    QThread *worker = QThread::create([synth, text, voiceId = choice.synthId, path, error] {
        SpeechAudio audio;
        if (!synth->load(error.get()) || !synth->synthesize(text, voiceId, 0, &audio, error.get())) {
            if (error->isEmpty())
                *error = u"语音合成失败"_s;
            return;
        }
        WaveFormat mono;
        mono.sampleRate = audio.sampleRate;
        mono.channels = 1;
        writeWave(audio, mono, path, error.get());
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    connect(worker, &QThread::finished, this, [this, ticket, path, error] {
        if (ticket != m_ticket) {
            QFile::remove(path);
            return;
        }
        m_ticket = 0;
        if (!error->isEmpty()) {
            log(u"紧急广播的文字无法朗读："_s + *error);
        } else {
            m_readingPath = path;
            emit readingReady();
        }
        if (m_step == Step::Waiting)
            next();
        else if (m_step == Step::Idle)
            holdFirst(); // the new reading may be the first item
    });
    m_workers.removeIf([](const QPointer<QThread> &w) { return w.isNull(); });
    m_workers.append(worker);
    worker->start();
}

void AlarmLoop::keepReady(bool on)
{
    m_keepReady = on;
    if (on) {
        holdFirst();
        return;
    }
    m_rearm.stop();
    if (const QString held = std::exchange(m_held, QString());
        !held.isEmpty() && m_step == Step::Idle && m_player.state() == MediaPlayer::State::Paused
        && m_player.currentUrl() == held) {
        m_opening = true; // let go: no re-arming
        m_player.stop();
        m_opening = false;
    }
}

QString AlarmLoop::held() const
{
    const bool holds = !m_held.isEmpty() && m_step == Step::Idle
                       && m_player.state() == MediaPlayer::State::Paused && m_player.currentUrl() == m_held;
    return holds ? m_held : QString();
}

// What start() opens first: the tone, else the sound file or the ready reading.
QString AlarmLoop::firstItem() const
{
    if (QFileInfo::exists(m_dir.tone()))
        return m_dir.tone();
    if (!m_content.soundFile.isEmpty())
        return m_content.soundFile;
    return m_readingPath;
}

// Just after the coming second, so that loading (and making an engine)
// never stands in the second's way.
void AlarmLoop::rearm()
{
    if (!m_keepReady || m_step != Step::Idle)
        return;
    const int msec = m_clock.now().time().msec();
    m_rearm.start(1000 - msec + kRearmAfterSecondMs);
}

void AlarmLoop::holdFirst()
{
    if (!m_keepReady || m_step != Step::Idle || m_dropped)
        return;
    const QString first = firstItem();
    const bool paused = m_player.state() == MediaPlayer::State::Paused;
    if (paused && m_player.currentUrl() == first && !first.isEmpty()) {
        m_held = first; // already waiting there (the broadcasts hold the same tone)
        return;
    }
    if (paused && !m_held.isEmpty() && m_player.currentUrl() == m_held) {
        m_opening = true; // an old reading: its place is taken
        m_player.stop();
        m_opening = false;
    }
    m_held.clear();
    if (first.isEmpty() || m_player.state() != MediaPlayer::State::Stopped)
        return; // nothing yet (a reading on its way), or the player is in use: again once it stops
    m_opening = true;
    m_player.prepare(first);
    m_opening = false;
    if (m_player.state() == MediaPlayer::State::Paused && m_player.currentUrl() == first) {
        m_held = first;
        m_heldSince.start();
    }
}

void AlarmLoop::start(const AlarmContent &content)
{
    m_rearm.stop();
    m_held.clear();
    prepare(content);
    m_failures = 0;
    m_failedSaid = false;
    m_silentSaid = false;
    m_step = Step::Reading; // so that next() begins with the tone
    m_player.setVolume(100);
    next();
}

void AlarmLoop::stop()
{
    if (m_step == Step::Idle)
        return;
    m_step = Step::Idle;
    m_retry.stop();
    m_player.stop();
}

// Tone after reading, reading after tone; what is missing is left out.
void AlarmLoop::next()
{
    if (m_step == Step::Idle)
        return;
    const bool tone = QFileInfo::exists(m_dir.tone());
    const bool reading = isReady();
    if (m_step != Step::Tone && tone) {
        playTone();
    } else if (reading) {
        playReading();
    } else if (tone) {
        playTone(); // the reading is still being made, or cannot be
    } else {
        m_step = Step::Waiting; // a reading under way plays when it is there
        if (m_ticket == 0) {
            if (!std::exchange(m_silentSaid, true))
                log(u"紧急广播没有可播放的声音（提示音和朗读都没有）"_s);
            m_retry.start();
        }
    }
}

void AlarmLoop::playTone()
{
    m_step = Step::Tone;
    m_opening = true;
    m_player.open(m_dir.tone());
    m_opening = false;
    emit itemOpened(u"tone"_s);
}

void AlarmLoop::playReading()
{
    m_step = Step::Reading;
    const bool file = !m_content.soundFile.isEmpty();
    m_opening = true;
    m_player.open(file ? m_content.soundFile : m_readingPath);
    m_opening = false;
    emit itemOpened(file ? u"file"_s : u"reading"_s);
}

void AlarmLoop::onStopped()
{
    if (m_step == Step::Tone || m_step == Step::Reading) {
        m_failures = 0;
        next();
    }
}

void AlarmLoop::onError(const QString &url)
{
    if (m_step != Step::Tone && m_step != Step::Reading)
        return;
    if (!std::exchange(m_failedSaid, true))
        log(u"紧急广播的声音无法播放："_s + url);
    // Two failures in a row: nothing plays now; try again after a pause.
    if (++m_failures >= 2) {
        m_failures = 0;
        m_retry.start();
        return;
    }
    next();
}

void AlarmLoop::log(const QString &text)
{
    m_log.append(zh::stampedLine(m_clock.now(), text));
}

} // namespace tav

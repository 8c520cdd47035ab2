#include "broadcast/broadcaster.h"

#include "broadcast/traditional.h"
#include "broadcast/zhreading.h"
#include "core/clock.h"
#include "core/datadir.h"
#include "core/messagelog.h"
#include "core/zhtext.h"
#include "platform/mediaplayer.h"
#include "playback/playbackcontroller.h"

#include <algorithm>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace tav {

Broadcaster::Broadcaster(const Clock &clock, const DataDir &dir, Voice &voice, MediaPlayer &broadcastPlayer,
                         PlaybackController &media, MessageLog &messages, const VoiceCatalog &voices, QObject *parent)
    : QObject(parent), m_clock(clock), m_dir(dir), m_voice(voice), m_player(broadcastPlayer), m_media(media),
      m_log(messages), m_voices(voices)
{
    m_ramp.setInterval(kRampStepMs);
    connect(&m_ramp, &QTimer::timeout, this, &Broadcaster::rampStep);
    m_toneLimit.setSingleShot(true);
    m_toneLimit.setInterval(kToneLimitMs);
    connect(&m_toneLimit, &QTimer::timeout, this, [this] {
        if (m_phase != Phase::Tone)
            return;
        log(u"提示音未能结束，已跳过"_s);
        // The stop's own end must not continue the broadcast a second time.
        m_phase = Phase::Speaking;
        m_player.stop();
        afterTone();
    });
    m_toneRelease.setSingleShot(true);
    m_toneRelease.setTimerType(Qt::PreciseTimer);
    connect(&m_toneRelease, &QTimer::timeout, this, [this] {
        if (m_phase != Phase::Idle || !m_prepared.firing.isValid() || !holdsTone())
            return;
        m_player.setVolume(qBound(0, m_prepared.request.voiceVolume, 100));
        m_player.play();
        m_toneUnclaimed.start(int(std::min<qint64>(m_player.outputLatencyMs(), 10'000)) + 1000);
    });
    m_toneUnclaimed.setSingleShot(true);
    connect(&m_toneUnclaimed, &QTimer::timeout, this, [this] {
        if (m_phase == Phase::Idle && m_player.currentUrl() == m_dir.tone()
            && m_player.state() != MediaPlayer::State::Stopped)
            m_player.stop();
    });
    connect(&m_player, &MediaPlayer::stateChanged, this, [this](MediaPlayer::State state) {
        if (m_phase == Phase::Tone && state == MediaPlayer::State::Stopped)
            afterTone();
    });
    connect(&m_player, &MediaPlayer::errorOccurred, this, [this](const QString &url) {
        if (m_phase == Phase::Tone) {
            log(u"提示音无法播放："_s + url);
            afterTone();
        } else if (m_phase == Phase::Speaking) {
            log(u"背景音乐无法播放："_s + url);
        }
    });
    connect(&m_voice, &Voice::endStream, this, &Broadcaster::onVoiceEnd);
    connect(&m_voice, &Voice::failed, this, [this](const QString &error) {
        log(error);
        if (m_phase != Phase::Idle && m_failure.isEmpty())
            m_failure = error;
    });
    connect(&m_voice, &Voice::unavailable, this, [this](const QString &why) { log(u"语音播报不可用："_s + why); });
    // A media task that sets its volume during a broadcast: that is the
    // volume to come back to, and the music stays down while it speaks.
    connect(&m_media, &PlaybackController::volumeChanged, this, [this] {
        if (m_settingVolume || (m_phase == Phase::Idle && !m_ramp.isActive()))
            return;
        m_saved = m_media.playerVolume();
        if (m_phase != Phase::Idle)
            setMediaVolume(qBound(0, m_request.musicVolume, 100));
        else
            m_ramp.stop(); // the new volume stands
    });
}

bool Broadcaster::speak(const BroadcastRequest &request, QString *error)
{
    if (request.text.isEmpty()) {
        if (error)
            *error = u"朗读内容不能为空"_s;
        return false;
    }
    m_toneUnclaimed.stop(); // a tone let go ahead is this firing's
    // Made ready for this very firing, or never to be heard.
    const QDateTime now = m_clock.now();
    const bool prepared = m_prepared.firing.isValid() && m_prepared.request == request
                          && now >= m_prepared.firing && now < m_prepared.firing.addSecs(1);
    if (m_phase != Phase::Idle)
        stop();
    if (!prepared)
        dropPrepared();
    m_prepared = {};
    m_failure.clear();
    m_request = request;
    m_request.frequency = qBound(1, request.frequency, 10);
    bool known = true;
    m_choice = m_voices.resolve(request.speaker, &known);
    if (!known)
        log(u"找不到语音“%1”，改用 %2"_s.arg(request.speaker, m_choice.name));
    m_readings = 0;
    duck();
    emit started(m_request.name);
    startReading();
    return true;
}

QString Broadcaster::textToSpeak(const QString &text, const VoiceChoice &voice, const QDateTime &now)
{
    return zhreading::expandPlaceholders(voice.traditional ? toTraditional(text) : text, now);
}

void Broadcaster::duck()
{
    if (!m_ramp.isActive())
        m_saved = m_media.playerVolume();
    m_ramp.stop();
    setMediaVolume(qBound(0, m_request.musicVolume, 100));
}

void Broadcaster::startReading()
{
    ++m_readings;
    m_spoken = textToSpeak(m_request.text, m_choice, m_clock.now());
    emit readingStarted(m_spoken);
    if (m_request.tone && QFileInfo::exists(m_dir.tone())) {
        m_phase = Phase::Tone;
        m_player.setVolume(qBound(0, m_request.voiceVolume, 100));
        m_player.open(m_dir.tone());
        m_toneLimit.start();
        return;
    }
    afterTone();
}

void Broadcaster::afterTone()
{
    m_toneLimit.stop();
    m_phase = Phase::Speaking;
    const QString music = m_request.music.trimmed();
    if (!music.isEmpty()) {
        if (QFileInfo::exists(music) || music.contains(u"://"_s)) {
            m_player.setVolume(qBound(0, m_request.musicVolume, 100));
            m_player.open(music);
        } else {
            emit notice(u"路径错误："_s + music);
            log(u"路径错误："_s + music);
        }
    }
    if (music.isEmpty() && m_player.state() == MediaPlayer::State::Paused)
        m_player.stop(); // a tone made ready for a broadcast that has none
    m_voice.setVoiceId(m_choice.synthId);
    m_voice.setRate(m_request.rate);
    m_voice.setVolume(m_request.voiceVolume);
    if (namesSoundFile(m_request, m_spoken)) {
        QString path = m_spoken;
        path.remove(u'\r').remove(u'\n');
        m_voice.speak(path, {.isFilename = true, .purge = false});
    } else {
        if (m_spoken.size() > kMaxSpokenChars && m_readings == 1)
            log(u"“%1”的朗读内容过长（%2字），只朗读前%3字"_s.arg(m_request.name).arg(m_spoken.size()).arg(kMaxSpokenChars));
        const zhreading::Reading reading = voiceReading(m_spoken);
        m_voice.speak(reading.text, {.isFilename = false, .purge = false}, reading.source);
    }
}

void Broadcaster::onVoiceEnd()
{
    if (m_phase != Phase::Speaking || m_voice.isSpeaking())
        return;
    if (m_readings < m_request.frequency && m_failure.isEmpty()) {
        startReading();
        return;
    }
    finish();
}

void Broadcaster::finish()
{
    m_phase = Phase::Idle;
    m_player.stop();
    const QString name = m_request.name;
    m_ramp.start();
    emit finished(name);
}

// A text naming a ".wav" file (in its last 20 characters) plays that file.
bool Broadcaster::namesSoundFile(const BroadcastRequest &request, const QString &spoken)
{
    return request.textIsFile || spoken.right(20).toLower().contains(u".wav"_s);
}

zhreading::Reading Broadcaster::voiceReading(const QString &spoken)
{
    return zhreading::forVoice(spoken.left(kMaxSpokenChars));
}

void Broadcaster::stop()
{
    dropPrepared();
    if (m_phase == Phase::Idle)
        return;
    m_toneLimit.stop();
    m_phase = Phase::Idle; // before the voice's end arrives
    m_voice.stop();
    m_player.stop();
    m_ramp.start();
    emit finished(m_request.name);
}

void Broadcaster::rampStep()
{
    const int now = m_media.playerVolume();
    if (now == m_saved) {
        m_ramp.stop();
        setMediaVolume(m_saved);
        emit restored();
        return;
    }
    setMediaVolume(now < m_saved ? now + 1 : now - 1);
}

void Broadcaster::setMediaVolume(int volume)
{
    m_settingVolume = true;
    m_media.setPlayerVolume(volume);
    m_settingVolume = false;
}

void Broadcaster::log(const QString &text)
{
    m_log.append(zh::stampedLine(m_clock.now(), text));
}

void Broadcaster::warmUp(const BroadcastRequest &next, const QDateTime &firing)
{
    m_player.warmUp();
    m_voice.warmUp();
    if (isBusy())
        return; // the players are in use; asked again the next second
    // The tone waits at its first sample: at the firing only its pause goes.
    if (next.tone && QFileInfo::exists(m_dir.tone()) && m_player.state() == MediaPlayer::State::Stopped)
        m_player.prepare(m_dir.tone());
    const VoiceChoice choice = m_voices.resolve(next.speaker);
    const QString spoken = textToSpeak(next.text, choice, firing);
    if (next.text.isEmpty() || namesSoundFile(next, spoken)) {
        dropPrepared();
        return;
    }
    // Its first reading waits on the voice's player.
    m_prepared = {next, firing.addMSecs(-firing.time().msec())};
    const qint64 latency = m_player.outputLatencyMs();
    // Asked every second from ten seconds ahead: a latency of a second or
    // more is not trusted that far ahead (the tone plays on its second).
    if (next.tone && latency > 0 && latency < 1000 && holdsTone()) {
        const qint64 in = m_clock.now().msecsTo(m_prepared.firing) - latency;
        if (in >= 0 || !m_toneRelease.isActive())
            m_toneRelease.start(int(std::clamp<qint64>(in, 0, 24 * 3600 * 1000)));
    }
    const zhreading::Reading reading = voiceReading(spoken);
    m_voice.prepare(reading.text, reading.source, choice.synthId, next.rate, next.voiceVolume);
}

bool Broadcaster::holdsTone() const
{
    return m_player.state() == MediaPlayer::State::Paused && m_player.currentUrl() == m_dir.tone();
}

void Broadcaster::dropPrepared()
{
    m_prepared = {};
    m_toneRelease.stop();
    m_voice.dropPrepared();
}

} // namespace tav

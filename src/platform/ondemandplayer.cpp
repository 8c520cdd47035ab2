#include "platform/ondemandplayer.h"

namespace tav {

OnDemandPlayer::OnDemandPlayer(Factory factory, int idleMs, QObject *parent)
    : MediaPlayer(parent), m_factory(std::move(factory))
{
    m_idle.setSingleShot(true);
    m_idle.setInterval(idleMs);
    connect(&m_idle, &QTimer::timeout, this, [this] {
        if (m_engine && m_engine->state() == State::Stopped)
            release();
    });
}

OnDemandPlayer::~OnDemandPlayer() = default;

MediaPlayer *OnDemandPlayer::engine()
{
    if (m_engine)
        return m_engine.get();
    QString error;
    m_engine = m_factory(&error);
    if (!m_engine) {
        m_error = error;
        return nullptr;
    }
    m_error.clear();
    m_engine->setVolume(m_volume);
    m_engine->setBalance(m_balance);
    if (!m_device.isEmpty())
        m_engine->setAudioDevice(m_device);
    connect(m_engine.get(), &MediaPlayer::stateChanged, this, [this](State s) {
        if (s == State::Stopped)
            m_idle.start();
        else
            m_idle.stop();
        emit stateChanged(s);
    });
    connect(m_engine.get(), &MediaPlayer::errorOccurred, this, [this](const QString &url) {
        if (m_engine->state() == State::Stopped)
            m_idle.start();
        emit errorOccurred(url);
    });
    connect(m_engine.get(), &MediaPlayer::mediaStarted, this, &MediaPlayer::mediaStarted);
    m_idle.start();
    return m_engine.get();
}

void OnDemandPlayer::release()
{
    m_idle.stop();
    if (const qint64 latency = m_engine->outputLatencyMs(); latency >= 0)
        m_latency = latency; // the output stays as it was for the next engine
    m_engine->disconnect(this);
    // Deleted once the event loop is back, outside whatever signal brought us here.
    m_engine.release()->deleteLater();
}

void OnDemandPlayer::warmUp()
{
    if (MediaPlayer *e = engine(); e && e->state() == State::Stopped)
        m_idle.start();
}

void OnDemandPlayer::prepare(const QString &url)
{
    if (MediaPlayer *e = engine()) {
        e->prepare(url);
        if (e->state() == State::Stopped)
            m_idle.start(); // nothing held: it may go when idle
    }
}

void OnDemandPlayer::open(const QString &url)
{
    if (MediaPlayer *e = engine()) {
        m_idle.stop();
        e->open(url);
    } else {
        emit errorOccurred(url);
    }
}

void OnDemandPlayer::play()
{
    if (m_engine)
        m_engine->play();
}

void OnDemandPlayer::pause()
{
    if (m_engine)
        m_engine->pause();
}

void OnDemandPlayer::stop()
{
    if (m_engine)
        m_engine->stop();
}

MediaPlayer::State OnDemandPlayer::state() const
{
    return m_engine ? m_engine->state() : State::Stopped;
}

QString OnDemandPlayer::currentUrl() const
{
    return m_engine ? m_engine->currentUrl() : QString();
}

qint64 OnDemandPlayer::progressMs() const
{
    return m_engine ? m_engine->progressMs() : -1;
}

qint64 OnDemandPlayer::outputLatencyMs() const
{
    const qint64 latency = m_engine ? m_engine->outputLatencyMs() : -1;
    return latency >= 0 ? latency : m_latency;
}

bool OnDemandPlayer::reopenOutput()
{
    return m_engine && m_engine->reopenOutput();
}

void OnDemandPlayer::setVolume(int volume)
{
    m_volume = volume;
    if (m_engine)
        m_engine->setVolume(volume);
}

void OnDemandPlayer::setBalance(int balance)
{
    m_balance = balance;
    if (m_engine)
        m_engine->setBalance(balance);
}

QList<MediaPlayer::AudioDevice> OnDemandPlayer::audioDevices() const
{
    // Only an engine can list them: one is made, and let go when idle.
    MediaPlayer *e = const_cast<OnDemandPlayer *>(this)->engine();
    return e ? e->audioDevices() : QList<AudioDevice>{};
}

void OnDemandPlayer::setAudioDevice(const QString &name)
{
    m_device = name;
    if (m_engine)
        m_engine->setAudioDevice(name);
}

} // namespace tav

#include "platform/deckplayer.h"

#include <utility>

namespace tav {

DeckPlayer::DeckPlayer(MediaPlayer &main, MediaPlayer &spare, QObject *parent)
    : MediaPlayer(parent), m_main(main), m_spare(spare), m_current(&main)
{
    m_standbyLimit.setSingleShot(true);
    m_standbyLimit.setInterval(kStandbyMs);
    connect(&m_standbyLimit, &QTimer::timeout, this, &DeckPlayer::dropStandby);
    follow(m_main);
    follow(m_spare);
}

void DeckPlayer::follow(MediaPlayer &deck)
{
    connect(&deck, &MediaPlayer::stateChanged, this, [this, &deck](State s) {
        if (&deck == m_silenced)
            return;
        if (&deck == m_current) {
            emit stateChanged(s);
        } else if (&deck == m_standby && s == State::Stopped) {
            m_standby = nullptr; // let go by the deck itself
            m_standbyLimit.stop();
        }
    });
    connect(&deck, &MediaPlayer::errorOccurred, this, [this, &deck](const QString &url) {
        if (&deck == m_current) {
            emit errorOccurred(url);
        } else if (&deck == m_standby) {
            m_standby = nullptr; // the start will open it the usual way and tell
            m_standbyLimit.stop();
        }
    });
    connect(&deck, &MediaPlayer::mediaStarted, this, [this, &deck](const QString &name) {
        if (&deck == m_current)
            emit mediaStarted(name);
    });
}

void DeckPlayer::silence(MediaPlayer &deck)
{
    if (deck.state() == State::Stopped)
        return;
    m_silenced = &deck;
    deck.stop();
    m_silenced = nullptr;
}

void DeckPlayer::dropStandby()
{
    m_standbyLimit.stop();
    if (MediaPlayer *deck = std::exchange(m_standby, nullptr); deck && deck != m_current)
        silence(*deck);
}

void DeckPlayer::open(const QString &url)
{
    if (m_standby && url == m_standbyUrl && m_standby->state() == State::Paused) {
        MediaPlayer *next = std::exchange(m_standby, nullptr);
        m_standbyLimit.stop();
        // The item playing stops in the same breath as the next one goes.
        silence(*m_current);
        m_current = next;
        next->open(url); // only its pause goes
        return;
    }
    if (m_standby == &m_main)
        dropStandby(); // the main deck is wanted for this url
    if (m_current != &m_main) {
        silence(*m_current);
        m_current = &m_main;
    }
    m_main.open(url);
}

void DeckPlayer::prepare(const QString &url)
{
    if (url.isEmpty())
        return;
    if (m_current->state() == State::Stopped) {
        if (m_standby && m_standby->state() == State::Paused && url != m_standbyUrl)
            return; // what waits for its start comes first
        dropStandby();
        m_current = &m_main; // the spare stands stopped: nothing to hand over
        m_main.prepare(url);
        return;
    }
    MediaPlayer &other = m_current == &m_main ? m_spare : m_main;
    if (m_standby == &other && m_standbyUrl == url)
        return;
    dropStandby();
    other.prepare(url);
    if (other.state() == State::Paused) {
        m_standby = &other;
        m_standbyUrl = url;
        m_standbyLimit.start();
    }
}

void DeckPlayer::play()
{
    m_current->play();
}

void DeckPlayer::pause()
{
    m_current->pause();
}

void DeckPlayer::stop()
{
    m_current->stop();
}

void DeckPlayer::warmUp()
{
    m_main.warmUp();
}

void DeckPlayer::setVolume(int volume)
{
    m_main.setVolume(volume);
    m_spare.setVolume(volume);
}

void DeckPlayer::setBalance(int balance)
{
    m_main.setBalance(balance);
    m_spare.setBalance(balance);
}

void DeckPlayer::setAudioDevice(const QString &name)
{
    m_main.setAudioDevice(name);
    m_spare.setAudioDevice(name);
}

bool DeckPlayer::reopenOutput()
{
    return m_current->reopenOutput();
}

} // namespace tav

#pragma once

#include "platform/mediaplayer.h"

#include <QTimer>

namespace tav {

// The station's media player as two engines, like two decks: the main one,
// which also shows pictures, and a spare for sound. A start that replaces an
// item still playing would otherwise load its item at its second; with the
// spare it is loaded ahead on the deck that stands idle, and at the second
// the playing deck stops and the other lets its pause go.
//
// Rules, beyond those of every MediaPlayer:
// - Only the deck that plays the current item is heard from: its state,
//   url, progress and signals are this player's. The deck standing by says
//   nothing, not even when what it was preparing fails.
// - prepare(url) on a stopped player prepares on the current deck, as any
//   player does, unless another url waits on standby: that one comes first
//   and the prepare is ignored. On a busy player (playing, loading or paused) the url is
//   prepared on the other deck while the current item goes on untouched;
//   such a standby item survives open() of other urls and stop(), and is
//   let go unheard when it is not opened within kStandbyMs. Prepare only
//   items without pictures this way: the spare has no video output.
// - open() of the standby url stops the current deck without a word
//   (stateChanged(Stopped) would mean "the item ended") and makes the
//   standby deck current. Any other open() goes to the main deck, which
//   alone shows pictures; a spare still playing is stopped first.
// - Volume, balance and audio device apply to both; reopenOutput() to the
//   current deck, whose output stalled.
class DeckPlayer final : public MediaPlayer
{
    Q_OBJECT
public:
    static constexpr int kStandbyMs = 6000;

    // The decks outlive this player. The spare is best a player that makes its
    // engine on demand (OnDemandPlayer): at rest it then costs nothing.
    DeckPlayer(MediaPlayer &main, MediaPlayer &spare, QObject *parent = nullptr);

    void open(const QString &url) override;
    void prepare(const QString &url) override;
    void play() override;
    void pause() override;
    void stop() override;
    void warmUp() override;

    State state() const override { return m_current->state(); }
    QString currentUrl() const override { return m_current->currentUrl(); }
    void setVolume(int volume) override;
    int volume() const override { return m_main.volume(); }
    void setBalance(int balance) override;
    QList<AudioDevice> audioDevices() const override { return m_main.audioDevices(); }
    void setAudioDevice(const QString &name) override;
    qint64 progressMs() const override { return m_current->progressMs(); }
    bool reopenOutput() override;
    qint64 outputLatencyMs() const override { return m_current->outputLatencyMs(); }

    // The deck playing the current item; the url waiting on the other one.
    bool onSpare() const { return m_current == &m_spare; }
    QString standbyUrl() const { return m_standby ? m_standbyUrl : QString(); }
    void setStandbyTimeout(int ms) { m_standbyLimit.setInterval(ms); }

private:
    void follow(MediaPlayer &deck);
    void silence(MediaPlayer &deck);
    void dropStandby();

    MediaPlayer &m_main;
    MediaPlayer &m_spare;
    MediaPlayer *m_current;
    MediaPlayer *m_standby = nullptr; // holds m_standbyUrl paused
    QString m_standbyUrl;
    MediaPlayer *m_silenced = nullptr; // stopped without a word
    QTimer m_standbyLimit;
};

} // namespace tav

#pragma once

#include "platform/mediaplayer.h"

#include <QTimer>

#include <functional>
#include <memory>

namespace tav {

// A player whose engine exists only while it is wanted. Each media engine
// costs megabytes of memory at rest, and the broadcast's tone and voice play
// a few minutes a day, so their engines are made when needed and let go when
// they have stood idle:
// - the engine is made by the factory at warmUp(), open() or a question
//   only the engine can answer (its audio devices);
// - once it has stood stopped for the idle time (warmUp() restarts the
//   count) it is destroyed; volume, balance and audio device are kept and
//   given to the next engine;
// - a factory that fails leaves no engine: open() then reports
//   errorOccurred(url) like any item that cannot be played, and
//   errorString() says why.
// Whoever knows that something is due calls warmUp() a few seconds ahead,
// so that the engine is ready at the second it is needed.
class OnDemandPlayer final : public MediaPlayer
{
    Q_OBJECT
public:
    using Factory = std::function<std::unique_ptr<MediaPlayer>(QString *error)>;
    static constexpr int kIdleMs = 120'000;

    explicit OnDemandPlayer(Factory factory, int idleMs = kIdleMs, QObject *parent = nullptr);
    ~OnDemandPlayer() override;

    void warmUp() override;
    void prepare(const QString &url) override;
    bool hasEngine() const { return m_engine != nullptr; }
    QString errorString() const { return m_error; }

    void open(const QString &url) override;
    void play() override;
    void pause() override;
    void stop() override;
    State state() const override;
    QString currentUrl() const override;
    void setVolume(int volume) override;
    int volume() const override { return m_volume; }
    void setBalance(int balance) override;
    QList<AudioDevice> audioDevices() const override;
    void setAudioDevice(const QString &name) override;
    qint64 progressMs() const override;
    bool reopenOutput() override;
    qint64 outputLatencyMs() const override;

private:
    MediaPlayer *engine(); // made when missing; null when the factory fails
    void release();

    Factory m_factory;
    std::unique_ptr<MediaPlayer> m_engine;
    QTimer m_idle;
    QString m_error;
    int m_volume = 100;
    int m_balance = 0;
    QString m_device;
    qint64 m_latency = -1; // of the engines let go
};

} // namespace tav

#pragma once

#include <QObject>
#include <QList>
#include <QString>

namespace tav {

// The station's one media player. Rules every backend keeps:
// - open() replaces whatever is loaded and starts playing it; the state
//   becomes Loading at once and Playing when output has begun.
// - stop() unloads the item; the state becomes Stopped at once and
//   stateChanged(Stopped) is emitted if it was not Stopped already.
// - An item that plays to its end makes the state Stopped and emits
//   stateChanged(Stopped): that is the "item ended" signal, given when its
//   last sample has been heard, not when it was handed to the sound output
//   (whose latency may be seconds on a network or Bluetooth sink). Until
//   then the state stays Playing.
// - An item that cannot be opened or decoded emits errorOccurred(url) and
//   leaves the state Stopped without emitting stateChanged.
// - Streams (http, rtsp, mms ...) are passed through as they are.
class MediaPlayer : public QObject
{
    Q_OBJECT
public:
    enum class State { Stopped, Loading, Playing, Paused };
    Q_ENUM(State)

    using QObject::QObject;

    virtual void open(const QString &url) = 0;
    virtual void play() = 0; // resumes a paused item
    virtual void pause() = 0;
    virtual void stop() = 0;

    virtual State state() const = 0;
    virtual QString currentUrl() const = 0;

    // 0 to 100.
    virtual void setVolume(int volume) = 0;
    virtual int volume() const = 0;
    // Below 0 only the left channel sounds, above 0 only the right, 0 both.
    virtual void setBalance(int balance) = 0;

    // The sound outputs the player can use ("auto" is the system's choice).
    struct AudioDevice
    {
        QString name;        // what setAudioDevice() takes
        QString description; // for people
    };
    virtual QList<AudioDevice> audioDevices() const { return {}; }
    virtual void setAudioDevice(const QString &name) { Q_UNUSED(name) }

    // Something will be played within seconds: a player that makes its
    // engine on demand makes it now, off the second it is needed.
    virtual void warmUp() {}
    // `url` will be opened within seconds: a player that can loads it now
    // and holds it paused before its first sample, so that the open() of
    // the same url only has to let it go. Only a stopped player prepares;
    // any other open() or a stop() drops what was prepared. The state is
    // Paused meanwhile. (A player with a second engine also prepares while
    // busy, on that engine: see DeckPlayer.)
    virtual void prepare(const QString &url) { Q_UNUSED(url) }
    // How far the current item has played, in milliseconds; -1 while nothing
    // has played yet or when the backend cannot say. It stops moving when
    // sound stops flowing: a stalled stream, an output that went away.
    virtual qint64 progressMs() const { return -1; }
    // Closes and opens the sound output again (a device that vanished and
    // came back); false when the backend cannot.
    virtual bool reopenOutput() { return false; }
    // How long a sample handed to the sound output takes to be heard, in
    // milliseconds, as last measured; -1 while not known. mediaStarted()
    // comes when output began: it is heard this much later.
    virtual qint64 outputLatencyMs() const { return -1; }

signals:
    void stateChanged(tav::MediaPlayer::State state);
    void errorOccurred(const QString &url);
    // Output of an item has begun; name is the item's title or file name.
    void mediaStarted(const QString &name);
};

} // namespace tav

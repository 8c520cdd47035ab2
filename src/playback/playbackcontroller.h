#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <optional>

namespace tav {

class Clock;
class MediaPlayer;
class MessageLog;
class Prompt;
class Settings;

enum class PlayMode { Sequential = 0, Loop = 1, Random = 2 };
QString playModeName(PlayMode mode); // "顺序", "循环", "随机"
std::optional<PlayMode> playModeFromName(const QString &name);

// Turns a task's media list into sound and pictures on the one media player,
// over the play list shared by the schedule and the operator. Rules:
// - the selected item of the play list is the item playing;
// - one second after an item ends (its last sample heard, see MediaPlayer)
//   the next-item step runs: sequential stops
//   after the last item, loop starts again at the first, random picks an
//   item at random and then takes the sequential step from it (so the item
//   after the pick plays, or the first when the pick was the last);
// - the step is a repeating one-second timer that waits while something
//   else is already loading or playing;
// - meanwhile the item the step will play (not in random mode) is loaded
//   and held paused at its first sample, as a task's first item is before
//   its start, so that the step only lets it go; and it goes the output's
//   latency before the second is up, so that the silence between two items
//   is a second as heard. Anything else the player is asked lets it go;
// - a file that cannot be played is logged ("文件错误:" + path) and the list
//   moves on to the next item, never wrapping from the last;
// - an item that makes no progress for kStallMs (a stream that connects
//   and never sends or stalls, an output device that vanished, an engine
//   that stopped reporting) is an error like any other: "文件错误:" + path
//   is logged; when it had been playing, the dead air is logged and the
//   sound output is reopened; then the item is stopped and the next-item
//   step follows a second later (so a looping radio stream is tried again);
// - player volume = slider units (0 to 65535) / 655.35, halves to even;
// - the slider always shows the volume in force, whatever set it (a task,
//   the operator, mute, another subsystem turning the music down): every
//   change goes through setSlider() or setPlayerVolume() and is announced
//   by volumeChanged(). While muted it shows 0.
class PlaybackController : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaxSlider = 65535;
    static constexpr qint64 kStallMs = 15000;
    // Right channel: the player gets 10000, the file keeps 0, so a restart
    // comes back with both channels.
    static constexpr int kBalance[3] = {0, -10000, 10000};
    static constexpr int kSavedChannel[3] = {0, 1, 0};

    PlaybackController(MediaPlayer &player, Settings &settings, MessageLog &log,
                       const Clock &clock, QObject *parent = nullptr);

    // Play list.
    const QStringList &items() const { return m_items; }
    int selectedIndex() const { return m_selected; }
    QString currentText() const;
    void setItems(const QStringList &items);
    void select(int index);
    // The operator's own list: add, remove, move one place (the selection follows).
    void appendItems(const QStringList &items);
    void removeItem(int index);
    void moveItem(int index, int by);
    // Drops entries whose files are gone (streams stay); each one is logged
    // as path + "，路径错误，已自动删除！". Returns the lines.
    QString removeMissing();

    // The steps of starting a task now: mode, fresh list, first (or a random)
    // item. The caller sets the volume. An empty list plays nothing.
    void startTask(const QString &modeName, const QStringList &items);
    // A task's first item, seconds before its start, while the player stands
    // idle: loaded and held paused at its first sample (MediaPlayer::prepare),
    // so that the start only lets it go. Files of sound only (no stream, no
    // picture to wait for). A prepared item plays only when the start opens
    // it; one that is not opened within kPreparedMs is let go unheard, and
    // its loading or failing moves nothing in the play list. Over an item
    // playing, a player with a second engine prepares it there and keeps it
    // (DeckPlayer); the current item and the list go on meanwhile.
    // Given its start, an item held on the idle player lets its pause go the
    // output's latency before it, so that it is heard on the second (at the
    // second itself while the latency is not known or longer than the time
    // left); the start's
    // open() finds it going and leaves it so. Not opened by then, it is
    // stopped a second after its start.
    void prepare(const QString &path, const QDateTime &startsAt = QDateTime());
    // The pending early release, in ms from now; -1 none.
    int releaseInMs() const { return m_release.isActive() ? m_release.remainingTime() : -1; }
    static constexpr int kPreparedMs = 6000;
    bool holdsPrepared() const { return m_holdsPrepared; }
    void setPreparedTimeout(int ms) { m_preparedMs = ms; }
    void playSong();
    void stop();
    // The operator's stop key: also ends the list, so no next item follows.
    void stopByOperator();
    void pause();
    void resume();
    // The task has ended: stop and empty the list.
    void stopAndClear();
    void nextItemStep();
    // The watchdog's look, once a second while an item is loading or playing.
    void checkProgress();
    void setStallTimeout(qint64 ms) { m_stallMs = ms; }
    bool isNextStepArmed() const { return m_timer1.isActive(); }
    // When the armed step runs, in ms from its arming.
    int nextStepMs() const { return m_timer1.interval(); }
    static constexpr int kStepMs = 1000;
    // The item held ready for the next step ("" none).
    QString nextHeld() const { return m_nextHeld; }
    bool nowPlaying() const { return m_nowPlaying; }

    PlayMode mode() const { return m_mode; }
    void setMode(PlayMode mode);
    void cycleMode(); // 循环 → 随机 → 顺序 → 循环

    // The slider's position: the volume in force in slider units (0 when muted).
    int slider() const { return m_muted ? 0 : m_slider; }
    // The operator or a task moves the slider: the player follows. Ends mute.
    void setSlider(int units);
    // Sets the player's volume (0 to 100) directly; the slider follows at
    // volume × 655.35. Ends mute. Also the hook for turning the music down
    // and back up around an announcement.
    void setPlayerVolume(int volume);
    // The player's volume in force, 0 to 100.
    int playerVolume() const;
    static int playerVolumeFor(int units);
    static int unitsFor(int playerVolume);
    void toggleMute();
    bool isMuted() const { return m_muted; }

    int channel() const { return m_channel; }
    void setChannel(int index); // applies and saves
    void restoreChannel();      // from the saved value at start-up

    // Streams and audio files: nothing to show, so pictures may take the screen.
    static bool isAudioOnly(const QString &path);
    // A stream address rather than a file: mms as ever, or any "scheme://".
    static bool isStream(const QString &path);
    // Checks every play-list path; a missing one is selected and reported,
    // the report shown and logged. Returns the report (empty when all exist).
    // The report does not wait for the operator. A task whose list is empty
    // is reported with its list file in place of a path.
    QString checkPaths(const QString &taskName, Prompt &prompt, const QString &listFile = QString());

    // Number of pictures in the picture panel, asked when an audio item starts.
    void setPictureCount(std::function<int()> count) { m_pictureCount = std::move(count); }
    // Source of r in [0, 1) for the random mode.
    void setRandomSource(std::function<double()> random) { m_random = std::move(random); }

signals:
    void listChanged();
    void selectionChanged(int index);
    void playKeyChanged(bool playing); // the play key shows "pause" while playing
    void videoVisibilityChanged(bool visible);
    void endOfPass();                  // a loop starts over at the first item
    void volumeChanged(int units); // what the slider shows, see slider()
    void mutedChanged(bool muted);
    void itemPlaying(const QString &name); // the item's name once it sounds
    void itemOpening(const QString &path); // an item is about to go to the player
    void modeChanged(tav::PlayMode mode);
    void idle();                       // sequential list done: status back to idle
    void deadAir();                    // an item made no progress for the stall time

private:
    void onError(const QString &url);
    void randomStep();
    void itemOver();
    QString nextStepItem() const;
    int randomIndex() const;

    MediaPlayer &m_player;
    Settings &m_settings;
    MessageLog &m_log;
    const Clock &m_clock;
    QStringList m_items;
    int m_selected = -1;
    PlayMode m_mode = PlayMode::Loop;
    int m_slider = 0;
    bool m_muted = false;
    int m_savedVolume = 0;
    int m_channel = 0;
    bool m_nowPlaying = false;
    QTimer m_timer1;
    QTimer m_preparedLimit;
    int m_preparedMs = kPreparedMs;
    QTimer m_release; // lets the held item go ahead of its start
    bool m_holdsPrepared = false;
    QString m_nextHeld; // held paused for the next step
    bool m_stopping = false; // stop() is stopping the player
    QTimer m_watchdog;
    qint64 m_stallMs = kStallMs;
    qint64 m_watchedProgress = -1;
    qint64 m_watchedSince = -1; // monotonic ms since the progress last moved; -1 not watching
    QString m_watchedUrl;
    std::function<int()> m_pictureCount;
    std::function<double()> m_random;
};

} // namespace tav

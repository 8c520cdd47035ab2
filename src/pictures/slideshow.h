#pragma once

#include "pictures/picturestore.h"

#include <QDate>
#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>

namespace tav {

class Clock;
class MessageLog;
class PlaybackController;
struct PictureList;

// The advertising slideshow: a list of pictures shown one after another,
// with a music list of its own played beside them on the station's media
// player (so a broadcast turns it down like any task). Who runs it:
// - between tasks, the idle content (startIdle/stopIdle, asked by the
//   clockwork), with the lists and options of "【IMAGE】.ini";
// - a task with pictures of its own (startTask/stopTask), beside the
//   task's own music;
// - the operator's play and stop buttons (play/stop).
// Rules:
// - the first picture shows at once, the next one every switch interval,
//   timed on the clock: each switch is due one interval after the last was
//   due, so late wake-ups do not add up;
// - in order the pictures follow the list and start again after the last
//   one (a slideshow that froze on its last picture would look broken);
//   random picks floor(r × N), repeats allowed; one picture shows on every
//   switch;
// - a picture the screen cannot show (missing, damaged, not a picture, too
//   big) is logged once and skipped at once; with none left to show the
//   screen is left empty;
// - the music starts kMusicDelayMs after the pictures, at the volume
//   "个性音量" (a volume of 0, a key never saved, keeps the volume in force),
//   in order and over again or at random; on a stop date with
//   "停播日期音乐静音" on it does not play, nor while a timed task has the
//   player (the operator's play button during a task);
// - the switch time of "【IMAGE】.ini" is held to 5 … 60 seconds (a file
//   never saved says 0); a task's own is at least 1 second;
// - without a screen (setDisplay(false)) no picture is shown: the idle
//   content is then the music alone.
class Slideshow : public QObject
{
    Q_OBJECT
public:
    enum class Source { None, Idle, Task, Operator };
    static constexpr int kMusicDelayMs = 2000; // tmrDelayRun
    // A wake-up this close to the due time counts as on time.
    static constexpr int kEarlyMs = 5;
    // Pictures that cannot be shown are logged one by one up to this many per list.
    static constexpr int kMaxBadLogged = 20;
    // The idle content looks for a picture file that exists in lists up to
    // this long (a few milliseconds of the clockwork's second at most).
    static constexpr int kMaxLooked = 500;

    Slideshow(const Clock &clock, const DataDir &dir, PlaybackController &playback, MessageLog &log,
              QObject *parent = nullptr);

    // Whether pictures can be shown at all (a windowed station).
    void setDisplay(bool on) { m_display = on; }
    bool hasDisplay() const { return m_display; }
    // Whether a date is a stop date (for the music's mute).
    void setStopDay(std::function<bool(QDate)> isStopDay) { m_isStopDay = std::move(isStopDay); }
    // Whether a timed task has the media player now.
    void setPlayerBusy(std::function<bool()> busy) { m_playerBusy = std::move(busy); }
    // Source of r in [0, 1) for the random order.
    void setRandomSource(std::function<double()> random) { m_random = std::move(random); }

    // The next picture's index after `current` (-1: none shown yet).
    static int nextIndex(int current, int count, int order, double r);

    // "【IMAGE】.ini" read and written; a failure is logged.
    SlideshowSettings loadSettings();
    bool saveSettings(const SlideshowSettings &settings);

    // Idle content: true when something really started (pictures on a
    // screen, or music to play). A list (up to kMaxLooked long) without one
    // picture file that exists shows nothing: the log says why, once a day
    // or when the list changes, and only the music (if any) starts.
    bool startIdle();
    void stopIdle();
    // A task started: its own pictures; without any, the idle pictures
    // that are showing stay beside its music (none showing: the screen is
    // the task's).
    void startTask(const PictureList &pictures);
    // The task ended: its pictures go.
    void stopTask();
    // The operator's play button, with the window's lists and options.
    bool play(const SlideshowSettings &settings);
    // The operator's stop button: pictures and the slideshow's music stop.
    void stop();

    // tmrSwitching: shows the next picture when its time has come.
    void switchTick();
    // tmrDelayRun: the music list starts.
    void startMusic();
    // The screen could not show a picture.
    void pictureFailed(const QString &path, const QString &reason);

    Source source() const { return m_source; }
    bool isRunning() const { return m_source != Source::None; }
    // Pictures are on the screen (running, with a display and pictures).
    bool isShowing() const { return m_showing; }
    // Pictures of the list being shown: what the player asks before it
    // hides the video for a sound-only item. 0 while nothing is shown.
    int pictureCount() const { return m_showing ? int(m_pictures.size()) : 0; }
    const QStringList &pictures() const { return m_pictures; }
    int currentIndex() const { return m_index; }
    QString currentPicture() const;
    int intervalSeconds() const { return m_interval; }
    QDateTime nextSwitchAt() const { return m_nextAt; }
    bool isMusicPending() const { return m_musicDelay.isActive(); }
    bool isMusicPlaying() const;
    const SlideshowSettings &settings() const { return m_settings; }

signals:
    void pictureChanged(const QString &path); // show this picture now
    void cleared();                           // nothing to show
    void showingChanged(bool showing);        // pictures came or went
    void sourceChanged(tav::Slideshow::Source source);

private:
    bool run(Source source, const SlideshowSettings &settings);
    void showPictures(const QStringList &pictures, int order, int seconds);
    void stopPictures();
    void stopMusic();
    void setSource(Source source);
    void showNext();
    void armSwitch();
    double random() const;
    static bool anyPictureExists(const QStringList &pictures);
    void noteNothingToShow(const QStringList &pictures, bool music);

    const Clock &m_clock;
    PlaybackController &m_playback;
    MessageLog &m_log;
    PictureStore m_store;
    SlideshowSettings m_settings; // of the idle content or the operator's play
    Source m_source = Source::None;
    bool m_display = false;
    bool m_showing = false;
    QStringList m_pictures;
    int m_order = SlideshowSettings::InOrder;
    int m_interval = 0;
    int m_index = -1;
    QDateTime m_nextAt;
    QSet<QString> m_listed; // m_pictures, for quick look-ups
    QSet<QString> m_bad;
    int m_badLogged = 0;
    QDate m_quietDay;        // when the idle list last showed nothing, and which list
    QStringList m_quietList;
    QStringList m_musicItems; // what the slideshow put on the player
    QTimer m_switch;          // tmrSwitching
    QTimer m_musicDelay;      // tmrDelayRun
    std::function<bool(QDate)> m_isStopDay;
    std::function<bool()> m_playerBusy;
    std::function<double()> m_random;
};

} // namespace tav

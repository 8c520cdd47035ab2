#include "playback/playbackcontroller.h"

#include "core/clock.h"
#include "core/messagelog.h"
#include "core/settings.h"
#include "core/zhtext.h"
#include "platform/mediaplayer.h"
#include "platform/prompt.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace tav {

QString playModeName(PlayMode mode)
{
    switch (mode) {
    case PlayMode::Sequential: return u"顺序"_s;
    case PlayMode::Loop: return u"循环"_s;
    case PlayMode::Random: return u"随机"_s;
    }
    Q_UNREACHABLE();
}

std::optional<PlayMode> playModeFromName(const QString &name)
{
    for (PlayMode m : {PlayMode::Sequential, PlayMode::Loop, PlayMode::Random})
        if (playModeName(m) == name)
            return m;
    return std::nullopt;
}

namespace {

// The name a media player gives an item: the file's name without its
// extension; a stream keeps its address.
QString mediaName(const QString &url)
{
    if (PlaybackController::isStream(url))
        return url;
    return QFileInfo(url).completeBaseName();
}

} // namespace

PlaybackController::PlaybackController(MediaPlayer &player, Settings &settings, MessageLog &log,
                                       const Clock &clock, QObject *parent)
    : QObject(parent), m_player(player), m_settings(settings), m_log(log), m_clock(clock),
      m_random([] { return QRandomGenerator::global()->generateDouble(); })
{
    // The slider starts where the player's own volume is.
    m_slider = qBound(0, int(std::lround(m_player.volume() * 655.35)), kMaxSlider);
    m_timer1.setInterval(kStepMs);
    m_timer1.setTimerType(Qt::PreciseTimer);
    connect(&m_timer1, &QTimer::timeout, this, &PlaybackController::nextItemStep);
    m_watchdog.setInterval(1000);
    connect(&m_watchdog, &QTimer::timeout, this, &PlaybackController::checkProgress);
    m_preparedLimit.setSingleShot(true);
    connect(&m_preparedLimit, &QTimer::timeout, this, [this] {
        if (m_holdsPrepared)
            m_player.stop(); // its Stopped ends the holding, see below
    });
    m_release.setSingleShot(true);
    m_release.setTimerType(Qt::PreciseTimer);
    connect(&m_release, &QTimer::timeout, this, [this] {
        if (!m_holdsPrepared || m_player.state() != MediaPlayer::State::Paused)
            return;
        m_player.play();
        // Heard from its start on: a start that does not come stops it.
        m_preparedLimit.start(int(std::min<qint64>(m_player.outputLatencyMs(), 10'000)) + kStepMs);
    });
    connect(&m_player, &MediaPlayer::stateChanged, this, [this](MediaPlayer::State s) {
        if (m_holdsPrepared && s == MediaPlayer::State::Stopped) {
            m_holdsPrepared = false; // let go unheard: no step follows
            return;
        }
        if (!m_nextHeld.isEmpty() && s == MediaPlayer::State::Stopped) {
            m_nextHeld.clear(); // let go unheard: the armed step opens it as ever
            m_timer1.setInterval(kStepMs);
            return;
        }
        if (s == MediaPlayer::State::Stopped && m_stopping)
            m_timer1.start(kStepMs); // stopped on purpose: nothing is made ready
        else if (s == MediaPlayer::State::Stopped)
            itemOver();
        if (s == MediaPlayer::State::Playing)
            emit itemPlaying(mediaName(m_player.currentUrl()));
    });
    // The failing item's step runs outside the player's own event handling.
    connect(&m_player, &MediaPlayer::errorOccurred, this,
            [this](const QString &url) {
                if (m_holdsPrepared) { // told when its task starts and opens it again
                    m_holdsPrepared = false;
                    return;
                }
                if (!m_nextHeld.isEmpty() && url == m_nextHeld) { // told when the step opens it
                    m_nextHeld.clear();
                    m_timer1.setInterval(kStepMs);
                    return;
                }
                QTimer::singleShot(0, this, [this, url] { onError(url); });
            });
}

QString PlaybackController::currentText() const
{
    return m_selected >= 0 && m_selected < m_items.size() ? m_items.at(m_selected) : QString();
}

void PlaybackController::setItems(const QStringList &items)
{
    m_items = items;
    m_selected = -1;
    emit listChanged();
    emit selectionChanged(m_selected);
}

void PlaybackController::select(int index)
{
    m_selected = index >= 0 && index < m_items.size() ? index : -1;
    emit selectionChanged(m_selected);
}

void PlaybackController::appendItems(const QStringList &items)
{
    m_items += items;
    emit listChanged();
    emit selectionChanged(m_selected);
}

void PlaybackController::removeItem(int index)
{
    if (index < 0 || index >= m_items.size())
        return;
    m_items.removeAt(index);
    if (m_selected >= m_items.size() || index < m_selected)
        --m_selected;
    emit listChanged();
    emit selectionChanged(m_selected);
}

void PlaybackController::moveItem(int index, int by)
{
    const int to = index + by;
    if (index < 0 || index >= m_items.size() || to < 0 || to >= m_items.size())
        return;
    m_items.move(index, to);
    if (m_selected == index)
        m_selected = to;
    else if (m_selected == to)
        m_selected = index;
    emit listChanged();
    emit selectionChanged(m_selected);
}

QString PlaybackController::removeMissing()
{
    QString report;
    for (int i = int(m_items.size()) - 1; i >= 0; --i) {
        const QString path = m_items.at(i).trimmed();
        if (isStream(path) || QFileInfo::exists(path))
            continue;
        report.prepend(path + u"，路径错误，已自动删除！\r\n"_s);
        removeItem(i);
    }
    if (!report.isEmpty())
        m_log.append(zh::stampedLine(m_clock.now(), report.trimmed()));
    return report;
}

void PlaybackController::startTask(const QString &modeName, const QStringList &items)
{
    m_nowPlaying = true;
    if (const auto mode = playModeFromName(modeName))
        setMode(*mode);
    setItems(items);
    if (m_items.isEmpty())
        return;
    select(m_mode == PlayMode::Random ? randomIndex() : 0);
    playSong();
    if (isAudioOnly(currentText()))
        emit videoVisibilityChanged(!(m_pictureCount && m_pictureCount() > 0));
}

void PlaybackController::prepare(const QString &path, const QDateTime &startsAt)
{
    if (m_holdsPrepared || path.isEmpty() || isStream(path) || !isAudioOnly(path))
        return;
    // A busy player prepares only when it has a second engine, which keeps
    // the item to itself until it is opened.
    const bool idle = m_player.state() == MediaPlayer::State::Stopped;
    m_player.prepare(path);
    if (idle && m_player.state() == MediaPlayer::State::Paused) {
        m_holdsPrepared = true;
        m_preparedLimit.start(m_preparedMs); // not what a release before left
        const qint64 latency = m_player.outputLatencyMs();
        const qint64 in = startsAt.isValid() && latency > 0 ? m_clock.now().msecsTo(startsAt) - latency : -1;
        if (in > 0 && in < m_preparedMs) // no time to go ahead: the start lets it go
            m_release.start(int(in));
    }
}

void PlaybackController::itemOver()
{
    // (Re)armed: the step runs a second from now ...
    m_timer1.start(kStepMs);
    const QString next = nextStepItem();
    if (next.isEmpty() || isStream(next) || !isAudioOnly(next))
        return;
    m_player.prepare(next);
    if (m_player.state() != MediaPlayer::State::Paused || m_player.currentUrl() != next)
        return;
    m_nextHeld = next;
    // ... less the output's latency when it has only to let the pause go.
    const qint64 latency = m_player.outputLatencyMs();
    if (latency > 0)
        m_timer1.start(int(kStepMs - qMin<qint64>(latency, kStepMs)));
}

// What nextItemStep() will play, when that is known now.
QString PlaybackController::nextStepItem() const
{
    const int count = int(m_items.size());
    if (m_mode == PlayMode::Random || m_selected < 0 || m_selected >= count)
        return QString();
    if (m_selected < count - 1)
        return m_items.at(m_selected + 1);
    return m_mode == PlayMode::Loop ? m_items.value(0) : QString();
}

void PlaybackController::playSong()
{
    // The prepared item, if this is it, only has its pause lifted by open().
    m_holdsPrepared = false;
    m_nextHeld.clear();
    m_timer1.setInterval(kStepMs);
    m_preparedLimit.stop();
    m_release.stop();
    emit itemOpening(currentText()); // its picture's window first
    m_player.open(currentText());
    emit playKeyChanged(true);
    m_watchedSince = m_clock.monotonicMs(); // the stall is timed from the opening
    m_watchedProgress = m_player.progressMs();
    m_watchedUrl = m_player.currentUrl();
    m_watchdog.start();
}

void PlaybackController::checkProgress()
{
    const MediaPlayer::State state = m_player.state();
    if (state == MediaPlayer::State::Stopped || state == MediaPlayer::State::Paused) {
        m_watchedSince = -1;
        if (state == MediaPlayer::State::Stopped && m_items.isEmpty())
            m_watchdog.stop();
        return;
    }
    const qint64 now = m_clock.monotonicMs();
    const qint64 progress = m_player.progressMs();
    const QString url = m_player.currentUrl();
    if (m_watchedSince < 0 || progress != m_watchedProgress || url != m_watchedUrl) {
        m_watchedSince = now;
        m_watchedProgress = progress;
        m_watchedUrl = url;
        return;
    }
    const bool playing = state == MediaPlayer::State::Playing;
    if ((playing && progress < 0) || now - m_watchedSince < m_stallMs)
        return; // a backend that cannot tell is trusted; a stall has its time
    m_watchedSince = -1;
    const QString seconds = QString::number(m_stallMs / 1000);
    emit deadAir();
    m_log.append(zh::stampedLine(m_clock.now(), u"文件错误:"_s + url));
    if (playing) {
        m_log.append(zh::stampedLine(m_clock.now(), u"播放中%1秒无声，重新打开声音输出"_s.arg(seconds)));
        if (!m_player.reopenOutput())
            m_log.append(zh::stampedLine(m_clock.now(), u"声音输出无法重新打开"_s));
    } else {
        m_log.append(zh::stampedLine(m_clock.now(), u"%1秒仍未开始播放：%2"_s.arg(seconds, url)));
    }
    m_player.stop(); // the next-item step follows
}

void PlaybackController::stop()
{
    if (m_holdsPrepared) { // silent anyway; kept for the start about to come
        emit playKeyChanged(false);
        return;
    }
    m_nextHeld.clear();
    m_stopping = true;
    m_player.stop();
    m_stopping = false;
    emit playKeyChanged(false);
}

void PlaybackController::stopByOperator()
{
    stop();
    m_timer1.stop();
}

void PlaybackController::pause()
{
    m_player.pause();
}

void PlaybackController::resume()
{
    if (!m_nextHeld.isEmpty()) { // between two items: the next one now
        nextItemStep();
        return;
    }
    m_player.play();
}

void PlaybackController::stopAndClear()
{
    stop();
    setItems({});
}

int PlaybackController::randomIndex() const
{
    const double r = m_random();
    return qBound(0, int(std::floor(r * double(m_items.size()))), int(m_items.size()) - 1);
}

void PlaybackController::randomStep()
{
    if (!currentText().isEmpty()) {
        select(randomIndex());
        playSong();
    }
    m_timer1.stop();
}

void PlaybackController::nextItemStep()
{
    const MediaPlayer::State state = m_player.state();
    const bool held = !m_nextHeld.isEmpty() && state == MediaPlayer::State::Paused;
    if (state != MediaPlayer::State::Stopped && !held)
        return; // a new item is already on its way
    if (m_mode == PlayMode::Random)
        randomStep();
    const int count = int(m_items.size());
    if (m_selected == count - 1) {
        m_timer1.stop();
        if (currentText().isEmpty())
            return;
        if (m_mode == PlayMode::Sequential) {
            stop();
            emit idle();
            return;
        }
        emit endOfPass();
        select(0);
        playSong();
        return;
    }
    select(m_selected + 1);
    playSong();
    m_timer1.stop();
}

void PlaybackController::onError(const QString &url)
{
    m_log.append(zh::stampedLine(m_clock.now(), u"文件错误:"_s + url));
    const int count = int(m_items.size());
    if (m_selected < count - 1 && count > 1) {
        select(m_selected + 1);
        playSong();
    }
}

void PlaybackController::setMode(PlayMode mode)
{
    m_mode = mode;
    emit modeChanged(mode);
}

void PlaybackController::cycleMode()
{
    switch (m_mode) {
    case PlayMode::Loop: setMode(PlayMode::Random); break;
    case PlayMode::Random: setMode(PlayMode::Sequential); break;
    case PlayMode::Sequential: setMode(PlayMode::Loop); break;
    }
}

int PlaybackController::playerVolumeFor(int units)
{
    // nearbyint rounds halves to the even neighbour.
    return int(std::nearbyint(double(qBound(0, units, kMaxSlider)) / 655.35));
}

int PlaybackController::unitsFor(int playerVolume)
{
    return qBound(0, int(std::lround(qBound(0, playerVolume, 100) * 655.35)), kMaxSlider);
}

void PlaybackController::setSlider(int units)
{
    m_slider = qBound(0, units, kMaxSlider);
    m_player.setVolume(playerVolumeFor(m_slider));
    if (m_muted) {
        m_muted = false;
        emit mutedChanged(false);
    }
    emit volumeChanged(slider());
}

void PlaybackController::setPlayerVolume(int volume)
{
    volume = qBound(0, volume, 100);
    // A slider position that already gives this volume stays where it is.
    if (playerVolumeFor(m_slider) != volume)
        m_slider = unitsFor(volume);
    setSlider(m_slider);
}

int PlaybackController::playerVolume() const
{
    return m_player.volume();
}

void PlaybackController::toggleMute()
{
    if (!m_muted) {
        m_savedVolume = m_player.volume();
        m_player.setVolume(0);
        m_muted = true;
        emit mutedChanged(true);
        emit volumeChanged(slider());
    } else {
        setPlayerVolume(m_savedVolume);
    }
}

void PlaybackController::setChannel(int index)
{
    if (index < 0 || index > 2)
        return;
    m_channel = index;
    m_player.setBalance(kBalance[index]);
    m_settings.setText(Setting::Channel, QString::number(kSavedChannel[index]));
}

void PlaybackController::restoreChannel()
{
    m_channel = m_settings.number(Setting::Channel) == 1 ? 1 : 0;
    m_player.setBalance(kBalance[m_channel]);
}

bool PlaybackController::isStream(const QString &path)
{
    return path.left(3).toLower() == u"mms" || path.contains(u"://");
}

bool PlaybackController::isAudioOnly(const QString &path)
{
    const QString p = path.toLower();
    static const QString kAudioEndings[] = {u".mid"_s, u".mp3"_s, u".wav"_s, u".wma"_s, u".ape"_s,
                                            u".flac"_s};
    if (p.startsWith(u"mms:"))
        return true;
    for (const QString &ending : kAudioEndings)
        if (p.endsWith(ending))
            return true;
    return false;
}

QString PlaybackController::checkPaths(const QString &taskName, Prompt &prompt, const QString &listFile)
{
    QString report;
    if (m_items.isEmpty() && !listFile.isEmpty())
        report += taskName + u"：" + listFile + u"定时任务的音乐路径错误！  \r\n"_s;
    for (int i = 0; i < m_items.size(); ++i) {
        const QString path = m_items.at(i).trimmed();
        if (isStream(path))
            continue;
        if (!QFileInfo::exists(path)) {
            select(i);
            report += taskName + u"：" + path + u"定时任务的音乐路径错误！  \r\n"_s;
        }
    }
    if (!report.isEmpty()) {
        prompt.informLater(u"Tavrel多媒体定时播放系统"_s, report);
        m_log.append(zh::stampedLine(m_clock.now(), report.trimmed()));
    }
    return report;
}

} // namespace tav

#include "pictures/slideshow.h"

#include "core/clock.h"
#include "core/messagelog.h"
#include "core/zhtext.h"
#include "playback/playbackcontroller.h"
#include "scheduler/taskstore.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>

#include <cmath>

using namespace Qt::StringLiterals;

namespace tav {

Slideshow::Slideshow(const Clock &clock, const DataDir &dir, PlaybackController &playback, MessageLog &log,
                     QObject *parent)
    : QObject(parent), m_clock(clock), m_playback(playback), m_log(log), m_store(dir)
{
    m_switch.setSingleShot(true);
    m_switch.setTimerType(Qt::PreciseTimer);
    connect(&m_switch, &QTimer::timeout, this, &Slideshow::switchTick);
    m_musicDelay.setSingleShot(true);
    m_musicDelay.setInterval(kMusicDelayMs);
    connect(&m_musicDelay, &QTimer::timeout, this, &Slideshow::startMusic);
}

int Slideshow::nextIndex(int current, int count, int order, double r)
{
    if (count <= 0)
        return -1;
    if (count == 1)
        return 0;
    if (order == SlideshowSettings::Random)
        return qBound(0, int(std::floor(r * count)), count - 1);
    return current < 0 || current >= count - 1 ? 0 : current + 1;
}

double Slideshow::random() const
{
    return m_random ? m_random() : QRandomGenerator::global()->generateDouble();
}

QString Slideshow::currentPicture() const
{
    return m_index >= 0 && m_index < m_pictures.size() ? m_pictures.at(m_index) : QString();
}

bool Slideshow::isMusicPlaying() const
{
    return !m_musicItems.isEmpty() && m_playback.items() == m_musicItems;
}

SlideshowSettings Slideshow::loadSettings()
{
    bool readable = true;
    SlideshowSettings settings = m_store.load(&readable);
    if (!readable)
        m_log.append(zh::stampedLine(m_clock.now(), u"读取文件失败："_s + m_store.path()));
    return settings;
}

bool Slideshow::saveSettings(const SlideshowSettings &settings)
{
    QString error;
    if (m_store.save(settings, &error))
        return true;
    m_log.append(zh::stampedLine(m_clock.now(), u"写文件时出错："_s + m_store.path() + u"（"_s + error + u"）"_s));
    return false;
}

bool Slideshow::startIdle()
{
    SlideshowSettings settings = loadSettings();
    if (m_display && !anyPictureExists(settings.pictures)) {
        const bool music = settings.playMusic && !settings.music.isEmpty();
        noteNothingToShow(settings.pictures, music);
        settings.pictures.clear(); // the screen stays as it is: the music alone, or nothing
    }
    return run(Source::Idle, settings);
}

bool Slideshow::anyPictureExists(const QStringList &pictures)
{
    // A list longer than kMaxLooked is taken as it is (the screen skips what
    // is missing): the clockwork's second is not spent looking through it.
    if (pictures.size() > kMaxLooked)
        return true;
    // Stops at the first one found: usually the first of the list.
    return std::any_of(pictures.cbegin(), pictures.cend(), [](const QString &p) { return QFileInfo(p).isFile(); });
}

void Slideshow::noteNothingToShow(const QStringList &pictures, bool music)
{
    const QDate today = m_clock.now().date();
    if (m_quietDay == today && m_quietList == pictures)
        return; // said already today, for this list
    m_quietDay = today;
    m_quietList = pictures;
    const QString why = pictures.isEmpty() ? u"图片广告：图片列表为空"_s : u"图片广告：列表中的图片都不存在"_s;
    m_log.append(zh::stampedLine(m_clock.now(), why + (music ? u"，只播放背景音乐"_s : u"，未开播"_s)));
}

bool Slideshow::play(const SlideshowSettings &settings)
{
    return run(Source::Operator, settings);
}

bool Slideshow::run(Source source, const SlideshowSettings &settings)
{
    stop();
    m_settings = settings;
    const bool pictures = m_display && !settings.pictures.isEmpty();
    const bool music = settings.playMusic && !settings.music.isEmpty();
    if (!pictures && !music)
        return false;
    setSource(source);
    if (pictures)
        showPictures(settings.pictures, settings.pictureOrder,
                     qBound(PictureStore::kMinSwitch, settings.switchSeconds, PictureStore::kMaxSwitch));
    if (music)
        m_musicDelay.start();
    return true;
}

void Slideshow::stopIdle()
{
    if (m_source == Source::Idle)
        stop();
}

void Slideshow::startTask(const PictureList &list)
{
    // The task's own music replaces the slideshow's: nothing to stop on the player.
    m_musicDelay.stop();
    m_musicItems.clear();
    if (list.paths.isEmpty() && m_source == Source::Idle && m_showing) {
        // A task without pictures of its own: the slideshow's pictures stay
        // beside its music (a video item shows over them), until it ends.
        setSource(Source::Task);
        return;
    }
    stopPictures();
    if (list.paths.isEmpty() || !m_display) {
        setSource(Source::None);
        return;
    }
    setSource(Source::Task);
    // The task editor writes "1" for in order.
    showPictures(list.paths, list.mode == u"1"_s ? SlideshowSettings::InOrder : SlideshowSettings::Random,
                 list.intervalSeconds);
}

void Slideshow::stopTask()
{
    if (m_source == Source::Task)
        stop();
}

void Slideshow::stop()
{
    stopPictures();
    stopMusic();
    setSource(Source::None);
}

void Slideshow::setSource(Source source)
{
    if (source == m_source)
        return;
    m_source = source;
    emit sourceChanged(source);
}

void Slideshow::showPictures(const QStringList &pictures, int order, int seconds)
{
    m_pictures = pictures;
    m_listed = QSet<QString>(pictures.cbegin(), pictures.cend());
    m_order = order;
    m_interval = qMax(1, seconds);
    m_index = -1;
    m_bad.clear();
    m_badLogged = 0;
    m_showing = true;
    emit showingChanged(true);
    m_nextAt = m_clock.now().addSecs(m_interval);
    showNext();
    armSwitch();
}

void Slideshow::stopPictures()
{
    m_switch.stop();
    m_index = -1;
    m_nextAt = {};
    if (!m_showing)
        return;
    m_showing = false;
    m_pictures.clear();
    m_listed.clear();
    emit cleared();
    emit showingChanged(false);
}

void Slideshow::stopMusic()
{
    m_musicDelay.stop();
    // Only the slideshow's own list: a task or the operator may have taken the player.
    if (isMusicPlaying())
        m_playback.stopAndClear();
    m_musicItems.clear();
}

void Slideshow::switchTick()
{
    if (!m_showing)
        return;
    const QDateTime now = m_clock.now();
    const qint64 left = now.msecsTo(m_nextAt);
    if (left > qint64(m_interval) * 1000) {
        m_nextAt = now.addSecs(m_interval); // the clock was set back
    } else if (left > kEarlyMs) {
        armSwitch(); // woke too early
        return;
    } else {
        m_nextAt = m_nextAt.addSecs(m_interval);
        if (m_nextAt <= now) // far behind (the machine slept): start the count afresh
            m_nextAt = now.addSecs(m_interval);
    }
    showNext();
    armSwitch();
}

void Slideshow::armSwitch()
{
    const qint64 left = m_clock.now().msecsTo(m_nextAt);
    m_switch.start(int(qBound<qint64>(0, left, qint64(m_interval) * 1000)));
}

void Slideshow::showNext()
{
    const int count = int(m_pictures.size());
    int index = nextIndex(m_index, count, m_order, m_order == SlideshowSettings::Random ? random() : 0.0);
    // Skip what cannot be shown, in list order from the pick.
    for (int tries = 0; index >= 0 && tries < count && m_bad.contains(m_pictures.at(index)); ++tries)
        index = (index + 1) % count;
    if (index < 0 || m_bad.contains(m_pictures.at(index))) {
        if (m_index >= 0) { // the screen empties once
            m_index = -1;
            emit cleared();
        }
        return;
    }
    m_index = index;
    emit pictureChanged(m_pictures.at(index));
}

void Slideshow::pictureFailed(const QString &path, const QString &reason)
{
    if (!m_showing || !m_listed.contains(path) || m_bad.contains(path))
        return;
    m_bad.insert(path);
    if (m_badLogged < kMaxBadLogged)
        m_log.append(zh::stampedLine(m_clock.now(), u"图片无法显示："_s + path + u"（"_s + reason + u"）"_s));
    else if (m_badLogged == kMaxBadLogged)
        m_log.append(zh::stampedLine(m_clock.now(), u"还有更多图片无法显示，不再逐一记录"_s));
    ++m_badLogged;
    if (path == currentPicture())
        showNext(); // at once: the screen should not wait a whole interval
}

void Slideshow::startMusic()
{
    if (m_source == Source::None || m_source == Source::Task || !m_settings.playMusic
        || m_settings.music.isEmpty())
        return;
    const QDate today = m_clock.now().date();
    if (m_settings.muteOnStopDates && m_isStopDay && m_isStopDay(today)) {
        m_log.append(zh::stampedLine(m_clock.now(), u"停播日期，图片背景音乐静音"_s));
        return;
    }
    if (m_playerBusy && m_playerBusy()) {
        m_log.append(zh::stampedLine(m_clock.now(), u"定时任务正在播放，图片背景音乐不播放"_s));
        return;
    }
    m_playback.startTask(m_settings.musicModeName(), m_settings.music);
    m_musicItems = m_playback.items();
    if (m_settings.volume >= PictureStore::kMinVolume)
        m_playback.setSlider(qMin(m_settings.volume, PictureStore::kMaxVolume));
}

} // namespace tav

#include "shell/emergency.h"

#include "broadcast/announcequeue.h"
#include "broadcast/broadcaster.h"
#include "broadcast/broadcastscheduler.h"
#include "captions/captionscroller.h"
#include "core/clock.h"
#include "core/datadir.h"
#include "core/ini.h"
#include "core/messagelog.h"
#include "core/secret.h"
#include "core/zhtext.h"
#include "pictures/slideshow.h"
#include "platform/mediaplayer.h"
#include "playback/playbackcontroller.h"
#include "scheduler/scheduler.h"

#include <QCryptographicHash>
#include <QFileInfo>

#include <utility>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kText = u"文字"_s;
const QString kSpeaker = u"声音"_s;
const QString kSoundFile = u"声音文件"_s;
const QString kToken = u"报警系统令牌"_s;

QString minutesText(qint64 seconds)
{
    return u"%1分%2秒"_s.arg(seconds / 60).arg(seconds % 60, 2, 10, QChar(u'0'));
}

} // namespace

const QString EmergencySettings::kDefaultText = u"紧急情况，请大家保持冷静，听从现场指挥，立即有序撤离。"_s;

bool EmergencySettings::load(const DataDir &dir, EmergencySettings *out, QString *error)
{
    bool readable = true;
    const auto doc = IniFile(dir.control()).read(&readable);
    if (!readable) {
        if (error)
            *error = u"无法读取 "_s + QFileInfo(dir.control()).fileName();
        return false;
    }
    EmergencySettings s;
    if (doc) {
        const QString text = doc->value(kSection, kText);
        if (!text.trimmed().isEmpty())
            s.text = text;
        s.speaker = doc->value(kSection, kSpeaker);
        s.soundFile = doc->value(kSection, kSoundFile);
    }
    *out = s;
    return true;
}

bool EmergencySettings::save(const DataDir &dir, QString *error) const
{
    if (text.trimmed().isEmpty() && soundFile.trimmed().isEmpty()) {
        if (error)
            *error = u"紧急广播的文字和声音文件不能都为空"_s;
        return false;
    }
    if (!soundFile.isEmpty() && !QFileInfo(soundFile).isFile()) {
        if (error)
            *error = u"找不到声音文件："_s + soundFile;
        return false;
    }
    const IniFile file(dir.control());
    const QString name = QFileInfo(dir.control()).fileName();
    const std::pair<QString, QString> entries[] = {{kText, text}, {kSpeaker, speaker}, {kSoundFile, soundFile}};
    for (const auto &[key, value] : entries) {
        if (!file.setValue(kSection, key, value)) {
            if (error)
                *error = u"无法写入 "_s + name;
            return false;
        }
    }
    return true;
}

bool EmergencySettings::setToken(const DataDir &dir, const QString &token, QString *error)
{
    if (token.trimmed().size() < 8) {
        if (error)
            *error = u"令牌至少要有8个字符"_s;
        return false;
    }
    if (!IniFile(dir.control()).setValue(kSection, kToken, hashSecret(token.trimmed()))) {
        if (error)
            *error = u"无法写入 "_s + QFileInfo(dir.control()).fileName();
        return false;
    }
    return true;
}

bool EmergencySettings::hasToken(const DataDir &dir)
{
    return !IniFile(dir.control()).value(kSection, kToken).isEmpty();
}

Emergency::Emergency(const Clock &clock, const DataDir &dir, MessageLog &messages, Scheduler &scheduler,
                     PlaybackController &playback, MediaPlayer &mediaPlayer, Slideshow &slideshow,
                     CaptionScroller &captions, QObject *parent)
    : QObject(parent), m_clock(clock), m_dir(dir), m_log(messages), m_scheduler(scheduler), m_playback(playback),
      m_mediaPlayer(mediaPlayer), m_slideshow(slideshow), m_captions(captions)
{
    connect(&m_scheduler, &Scheduler::taskStarted, this, [this](const QString &name) { m_task = name; });
    connect(&m_scheduler, &Scheduler::taskEnded, this, [this] { m_task.clear(); });
}

void Emergency::setBroadcast(Broadcaster *broadcaster, BroadcastScheduler *scheduler, AnnounceQueue *announcements,
                             AlarmLoop *alarm)
{
    m_broadcaster = broadcaster;
    m_broadcastScheduler = scheduler;
    m_announcements = announcements;
    m_alarm = alarm;
}

void Emergency::loadSettings()
{
    QString error;
    if (!EmergencySettings::load(m_dir, &m_settings, &error))
        log(u"读取紧急广播设置失败："_s + error);
    if (m_alarm && !m_active)
        m_alarm->prepare(m_settings.content());
}

bool Emergency::saveSettings(const EmergencySettings &settings, QString *error)
{
    if (!settings.save(m_dir, error))
        return false;
    m_settings = settings;
    if (m_alarm && !m_active)
        m_alarm->prepare(m_settings.content());
    return true;
}

bool Emergency::start(const EmergencyRequest &request, const QString &origin, QString *error)
{
    if (!request.soundFile.isEmpty() && !QFileInfo(request.soundFile).isFile()) {
        if (error)
            *error = u"找不到声音文件："_s + request.soundFile;
        return false;
    }
    if (m_active) {
        log(u"紧急广播已在进行中（%1再次发起）"_s.arg(origin));
        return true;
    }
    AlarmContent content = m_settings.content();
    if (!request.soundFile.isEmpty())
        content = AlarmContent{{}, m_settings.speaker, request.soundFile};
    else if (!request.text.trimmed().isEmpty())
        content = AlarmContent{request.text.trimmed(), m_settings.speaker, {}};
    m_active = true;
    m_since = m_clock.now();
    m_text = content.text.isEmpty() ? u"紧急广播"_s : content.text;
    // The sound first: everything else is quiet within the same call.
    if (m_announcements)
        m_announcements->setHeld(true);
    if (m_broadcastScheduler)
        m_broadcastScheduler->setHeld(true);
    if (m_broadcaster)
        m_broadcaster->stop();
    if (m_alarm)
        m_alarm->start(content);
    m_scheduler.hold();
    const MediaPlayer::State state = m_mediaPlayer.state();
    m_paused = state == MediaPlayer::State::Playing || state == MediaPlayer::State::Loading;
    QString interrupted;
    if (m_paused) {
        const qint64 at = m_mediaPlayer.progressMs();
        interrupted = u"；中断："_s + (m_task.isEmpty() ? u"手动播放"_s : m_task) + u"，第%1项“%2”"_s.arg(
                          m_playback.selectedIndex() + 1).arg(QFileInfo(m_playback.currentText()).fileName());
        if (at >= 0)
            interrupted += u"，"_s + zh::durationText(int(at / 1000)) + u"处"_s;
        m_playback.pause();
    }
    m_slideshow.stopIdle();
    m_captionsRan = m_captions.isRunning();
    if (m_captionsRan)
        m_captions.cmdSRstop_Click();
    log(u"紧急广播开始（%1）：%2%3"_s.arg(origin, content.soundFile.isEmpty() ? content.text : content.soundFile,
                                        interrupted));
    if (!m_alarm)
        log(u"紧急广播没有声音：语音播报不可用"_s);
    emit activeChanged(true, m_text);
    return true;
}

bool Emergency::clear(const QString &origin, QString *error)
{
    if (!m_active) {
        if (error)
            *error = u"当前没有紧急广播"_s;
        return false;
    }
    m_active = false;
    if (m_alarm)
        m_alarm->stop();
    if (m_broadcastScheduler)
        m_broadcastScheduler->setHeld(false);
    if (m_announcements)
        m_announcements->setHeld(false);
    log(u"紧急广播解除（%1），历时%2"_s.arg(origin, minutesText(m_since.secsTo(m_clock.now()))));
    if (m_scheduler.release()) {
        // A task that started meanwhile plays; the interrupted item is gone.
    } else if (m_paused && m_mediaPlayer.state() == MediaPlayer::State::Paused) {
        log(u"继续播放："_s + (m_task.isEmpty() ? u"手动播放"_s : m_task));
        m_playback.resume();
    } else if (m_scheduler.runningEnd().isEmpty() && m_idleContent) {
        m_idleContent();
    }
    m_paused = false;
    if (m_captionsRan)
        m_captions.playMode();
    if (m_alarm)
        m_alarm->prepare(m_settings.content()); // ready for the next one
    emit activeChanged(false, QString());
    return true;
}

QString Emergency::tokenHash() const
{
    return IniFile(m_dir.control()).value(EmergencySettings::kSection, kToken);
}

namespace {

QByteArray tokenDigest(const QString &stored, const QString &token)
{
    return QCryptographicHash::hash((stored + u'\n' + token).toUtf8(), QCryptographicHash::Sha256);
}

} // namespace

bool Emergency::knownToken(const QString &token) const
{
    const QString stored = tokenHash();
    return !stored.isEmpty() && !token.isEmpty() && !m_tokenSeen.isEmpty() && tokenDigest(stored, token) == m_tokenSeen;
}

void Emergency::tokenMatched(const QString &token, const QString &stored)
{
    m_tokenSeen = tokenDigest(stored, token);
}

bool Emergency::tokenMatches(const QString &token)
{
    // The hash takes tens of milliseconds: a panel that presents the same
    // token again is let in on a digest of it.
    if (knownToken(token))
        return true;
    const QString stored = tokenHash();
    if (stored.isEmpty() || token.isEmpty() || !secretMatches(token, stored))
        return false;
    tokenMatched(token, stored);
    return true;
}

void Emergency::log(const QString &text)
{
    m_log.append(zh::stampedLine(m_clock.now(), text));
}

} // namespace tav

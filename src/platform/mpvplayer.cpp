#include "platform/mpvplayer.h"

#include <QDateTime>

#include <QCoreApplication>
#include <QFileInfo>
#include <QMetaObject>
#include <QPointer>
#include <QUrl>
#include <QtDebug>

#include <mpv/client.h>
#include <mpv/render_gl.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstring>

#if MPV_CLIENT_API_VERSION < MPV_MAKE_VERSION(2, 0)
#error "tavplayer needs libmpv 0.35 or newer (client API 2.0)"
#endif

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// Our filter carries a label so that it can sit behind filters the options
// set up. aformat brings mono and multichannel sources to stereo first, so the
// pan always has a left and a right channel to keep or silence.
constexpr const char kLeftOnly[] =
    "@tavbalance:lavfi=[aformat=channel_layouts=stereo,pan=stereo|c0=c0|c1=0*c1]";
constexpr const char kRightOnly[] =
    "@tavbalance:lavfi=[aformat=channel_layouts=stereo,pan=stereo|c0=0*c0|c1=c1]";

// Quiet, keyboard-less and headless unless the options say otherwise.
constexpr const char *kDefaults[][2] = {
    {"idle", "yes"},
    {"terminal", "no"},
    {"input-default-bindings", "no"},
    {"input-vo-keyboard", "no"},
    {"osc", "no"},
    {"ytdl", "no"},
    {"force-window", "no"},
    {"audio-display", "no"},
    {"keep-open", "no"},
    {"vo", "null"},
    {"config", "no"},
    // mpv's own scripts (stats, console, profiles) each keep a Lua state and
    // a thread the station never uses: about 5 MB at rest.
    {"load-scripts", "no"},
    {"load-stats-overlay", "no"},
    {"load-osd-console", "no"},
    {"load-auto-profiles", "no"},
    // Hardware decoding is off (mpv's default); its interops (CUDA, VA-API)
    // would still be probed by the video output, each failure a line of noise.
    {"gpu-hwdec-interop", "no"},
};

// mpv tries PipeWire first; where no PipeWire runs, the PipeWire library
// prints its missing client configuration on every start. The sound outputs
// in mpv's own order, without PipeWire's when it has no socket to talk to.
bool pipeWireRuns()
{
    if (qEnvironmentVariableIsSet("PIPEWIRE_REMOTE"))
        return true;
    QString dir = qEnvironmentVariable("PIPEWIRE_RUNTIME_DIR");
    if (dir.isEmpty())
        dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !dir.isEmpty() && QFileInfo::exists(dir + u"/pipewire-0"_s);
}

QString takeMpvString(char *text)
{
    if (!text)
        return QString();
    QString result = QString::fromUtf8(text);
    mpv_free(text);
    return result;
}

QString mpvError(int code)
{
    return QString::fromUtf8(mpv_error_string(code));
}

// reply_userdata of the "vo-configured" observation; loadfile replies use
// generation numbers, which are other events anyway.
constexpr std::uint64_t kVideoOutputObserver = 1;
constexpr std::uint64_t kProgressObserver = 2;
constexpr std::uint64_t kDurationObserver = 3;
constexpr std::uint64_t kIdleObserver = 4;
// reply_userdata of the duration asked for when an item has loaded: this tag
// with the item's generation number.
constexpr std::uint64_t kDurationReply = std::uint64_t(1) << 63;

} // namespace

// What drainEvents() keeps of an mpv event: mpv reuses the event's memory at
// the next mpv_wait_event(), which a slot spinning an event loop may cause.
struct MpvPlayer::Event
{
    mpv_event_id id = MPV_EVENT_NONE;
    int error = 0;
    std::uint64_t userdata = 0;
    std::int64_t entry = -1; // start-file, end-file, and the loadfile reply
    int reason = -1;         // end-file
    std::int64_t insertId = 0;
    int insertCount = 0;
};

MpvPlayer::MpvPlayer(const QStringList &options, QObject *parent)
    : MediaPlayer(parent)
{
    if (!QCoreApplication::instance()) {
        m_error = u"the media player needs the application object to exist first"_s;
        return;
    }
    // QCoreApplication has applied the user's locale, whose decimal comma
    // libmpv cannot live with.
    std::setlocale(LC_NUMERIC, "C");

    mpv_handle *mpv = mpv_create();
    if (!mpv) {
        m_error = u"mpv could not be created"_s;
        return;
    }
    for (const auto &option : kDefaults) {
        const int rc = mpv_set_option_string(mpv, option[0], option[1]);
        // An mpv built without an optional part (osc, say) lacks its option.
        if (rc < 0 && rc != MPV_ERROR_OPTION_NOT_FOUND)
            qWarning("mpv refused its default %s=%s: %s", option[0], option[1], mpv_error_string(rc));
    }
    if (!pipeWireRuns())
        mpv_set_option_string(mpv, "ao", "pulse,alsa,jack,sdl"); // an ao= option still decides
    for (const QString &option : options) {
        QString text = option.trimmed();
        if (text.startsWith(u"--"))
            text.remove(0, 2);
        const qsizetype eq = text.indexOf(u'=');
        if (eq <= 0) {
            m_error = u"player option \"%1\" is not of the form NAME=VALUE"_s.arg(option);
            mpv_terminate_destroy(mpv);
            return;
        }
        const QByteArray name = text.left(eq).trimmed().toUtf8();
        const QByteArray value = text.mid(eq + 1).toUtf8();
        const int rc = mpv_set_option_string(mpv, name.constData(), value.constData());
        if (rc < 0) {
            const QString why = rc == MPV_ERROR_OPTION_NOT_FOUND
                ? u"mpv has no option \"%1\""_s.arg(QString::fromUtf8(name))
                : u"mpv rejects the value \"%1\" for option \"%2\" (%3)"_s.arg(
                      QString::fromUtf8(value), QString::fromUtf8(name), mpvError(rc));
            m_error = u"player option \"%1\": %2"_s.arg(option, why);
            mpv_terminate_destroy(mpv);
            return;
        }
    }
    if (const int rc = mpv_initialize(mpv); rc < 0) {
        m_error = u"mpv failed to start with the player options given: %1"_s.arg(mpvError(rc));
        mpv_terminate_destroy(mpv);
        return;
    }
    m_mpv = mpv;

    // Errors only: why a file cannot be opened is worth a line on stderr.
    mpv_request_log_messages(m_mpv, "error");
    double volume = 100;
    if (mpv_get_property(m_mpv, "volume", MPV_FORMAT_DOUBLE, &volume) >= 0)
        m_volume = std::clamp(qRound(volume), 0, 100);
    m_baseFilters = takeMpvString(mpv_get_property_string(m_mpv, "af"));
    mpv_observe_property(m_mpv, kVideoOutputObserver, "vo-configured", MPV_FORMAT_FLAG);
    mpv_observe_property(m_mpv, kProgressObserver, "time-pos", MPV_FORMAT_DOUBLE);
    mpv_observe_property(m_mpv, kDurationObserver, "duration", MPV_FORMAT_DOUBLE);
    // mpv goes idle once it has drained its output after the last item.
    mpv_observe_property(m_mpv, kIdleObserver, "idle-active", MPV_FORMAT_FLAG);

    mpv_set_wakeup_callback(m_mpv, &MpvPlayer::wakeup, this);
    wakeup(this);
}

MpvPlayer::~MpvPlayer()
{
    if (!m_mpv)
        return;
    emit coreClosing();
    // Once this returns mpv calls wakeup() no more; the calls it already
    // posted die with this QObject.
    mpv_set_wakeup_callback(m_mpv, nullptr, nullptr);
    mpv_terminate_destroy(m_mpv);
}

void MpvPlayer::wakeup(void *context)
{
    // Any mpv thread. One queued drain at a time is enough: it takes every
    // event there is.
    auto *self = static_cast<MpvPlayer *>(context);
    if (!self->m_drainQueued.exchange(true))
        QMetaObject::invokeMethod(self, &MpvPlayer::drainEvents, Qt::QueuedConnection);
}

void MpvPlayer::drainEvents()
{
    m_drainQueued.store(false);
    if (!m_mpv || m_coreGone)
        return;
    const QPointer<MpvPlayer> alive(this);
    for (;;) {
        const mpv_event *raw = mpv_wait_event(m_mpv, 0);
        if (raw->event_id == MPV_EVENT_NONE)
            return;
        if (raw->event_id == MPV_EVENT_SHUTDOWN) {
            // mpv quit (idle=no among the options does that once its
            // playlist is done): the current item is lost, and every later
            // one fails at once instead of waiting forever.
            m_coreGone = true;
            if (m_holding) {
                releaseEnd();
                return;
            }
            if (!m_entries.isEmpty() || m_awaitingReply) {
                m_awaitingReply = false;
                finish(false);
            }
            return;
        }
        Event event;
        event.id = raw->event_id;
        event.error = raw->error;
        event.userdata = raw->reply_userdata;
        switch (raw->event_id) {
        case MPV_EVENT_LOG_MESSAGE: {
            const auto *log = static_cast<const mpv_event_log_message *>(raw->data);
            qWarning("mpv %s: %s", log->prefix,
                     QByteArray(log->text).trimmed().constData());
            continue;
        }
        case MPV_EVENT_PROPERTY_CHANGE: {
            const auto *property = static_cast<const mpv_event_property *>(raw->data);
            if (raw->reply_userdata == kProgressObserver) {
                // Only while our item is the one mpv plays.
                const bool ours = m_entries.contains(m_coreEntry) && property->format == MPV_FORMAT_DOUBLE;
                m_progressMs = ours ? qint64(*static_cast<const double *>(property->data) * 1000.0) : -1;
                if (ours)
                    m_heard.heardAt(nowMs(), m_progressMs);
                continue;
            }
            if (raw->reply_userdata == kDurationObserver) {
                if (m_entries.contains(m_coreEntry) && property->format == MPV_FORMAT_DOUBLE)
                    m_durationMs = qint64(*static_cast<const double *>(property->data) * 1000.0);
                continue;
            }
            if (raw->reply_userdata == kIdleObserver) {
                const bool idle = property->format == MPV_FORMAT_FLAG && *static_cast<const int *>(property->data) != 0;
                if (idle && m_holding) {
                    // Drained, as mpv sees it. With a buffer of its own
                    // deeper than what was left (audio-buffer), mpv goes
                    // idle once it has handed everything over: an end heard
                    // well ahead of now stands.
                    const qint64 now = nowMs();
                    const qint64 heardEnd = m_heard.heardEnd(m_durationMs, now);
                    if (m_durationMs > 0 && heardEnd - now > kDrainSlackMs) {
                        m_holdLimit->start(int(std::min<qint64>(heardEnd - now, HeardTiming::kMaxLatencyMs + m_durationMs)));
                        continue;
                    }
                    releaseEnd(); // drained: the last sample has sounded
                    if (!alive)
                        return;
                }
                continue;
            }
            if (raw->reply_userdata != kVideoOutputObserver)
                continue;
            const bool active = property->format == MPV_FORMAT_FLAG
                                && *static_cast<const int *>(property->data) != 0;
            if (active != m_videoOutput) {
                m_videoOutput = active;
                emit videoOutputChanged(active);
                if (!alive)
                    return;
            }
            continue;
        }
        case MPV_EVENT_GET_PROPERTY_REPLY: {
            const auto *property = static_cast<const mpv_event_property *>(raw->data);
            if (raw->reply_userdata == (kDurationReply | m_generation) && raw->error >= 0
                && property->format == MPV_FORMAT_DOUBLE)
                m_durationMs = qint64(*static_cast<const double *>(property->data) * 1000.0);
            continue;
        }
        case MPV_EVENT_START_FILE:
            event.entry = static_cast<const mpv_event_start_file *>(raw->data)->playlist_entry_id;
            break;
        case MPV_EVENT_END_FILE: {
            const auto *end = static_cast<const mpv_event_end_file *>(raw->data);
            event.entry = end->playlist_entry_id;
            event.reason = end->reason;
            event.insertId = end->playlist_insert_id;
            event.insertCount = end->playlist_insert_num_entries;
            break;
        }
        case MPV_EVENT_COMMAND_REPLY: {
            const mpv_node &result = static_cast<const mpv_event_command *>(raw->data)->result;
            if (result.format == MPV_FORMAT_NODE_MAP) {
                const mpv_node_list *map = result.u.list;
                for (int i = 0; i < map->num; ++i) {
                    if (std::strcmp(map->keys[i], "playlist_entry_id") == 0
                        && map->values[i].format == MPV_FORMAT_INT64)
                        event.entry = map->values[i].u.int64;
                }
            }
            break;
        }
        default:
            break;
        }
        handle(event);
        if (!alive) // a slot deleted us
            return;
    }
}

void MpvPlayer::handle(const Event &event)
{
    switch (event.id) {
    case MPV_EVENT_COMMAND_REPLY:
        // Only loadfile replies carry a non-zero number.
        if (event.userdata != 0 && event.userdata == m_generation && m_awaitingReply)
            loadReplied(event);
        break;
    case MPV_EVENT_START_FILE:
        m_coreEntry = event.entry;
        m_loaded = false;
        break;
    case MPV_EVENT_FILE_LOADED:
        m_loaded = true;
        // The observed duration can be missed: an item loaded again right
        // after itself has the same one, and mpv reports no change.
        if (m_entries.contains(m_coreEntry))
            mpv_get_property_async(m_mpv, kDurationReply | m_generation, "duration", MPV_FORMAT_DOUBLE);
        break;
    case MPV_EVENT_PLAYBACK_RESTART:
        // Also sent after seeks and filter changes; only the first one after
        // our entry loaded means that output began.
        if (m_loaded && !m_outputBegan && m_entries.contains(m_coreEntry))
            outputBegan();
        break;
    case MPV_EVENT_END_FILE:
        entryEnded(event);
        break;
    default:
        break;
    }
}

void MpvPlayer::loadReplied(const Event &event)
{
    m_awaitingReply = false;
    if (event.error < 0) {
        qWarning("mpv cannot load %s: %s", qUtf8Printable(m_url), mpv_error_string(event.error));
        finish(false);
    } else if (event.entry < 0) {
        qWarning("mpv did not say which playlist entry it made for %s", qUtf8Printable(m_url));
        finish(false);
    } else {
        // The loadfile reply comes before any event of the entry it made.
        m_entries = {event.entry};
    }
}

void MpvPlayer::entryEnded(const Event &event)
{
    // Entries of replaced or stopped items are not in the list any more:
    // their end (reason "stop") is none of our business.
    const qsizetype at = m_entries.indexOf(event.entry);
    if (at < 0)
        return;
    if (event.reason == MPV_END_FILE_REASON_REDIRECT) {
        // A playlist (an .m3u stream, say): mpv put its entries in its place.
        m_entries.remove(at);
        for (int i = event.insertCount - 1; i >= 0; --i)
            m_entries.insert(at, event.insertId + i);
        if (m_entries.isEmpty())
            finish(false);
        return;
    }
    m_entries.remove(at);
    if (!m_entries.isEmpty())
        return; // mpv goes on with the next entry of the playlist
    if (event.reason == MPV_END_FILE_REASON_EOF) {
        holdEnd();
        return;
    }
    // A stop we did not ask for leaves the item over just the same.
    finish(event.reason != MPV_END_FILE_REASON_ERROR);
}

void MpvPlayer::outputBegan()
{
    m_outputBegan = true;
    if (m_state == State::Paused)
        return; // play() announces it
    m_heard.flowing(nowMs(), flowPosition());
    const std::uint64_t generation = m_generation;
    setState(State::Playing);
    if (generation == m_generation)
        announce();
}

qint64 MpvPlayer::flowPosition()
{
    // A prepared item flows from its first sample, whatever position mpv
    // reports: kept open, it reports its end once it has buffered it whole.
    return std::exchange(m_atStart, false) ? 0 : std::max<qint64>(0, m_progressMs);
}

void MpvPlayer::announce()
{
    m_announced = true;
    const QString name = itemName();
    trace(u"playing"_s, name);
    // Handed over now ("playing"); heard the output's latency later.
    const qint64 latency = m_heard.latencyMs();
    trace(u"heard"_s, latency < 0 ? u"? ms"_s
                                  : u"%1 ms, at %2"_s.arg(latency).arg(QDateTime::currentDateTime().addMSecs(latency).toString(
                                        u"HH:mm:ss.zzz"_s)));
    emit mediaStarted(name);
}

void MpvPlayer::finish(bool ended)
{
    m_entries.clear();
    m_state = State::Stopped;
    const QString url = m_url;
    if (ended) {
        trace(u"ended"_s, url);
        emit stateChanged(State::Stopped);
    } else {
        trace(u"error"_s, url);
        emit errorOccurred(url);
    }
}

void MpvPlayer::holdEnd()
{
    m_entries.clear();
    const qint64 now = nowMs();
    if (m_state == State::Paused && !m_prepared.isEmpty() && m_generation == m_preparedGeneration) {
        // An item held before its start that mpv decoded whole into an
        // output buffer deeper than itself, and let go: it is gone unheard,
        // and its open() loads it again.
        m_prepared.clear();
        trace(u"prepared-dropped"_s, m_url);
        m_state = State::Stopped;
        emit stateChanged(State::Stopped);
        return;
    }
    trace(u"ended"_s, m_url); // its last sample is at the output
    const qint64 heardEnd = m_state == State::Playing ? m_heard.heardEnd(m_durationMs, now) : -1;
    m_holding = true;
    if (heardEnd < 0) { // not flowing: nothing of it is still to sound
        releaseEnd();
        return;
    }
    if (!m_holdLimit) {
        m_holdLimit = new QTimer(this);
        m_holdLimit->setSingleShot(true);
        m_holdLimit->setTimerType(Qt::PreciseTimer);
        connect(m_holdLimit, &QTimer::timeout, this, &MpvPlayer::releaseEnd);
    }
    m_holdLimit->start(int(std::min<qint64>(heardEnd - now + kDrainSlackMs, 24 * 3600 * 1000)));
}

void MpvPlayer::releaseEnd()
{
    if (!m_holding)
        return;
    cancelHold();
    m_state = State::Stopped;
    trace(u"heard-end"_s, m_url);
    emit stateChanged(State::Stopped);
}

void MpvPlayer::cancelHold()
{
    m_holding = false;
    if (m_holdLimit)
        m_holdLimit->stop();
}

qint64 MpvPlayer::nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void MpvPlayer::failLater(const QString &url)
{
    m_awaitingReply = false;
    m_entries.clear();
    m_state = State::Stopped;
    const std::uint64_t generation = m_generation;
    // Never from inside open(): the caller may answer the error with open().
    QMetaObject::invokeMethod(this, [this, url, generation] {
        if (generation != m_generation)
            return;
        trace(u"error"_s, url);
        emit errorOccurred(url);
    }, Qt::QueuedConnection);
}

void MpvPlayer::awaitRenderContext()
{
    if (!m_surfaceWait) {
        m_surfaceWait = new QTimer(this);
        m_surfaceWait->setSingleShot(true);
        m_surfaceWait->setInterval(kSurfaceWaitMs);
        connect(m_surfaceWait, &QTimer::timeout, this, &MpvPlayer::surfaceArrived);
    }
    m_awaitingSurface = true;
    m_surfaceWait->start();
}

void MpvPlayer::surfaceArrived()
{
    if (!m_awaitingSurface)
        return;
    m_awaitingSurface = false;
    if (m_surfaceWait)
        m_surfaceWait->stop();
    if (QString url = std::exchange(m_deferredUrl, QString()); !url.isEmpty())
        open(url);
}

void MpvPlayer::prepare(const QString &url)
{
    if (m_state != State::Stopped || url.isEmpty())
        return;
    // Paused before mpv loads it: with an output that does not keep time
    // (ao=pcm) a pause that came after the load could come after the whole
    // item too.
    m_openPaused = true;
    open(url);
    m_openPaused = false;
    pause();
    if (m_state == State::Paused) {
        m_prepared = url;
        m_preparedGeneration = m_generation;
        m_atStart = true;
        trace(u"prepared"_s, url);
    }
}

void MpvPlayer::open(const QString &url)
{
    const bool prepared = !m_prepared.isEmpty() && url == m_prepared && m_generation == m_preparedGeneration
                          && m_state != State::Stopped;
    m_prepared.clear();
    if (prepared) {
        // Loaded and waiting at its first sample: only the pause goes (or
        // went already, ahead of the second, by the output's latency).
        play();
        return;
    }
    cancelHold();
    ++m_generation;
    m_atStart = false;
    m_url = url;
    m_heard.reset();
    m_durationMs = -1;
    if (m_awaitingSurface) {
        m_deferredUrl = url;
        trace(u"wait"_s, url);
        setState(State::Loading);
        return;
    }
    m_entries.clear();
    m_outputBegan = false;
    m_announced = false;
    m_progressMs = -1;
    trace(u"open"_s, url);
    if (!m_mpv || m_coreGone) {
        failLater(url);
        return;
    }
    // The pause flag outlives the file in mpv; a new item always plays,
    // unless it is being prepared. The pause goes only after the loadfile:
    // mpv handles requests in order, so a paused item being replaced (one
    // that was prepared) never plays on for a moment in between.
    int pause = m_openPaused ? 1 : 0;
    if (m_openPaused)
        mpv_set_property_async(m_mpv, 0, "pause", MPV_FORMAT_FLAG, &pause);
    // An output buffer deeper than a short item (audio-buffer=2, say) takes
    // it whole while it waits paused; mpv would then end the item and throw
    // the buffer away unheard. Kept open, it waits at its end instead.
    keepOpen(m_openPaused);
    const QByteArray path = url.toUtf8();
    const char *command[] = {"loadfile", path.constData(), "replace", nullptr};
    if (mpv_command_async(m_mpv, m_generation, command) < 0) {
        failLater(url);
        return;
    }
    if (!m_openPaused)
        mpv_set_property_async(m_mpv, 0, "pause", MPV_FORMAT_FLAG, &pause);
    m_awaitingReply = true;
    setState(State::Loading);
}

void MpvPlayer::play()
{
    if (m_state != State::Paused || !m_mpv)
        return;
    int no = 0;
    mpv_set_property_async(m_mpv, 0, "pause", MPV_FORMAT_FLAG, &no);
    keepOpen(false); // after the pause went: mpv ends it as it drains
    if (m_outputBegan)
        m_heard.flowing(nowMs(), flowPosition());
    const std::uint64_t generation = m_generation;
    setState(m_outputBegan ? State::Playing : State::Loading);
    if (m_outputBegan && !m_announced && generation == m_generation)
        announce();
}

void MpvPlayer::pause()
{
    if ((m_state != State::Loading && m_state != State::Playing) || !m_mpv)
        return;
    int yes = 1;
    mpv_set_property_async(m_mpv, 0, "pause", MPV_FORMAT_FLAG, &yes);
    m_heard.stalled(nowMs());
    setState(State::Paused);
}

void MpvPlayer::stop()
{
    cancelHold();
    ++m_generation;
    m_deferredUrl.clear();
    m_awaitingReply = false;
    m_entries.clear();
    if (m_mpv) {
        const char *command[] = {"stop", nullptr};
        mpv_command_async(m_mpv, 0, command);
        keepOpen(false);
    }
    trace(u"stop"_s, m_url);
    setState(State::Stopped);
}

void MpvPlayer::keepOpen(bool on)
{
    if (on == m_keptOpen || !m_mpv)
        return;
    m_keptOpen = on;
    const char *value = on ? "yes" : "no";
    mpv_set_property_async(m_mpv, 0, "keep-open", MPV_FORMAT_STRING, &value);
}

QList<MediaPlayer::AudioDevice> MpvPlayer::audioDevices() const
{
    QList<AudioDevice> devices;
    if (!m_mpv)
        return devices;
    mpv_node node;
    if (mpv_get_property(m_mpv, "audio-device-list", MPV_FORMAT_NODE, &node) < 0)
        return devices;
    if (node.format == MPV_FORMAT_NODE_ARRAY) {
        for (int i = 0; i < node.u.list->num; ++i) {
            const mpv_node &entry = node.u.list->values[i];
            if (entry.format != MPV_FORMAT_NODE_MAP)
                continue;
            AudioDevice d;
            for (int k = 0; k < entry.u.list->num; ++k) {
                const mpv_node &v = entry.u.list->values[k];
                if (v.format != MPV_FORMAT_STRING)
                    continue;
                if (qstrcmp(entry.u.list->keys[k], "name") == 0)
                    d.name = QString::fromUtf8(v.u.string);
                else if (qstrcmp(entry.u.list->keys[k], "description") == 0)
                    d.description = QString::fromUtf8(v.u.string);
            }
            if (!d.name.isEmpty())
                devices.append(d);
        }
    }
    mpv_free_node_contents(&node);
    return devices;
}

bool MpvPlayer::reopenOutput()
{
    if (!m_mpv || m_coreGone)
        return false;
    const char *command[] = {"ao-reload", nullptr};
    return mpv_command_async(m_mpv, 0, command) >= 0;
}

void MpvPlayer::setAudioDevice(const QString &name)
{
    if (m_mpv)
        mpv_set_property_string(m_mpv, "audio-device", name.toUtf8().constData());
}

void MpvPlayer::setVolume(int volume)
{
    m_volume = std::clamp(volume, 0, 100);
    if (!m_mpv)
        return;
    double value = m_volume;
    mpv_set_property_async(m_mpv, 0, "volume", MPV_FORMAT_DOUBLE, &value);
}

void MpvPlayer::setBalance(int balance)
{
    const int side = balance < 0 ? -1 : balance > 0 ? 1 : 0;
    if (side == m_balanceSide || !m_mpv)
        return; // setting the same chain again would only cause a gap
    m_balanceSide = side;
    QByteArray chain = m_baseFilters.toUtf8();
    if (side != 0) {
        if (!chain.isEmpty())
            chain += ',';
        chain += side < 0 ? kLeftOnly : kRightOnly;
    }
    const char *value = chain.constData();
    mpv_set_property_async(m_mpv, 0, "af", MPV_FORMAT_STRING, &value);
}

mpv_render_context *MpvPlayer::createGlRenderContext(GlProcAddress resolve, void *resolveContext,
                                                     QString *error)
{
    auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return nullptr;
    };
    if (!m_mpv)
        return fail(u"the media player is not running: %1"_s.arg(m_error));
    // mpv's permission to render on a software OpenGL (Mesa's llvmpipe on a
    // PC without a GPU driver). The 0.35 render API was seen to render there
    // without it as well; set so that this does not depend on the version.
    mpv_set_property_string(m_mpv, "gpu-sw", "yes");
    // Rendering happens on the GUI thread: mpv must not sleep there until a
    // frame's display time (up to this offset per frame), or the windows
    // stall. The frame is shown at the next repaint instead.
    mpv_set_property_string(m_mpv, "video-timing-offset", "0");
    mpv_opengl_init_params gl{resolve, resolveContext};
    int advanced = 0; // the GUI thread also makes blocking client calls
    mpv_render_param params[] = {
        {MPV_RENDER_PARAM_API_TYPE, const_cast<char *>(MPV_RENDER_API_TYPE_OPENGL)},
        {MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &gl},
        {MPV_RENDER_PARAM_ADVANCED_CONTROL, &advanced},
        {MPV_RENDER_PARAM_INVALID, nullptr},
    };
    mpv_render_context *context = nullptr;
    const int rc = mpv_render_context_create(&context, m_mpv, params);
    // A waiting item goes on, with its picture or, failing that, without.
    QMetaObject::invokeMethod(this, &MpvPlayer::surfaceArrived, Qt::QueuedConnection);
    if (rc < 0)
        return fail(u"mpv cannot render video here: %1"_s.arg(mpvError(rc)));
    return context;
}

QString MpvPlayer::propertyText(const QString &name) const
{
    if (!m_mpv)
        return QString();
    return takeMpvString(mpv_get_property_string(m_mpv, name.toUtf8().constData()));
}

void MpvPlayer::setStretchToFit(bool stretch)
{
    if (!m_mpv)
        return;
    int keepAspect = stretch ? 0 : 1;
    mpv_set_property_async(m_mpv, 0, "keepaspect", MPV_FORMAT_FLAG, &keepAspect);
}

void MpvPlayer::setState(State state)
{
    if (state == m_state)
        return;
    m_state = state;
    emit stateChanged(state);
}

void MpvPlayer::trace(const QString &event, const QString &detail) const
{
    if (m_trace)
        m_trace(event, detail);
}

QString MpvPlayer::itemName() const
{
    // mpv's title (tags, a stream's name, else the file name) when it still
    // describes our item; by now mpv may have finished a short one.
    const QString path = takeMpvString(mpv_get_property_string(m_mpv, "path"));
    const QString title = takeMpvString(mpv_get_property_string(m_mpv, "media-title"));
    if (path == m_url && !title.isEmpty())
        return title;
    if (m_url.contains(u"://")) {
        const QString name = QUrl(m_url).fileName();
        return name.isEmpty() ? m_url : name;
    }
    return QFileInfo(m_url).fileName();
}

} // namespace tav

#pragma once

#include "platform/heardtiming.h"
#include "platform/mediaplayer.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <atomic>
#include <cstdint>
#include <functional>

struct mpv_handle;
struct mpv_render_context;

namespace tav {

// The station's player on libmpv. It owns the mpv handle and its events and
// knows nothing of windows: video is decoded without output (vo=null) unless
// the options say otherwise.
//
// Construct it after the Q(Core)Application: it switches LC_NUMERIC to "C"
// (libmpv refuses to start under another numeric locale), and the
// application's constructor would switch it back. It must live and be used
// in the thread that runs the event loop; mpv's wakeups only post a call to
// that thread, where all pending events are handled in order.
//
// Each open() is tied to the mpv playlist entry it created, so events of an
// item that was already replaced or stopped are never mistaken for the
// current one.
class MpvPlayer final : public MediaPlayer
{
    Q_OBJECT
public:
    // options: "name=value" strings handed to mpv before it starts; they
    // override this player's defaults (e.g. "ao=pcm", "vo=null").
    explicit MpvPlayer(const QStringList &options, QObject *parent = nullptr);
    ~MpvPlayer() override;

    // False when mpv could not be created or refused an option; errorString()
    // then says why, naming the option.
    bool isValid() const { return m_mpv != nullptr; }
    QString errorString() const { return m_error; }

    // Called with "open", "playing", "ended", "error" and "stop" as they
    // happen, to time the start of output; "heard" with the output's latency
    // when output began, with when that is heard ("12 ms, at 09:00:00.000",
    // "? ms" while unknown), and "heard-end" when
    // the last sample of an item that ended has sounded.
    using TraceSink = std::function<void(const QString &event, const QString &detail)>;
    void setTraceSink(TraceSink sink) { m_trace = std::move(sink); }

    void open(const QString &url) override;
    void prepare(const QString &url) override;
    void play() override;
    void pause() override;
    void stop() override;

    State state() const override { return m_state; }
    QString currentUrl() const override { return m_url; }

    void setVolume(int volume) override;
    int volume() const override { return m_volume; }
    void setBalance(int balance) override;
    QList<AudioDevice> audioDevices() const override;
    void setAudioDevice(const QString &name) override;
    // mpv's time-pos of our item, as last reported (observed, never asked:
    // a core busy opening a stream would keep the caller waiting).
    qint64 progressMs() const override { return m_progressMs; }
    bool reopenOutput() override;
    // The output's latency as measured, or the one set for this player:
    // what starts are let go ahead of their second by. An output may be
    // deeper than the engine can see (a television's or amplifier's own
    // delay), and 0 lets everything go on the second. Ends as heard keep to
    // the measured latency. -1: as measured.
    qint64 outputLatencyMs() const override { return m_setLatency >= 0 ? m_setLatency : m_heard.latencyMs(); }
    void setOutputLatency(qint64 ms) { m_setLatency = ms; }
    // mpv's end of an item comes when its last samples are handed to the
    // output; the end is told once they have sounded: when mpv has drained
    // its output (it goes idle), or at the latest kDrainSlackMs after the
    // heard end that the item's duration and the output's latency give.
    static constexpr qint64 kDrainSlackMs = 250;

    // Video output through mpv's render API, for a video widget. Frames reach
    // a render context only with the option vo=libmpv; with the default
    // vo=null a context can be made but stays idle.
    //
    // Makes the one OpenGL render context this core allows, in the GL context
    // that is current, allows mpv to render on a software OpenGL (gpu-sw),
    // and stops mpv from waiting in the render call for a frame's display
    // time (video-timing-offset=0), since rendering runs on the GUI thread.
    // The caller frees it with mpv_render_context_free(), with the
    // same GL context current, before this player is destroyed: see
    // coreClosing(). Returns nullptr and says why in *error on failure.
    using GlProcAddress = void *(*)(void *context, const char *name);
    mpv_render_context *createGlRenderContext(GlProcAddress resolve, void *resolveContext,
                                              QString *error);
    // The video surface is on its way (its window was just shown, the render
    // context is not made yet): the next open() waits for createGlRenderContext(),
    // at most kSurfaceWaitMs, so that a picture has somewhere to go.
    static constexpr int kSurfaceWaitMs = 2000;
    void awaitRenderContext();
    // Stretch the picture to the whole output (keepaspect=no) or keep its shape.
    void setStretchToFit(bool stretch);
    // mpv has a video output configured: an item with a picture is showing.
    bool hasVideoOutput() const { return m_videoOutput; }
    // An mpv property as text, for diagnostics ("frame-drop-count" …); empty
    // when mpv has no such property or no value for it now.
    QString propertyText(const QString &name) const;

signals:
    void videoOutputChanged(bool active);
    // The core is about to be destroyed: a render context still alive must
    // be freed now, from a directly connected slot.
    void coreClosing();

private:
    struct Event;

    static void wakeup(void *context);
    void drainEvents();
    void handle(const Event &event);
    void loadReplied(const Event &event);
    void entryEnded(const Event &event);
    void outputBegan();
    qint64 flowPosition();
    void announce();
    void finish(bool ended);
    void holdEnd();
    void releaseEnd();
    void cancelHold();
    void keepOpen(bool on);
    static qint64 nowMs();
    void failLater(const QString &url);
    void setState(State state);
    void trace(const QString &event, const QString &detail) const;
    QString itemName() const;

    mpv_handle *m_mpv = nullptr;
    QString m_error;
    TraceSink m_trace;
    std::atomic<bool> m_drainQueued{false};
    bool m_coreGone = false; // mpv shut down under us

    State m_state = State::Stopped;
    QString m_url;
    // Bumped by every open() and stop(); a loadfile reply carrying an older
    // number belongs to an item that is gone.
    std::uint64_t m_generation = 0;
    bool m_awaitingReply = false;
    // mpv playlist entries that make up the current item, in play order: one
    // for a file or stream, several when mpv expanded a playlist. Empty when
    // no item is current.
    QList<std::int64_t> m_entries;
    std::int64_t m_coreEntry = -1; // entry mpv started most recently
    bool m_loaded = false;         // m_coreEntry has loaded
    bool m_outputBegan = false;
    bool m_announced = false;

    qint64 m_progressMs = -1;
    qint64 m_durationMs = -1;
    HeardTiming m_heard;
    qint64 m_setLatency = -1;
    bool m_holding = false; // the item ended and is still sounding
    QTimer *m_holdLimit = nullptr;
    int m_volume = 100;
    int m_balanceSide = 0; // -1 left only, 0 both, 1 right only
    QString m_baseFilters; // audio filters given in the options
    bool m_videoOutput = false;
    void surfaceArrived();
    bool m_awaitingSurface = false;
    QString m_deferredUrl;
    QString m_prepared;                    // loaded and held paused by prepare()
    std::uint64_t m_preparedGeneration = 0; // ... for this generation only
    bool m_openPaused = false;              // open() within prepare()
    bool m_keptOpen = false;                // mpv's keep-open is on for a prepared item
    bool m_atStart = false;                 // prepared, and not let go since
    QTimer *m_surfaceWait = nullptr;
};

} // namespace tav

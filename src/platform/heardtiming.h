#pragma once

#include <QtGlobal>

namespace tav {

// When what a media engine hands its sound output is heard. An engine says
// that an item "ended" once it has handed over its last samples, which for a
// short item is almost at once, and "output began" when it handed over its
// first; the listener hears both later, by the output's latency (its
// buffer, the sound server, a network or Bluetooth sink). This works out
// the heard times from what the engine tells, all on one monotonic clock in
// milliseconds:
// - flowing(at, position): sound is handed over from the item's position
//   on (output began, or a pause was let go); stalled(at) when it pauses;
// - heardAt(at, position): the engine's position as heard at that moment
//   (mpv's time-pos of an audio item already counts the output's delay).
//   Each such report after flowing() tells the output's latency,
//   at - position - (flow start - flow position), or a little more: the
//   least of the flow's reports is taken;
// - the item is over as heard at its start as heard plus what is left of it:
//   heardEnd(duration), or at handed-over end plus the latency when the
//   duration is not known.
// Latency measured on one item stays for the next ones, as the output does.
class HeardTiming
{
public:
    // A new item: position reports and flow of the old one are forgotten;
    // the output's latency is kept.
    void reset();
    void flowing(qint64 at, qint64 positionMs);
    void stalled(qint64 at);
    void heardAt(qint64 at, qint64 positionMs);

    // The output's latency, -1 while never measured.
    qint64 latencyMs() const { return m_latency; }
    // When position 0 of the item was (or will be) heard; -1 before it flowed.
    qint64 heardStart() const;
    // When the item's last sample sounds: its heard start plus its duration,
    // or, if the duration is unknown (<= 0), `handedOver` plus the latency.
    // Never before `handedOver`. While stalled: -1 (it is not going on).
    qint64 heardEnd(qint64 durationMs, qint64 handedOver) const;
    bool isFlowing() const { return m_flowing; }

    // Latency reports beyond this are a stall or a seek, not the output.
    static constexpr qint64 kMaxLatencyMs = 10'000;

private:
    qint64 m_latency = -1;
    bool m_flowing = false;
    bool m_measured = false; // this flow has told the latency (its least so far)
    qint64 m_flowAt = 0;       // when the current flow began
    qint64 m_flowPosition = 0; // the item's position then
};

} // namespace tav

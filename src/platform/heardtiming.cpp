#include "platform/heardtiming.h"

#include <algorithm>

namespace tav {

void HeardTiming::reset()
{
    m_flowing = false;
    m_measured = false;
    m_flowAt = 0;
    m_flowPosition = 0;
}

void HeardTiming::flowing(qint64 at, qint64 positionMs)
{
    m_flowing = true;
    m_measured = false;
    m_flowAt = at;
    m_flowPosition = std::max<qint64>(0, positionMs);
}

void HeardTiming::stalled(qint64 at)
{
    Q_UNUSED(at)
    m_flowing = false;
}

void HeardTiming::heardAt(qint64 at, qint64 positionMs)
{
    // Only a position past the flow's start has been heard: before the
    // first sample sounds the engine reports the start itself.
    if (!m_flowing || positionMs <= m_flowPosition)
        return;
    const qint64 latency = (at - positionMs) - (m_flowAt - m_flowPosition);
    if (latency < -50 || latency > kMaxLatencyMs)
        return;
    // A report reaches us a little late, never early: the least is the truth.
    const qint64 measured = std::max<qint64>(0, latency);
    m_latency = m_measured ? std::min(m_latency, measured) : measured;
    m_measured = true;
}

qint64 HeardTiming::heardStart() const
{
    if (!m_flowing)
        return -1;
    return m_flowAt - m_flowPosition + std::max<qint64>(0, m_latency);
}

qint64 HeardTiming::heardEnd(qint64 durationMs, qint64 handedOver) const
{
    if (!m_flowing)
        return -1;
    const qint64 latency = std::max<qint64>(0, m_latency);
    const qint64 end = durationMs > 0 ? heardStart() + durationMs : handedOver + latency;
    return std::max(end, handedOver);
}

} // namespace tav

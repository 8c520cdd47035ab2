#pragma once

#include <QDateTime>
#include <QString>

namespace tav {

class DataDir;
struct DaytimeAnswer;

// How far the station's clock can be trusted. Every timed start depends on
// it, so the console shows it and warns:
// - when the system keeps the clock in step itself, that is enough;
// - otherwise a check must have succeeded within the last 24 hours, and the
//   clock must be within 2 seconds of that check's answer (the offset
//   remains when the clock could not be set).
// The last check is kept in "【CONTROL】.ini", section "netTime", keys
// "LastCheck" and "LastOffset" (seconds left after the check).
class TimeHealth
{
public:
    static constexpr qint64 kMaxOffsetMs = 2000;
    static constexpr qint64 kMaxAgeSeconds = 24 * 3600;

    struct Status
    {
        QString text; // "时钟：…"
        bool warning = false;
    };

    explicit TimeHealth(const DataDir &dir);

    void load();
    // A healthy answer was taken; `set`: the clock was set from it.
    bool record(const DaytimeAnswer &answer, bool set, const QDateTime &now, QString *error = nullptr);

    Status status(const QDateTime &now, bool systemKeepsTime) const;
    QDateTime lastCheck() const { return m_lastCheck; }
    qint64 residualOffsetMs() const { return m_offsetMs; }

private:
    QString m_path;
    QDateTime m_lastCheck;
    qint64 m_offsetMs = 0;
};

} // namespace tav

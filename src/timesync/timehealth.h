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
//   clock must be within 2 seconds of that check's answer (an older file
//   may hold the offset left by a check that could not set the clock);
// - a check that found the time but could not set the clock records
//   nothing: the last check stands, and until a check sets the clock the
//   status says why it is not kept.
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
    // The clock was set from a healthy answer.
    bool record(const DaytimeAnswer &answer, QString *error = nullptr);
    // A healthy answer was taken but the clock could not be set (`why`).
    void refused(const DaytimeAnswer &answer, const QString &why);
    bool isRefused() const { return !m_refusal.isEmpty(); }

    Status status(const QDateTime &now, bool systemKeepsTime) const;
    QDateTime lastCheck() const { return m_lastCheck; }
    // The clock's offset from network time as last found.
    qint64 residualOffsetMs() const { return isRefused() ? m_refusedOffsetMs : m_offsetMs; }

private:
    QString m_path;
    QDateTime m_lastCheck;
    qint64 m_offsetMs = 0;
    QString m_refusal;
    qint64 m_refusedOffsetMs = 0;
};

} // namespace tav

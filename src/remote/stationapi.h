#pragma once

#include "broadcast/announcequeue.h"
#include "broadcast/broadcaster.h"
#include "broadcast/broadcaststore.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QObject>
#include <QStringList>
#include <QUrlQuery>

#include <functional>

namespace tav {

class Station;

// One call of the JSON API, its path already split and decoded.
struct ApiRequest
{
    QByteArray method;  // "GET", "POST", "PUT", "DELETE"
    QStringList path;   // the segments after /api/v1
    QUrlQuery query;
    QJsonObject body;   // an empty object when the call has none
    QString client;     // the caller's address, for the message log
    bool alarmPanel = false; // came with the alarm system's bearer token
};

struct ApiReply
{
    int status = 200;
    QJsonDocument json;

    static ApiReply error(int status, const QString &text);
};

// Announces a text now, the way a timed broadcast speaks (tone, voice, the
// media turned down), after the broadcast in progress. False with the
// reason in the station's words. `origin` names the caller in the log.
bool announceNow(Station &station, const AnnounceRequest &request, const QString &origin, QString *error);

// The station seen through the JSON API: every call reads or changes the
// station through the stores and checks its windows use, so a refusal
// carries the windows' own Chinese text. Holds no state of its own beyond
// which task the operator started by hand.
class StationApi : public QObject
{
    Q_OBJECT
public:
    explicit StationApi(Station &station, QObject *parent = nullptr);

    // `manager`: the caller may change things; a viewer may only read.
    ApiReply handle(const ApiRequest &request, bool manager);
    bool isWrite(const ApiRequest &request) const { return request.method != "GET"; }

    QJsonObject status() const;
    // The message log's lines from `since` (0 = the first line).
    QJsonObject logSince(int since) const;

    using Announcer = std::function<bool(const AnnounceRequest &, const QString &origin, QString *error)>;
    void setAnnouncer(Announcer announcer) { m_announce = std::move(announcer); }

signals:
    // Something the windows show changed: "tasks", "stopdates", "settings", "captions",
    // "broadcasts".
    void changed(const QString &what);
    // A task started (by its time or by a caller).
    void started(const QString &task);

private:
    ApiReply tasks(const ApiRequest &request);
    ApiReply saveTask(const ApiRequest &request, const QString &previousName);
    ApiReply deleteTask(const QString &name);
    ApiReply playTask(const QString &name);
    ApiReply stop();
    ApiReply announce(const ApiRequest &request);
    ApiReply emergency(const ApiRequest &request);
    QJsonObject emergencyJson() const;
    static QString originOf(const ApiRequest &request);
    ApiReply stopDates(const ApiRequest &request);
    ApiReply hours(const ApiRequest &request);
    ApiReply captions(const ApiRequest &request);
    ApiReply broadcasts(const ApiRequest &request);
    ApiReply saveBroadcast(const ApiRequest &request, const BroadcastTask *old);
    QJsonObject broadcastJson(const BroadcastTask &task) const;
    void broadcastsChanged();
    QJsonObject taskJson(const QString &name) const;
    QJsonObject stopDatesJson() const;
    QJsonObject hoursJson() const;
    QJsonObject captionsJson() const;
    QJsonArray todayJson() const;
    void logWrite(const ApiRequest &request, const QString &what);

    Station &m_station;
    Announcer m_announce;
    QString m_running; // the task playing, by its time or by hand
    QString m_client;  // the caller of the call being handled
};

} // namespace tav

#include "remote/stationapi.h"

#include "core/datafaults.h"
#include "core/zhtext.h"
#include "platform/prompt.h"
#include "broadcast/broadcastdraft.h"
#include "scheduler/taskeditor.h"
#include "shell/station.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>

#include <optional>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

// Takes the editor's messages instead of showing them; a question is
// answered yes, the caller having asked for the change already.
class ReplyPrompt final : public Prompt
{
public:
    void inform(const QString &, const QString &text) override { message = text; }
    bool ask(const QString &, const QString &, bool) override { return true; }
    QString message;
};

enum class Kind { Text, Number, Bool, TextList };

struct Field
{
    QString name;
    Kind kind;
    bool required = false;
};

QString kindName(Kind kind)
{
    switch (kind) {
    case Kind::Text: return u"文本"_s;
    case Kind::Number: return u"整数"_s;
    case Kind::Bool: return u"true 或 false"_s;
    case Kind::TextList: return u"文本列表"_s;
    }
    return {};
}

bool hasKind(const QJsonValue &v, Kind kind)
{
    switch (kind) {
    case Kind::Text:
        return v.isString();
    case Kind::Number:
        return v.isDouble() && v.toDouble() == double(qint64(v.toDouble())) && qAbs(v.toDouble()) < 1e9;
    case Kind::Bool:
        return v.isBool();
    case Kind::TextList: {
        if (!v.isArray())
            return false;
        const QJsonArray a = v.toArray();
        return std::all_of(a.begin(), a.end(), [](const QJsonValue &e) { return e.isString(); });
    }
    }
    return false;
}

// Every field known, of its type, and the required ones there; the first
// problem in words, or nothing.
std::optional<ApiReply> checkFields(const QJsonObject &body, std::initializer_list<Field> fields)
{
    for (auto it = body.begin(); it != body.end(); ++it) {
        const auto known = std::find_if(fields.begin(), fields.end(),
                                        [&it](const Field &f) { return f.name == it.key(); });
        if (known == fields.end())
            return ApiReply::error(400, u"未知字段：%1"_s.arg(it.key()));
        if (!hasKind(it.value(), known->kind))
            return ApiReply::error(400, u"字段%1应为%2"_s.arg(it.key(), kindName(known->kind)));
    }
    for (const Field &f : fields)
        if (f.required && !body.contains(f.name))
            return ApiReply::error(400, u"缺少字段：%1"_s.arg(f.name));
    return std::nullopt;
}

QStringList textList(const QJsonValue &v)
{
    QStringList list;
    for (const QJsonValue &e : v.toArray())
        list.append(e.toString());
    return list;
}

// "H:mm:ss" with hours 0 to 23; the time pickers of the windows allow nothing else.
bool isTimeOfDay(const QString &text)
{
    static const QRegularExpression form(u"^([01]?[0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]$"_s);
    return form.match(text).hasMatch();
}

QString timeOrEmpty(int seconds)
{
    return seconds < 0 ? QString() : zh::timeText(seconds);
}

ApiReply ok(const QJsonObject &object, int status = 200)
{
    return {status, QJsonDocument(object)};
}

ApiReply notFound()
{
    return ApiReply::error(404, u"没有这个地址"_s);
}

const Switch kWeekdayStops[7] = {Switch::StopMonday,   Switch::StopTuesday, Switch::StopWednesday,
                                 Switch::StopThursday, Switch::StopFriday,  Switch::StopSaturday,
                                 Switch::StopSunday};

} // namespace

ApiReply ApiReply::error(int status, const QString &text)
{
    return {status, QJsonDocument(QJsonObject{{u"error"_s, text}})};
}

bool announceNow(Station &station, const AnnounceRequest &request, const QString &origin, QString *error)
{
    return station.announce(request, origin, error);
}

QString StationApi::originOf(const ApiRequest &request)
{
    return (request.alarmPanel ? u"报警系统 "_s : u"网页控制台 "_s) + request.client;
}

StationApi::StationApi(Station &station, QObject *parent) : QObject(parent), m_station(station)
{
    m_announce = [this](const AnnounceRequest &request, const QString &origin, QString *error) {
        return announceNow(m_station, request, origin, error);
    };
    connect(&station, &Station::emergencyChanged, this, [this] { emit changed(u"emergency"_s); });
    connect(&station.scheduler(), &Scheduler::taskStarted, this, [this](const QString &name) {
        m_running = name;
        emit started(name);
    });
    connect(&station.scheduler(), &Scheduler::taskEnded, this, [this] { m_running.clear(); });
    connect(&station.playback(), &PlaybackController::idle, this, [this] { m_running.clear(); });
}

void StationApi::logWrite(const ApiRequest &request, const QString &what)
{
    m_station.log().append(zh::stampedLine(m_station.clock().now(), u"远程："_s + request.client + u' ' + what));
}

QJsonObject StationApi::status() const
{
    Station &s = m_station;
    const QDateTime now = s.clock().now();
    const int t = zh::secondsOfDay(now.time());
    QJsonObject out;
    out[u"time"_s] = now.toString(u"yyyy-MM-dd HH:mm:ss"_s);
    PlaybackController &playback = s.playback();
    const bool playing = playback.selectedIndex() >= 0 && s.player().state() != MediaPlayer::State::Stopped;
    if (!m_running.isEmpty() || playing) {
        QJsonObject running;
        running[u"task"_s] = m_running.isEmpty() ? QJsonValue() : QJsonValue(m_running);
        running[u"item"_s] = playback.currentText();
        running[u"index"_s] = playback.selectedIndex() + 1;
        running[u"count"_s] = int(playback.items().size());
        running[u"end"_s] = s.scheduler().runningEnd();
        running[u"idleContent"_s] = m_running.isEmpty() && s.slideshow().isRunning(); // the advertising music
        out[u"running"_s] = running;
    } else {
        out[u"running"_s] = QJsonValue::Null;
    }
    const NextTaskStatus next = s.scheduler().nextTaskStatus();
    out[u"next"_s] = QJsonValue::Null;
    if (s.scheduler().isEnabled() && !next.remaining.isEmpty()) {
        int best = Scheduler::kEndOfDay + 1;
        const TodayTask *found = nullptr;
        for (const TodayTask &task : s.tasks().today())
            if (task.start > t && task.start < best) {
                best = task.start;
                found = &task;
            }
        if (found)
            out[u"next"_s] = QJsonObject{{u"task"_s, found->name()},
                                         {u"time"_s, found->fields.at(2)},
                                         {u"in"_s, best - t}};
    }
    out[u"nextText"_s] = s.scheduler().isEnabled() ? next.next : QString();
    out[u"workHours"_s] = next.workHours;
    out[u"enabled"_s] = s.scheduler().isEnabled();
    out[u"stopDay"_s] = s.scheduler().isStopDay();
    out[u"shutdownPending"_s] = s.scheduler().isShutdownPending();
    out[u"shutdownTime"_s] = s.settings().isOn(Switch::ShutdownAtTime) ? zh::timeText(s.settings().shutdownTime())
                                                                       : QString();
    out[u"statusText"_s] = s.scheduler().status();
    const TimeHealth::Status clock = s.timeKeeper().status();
    out[u"clock"_s] = QJsonObject{{u"text"_s, clock.text}, {u"warning"_s, clock.warning}};
    out[u"faults"_s] = QJsonArray::fromStringList(DataFaults::instance().outstanding());
    Broadcaster *b = s.broadcaster();
    if (b && b->isBusy())
        out[u"broadcast"_s] = QJsonObject{{u"name"_s, b->current().name}, {u"text"_s, b->spokenText()}};
    else
        out[u"broadcast"_s] = QJsonValue::Null;
    out[u"volume"_s] = playback.playerVolume();
    out[u"emergency"_s] = emergencyJson();
    return out;
}

QJsonObject StationApi::logSince(int since) const
{
    QStringList lines = m_station.log().text().split(u"\r\n"_s);
    while (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    // The log clears itself now and then: a number past its end starts over.
    if (since < 0 || since > lines.size())
        since = 0;
    return {{u"from"_s, since},
            {u"next"_s, int(lines.size())},
            {u"lines"_s, QJsonArray::fromStringList(lines.mid(since))}};
}

QJsonArray StationApi::todayJson() const
{
    const int t = zh::secondsOfDay(m_station.clock().now().time());
    QJsonArray rows;
    for (const TodayTask &task : m_station.tasks().today()) {
        QString state;
        if (task.name() == m_running)
            state = u"正在播放"_s;
        else if (task.start > t)
            state = u"待播"_s;
        else if (task.end >= 0 && task.end < t && task.end > task.start)
            state = u"已播完"_s;
        else
            state = u"已过开播时间"_s;
        rows.append(QJsonObject{{u"task"_s, task.name()}, {u"start"_s, task.fields.at(2)},
                                {u"end"_s, task.fields.at(3)}, {u"state"_s, state}});
    }
    return rows;
}

ApiReply StationApi::handle(const ApiRequest &request, bool manager)
{
    const QStringList &p = request.path;
    m_client = request.client;
    if (p.isEmpty())
        return notFound();
    if (isWrite(request) && !manager)
        return ApiReply::error(403, u"只读用户不能修改"_s);
    const QString &top = p.first();
    if (request.method == "GET" && p.size() == 1) {
        if (top == u"status")
            return ok(status());
        if (top == u"today")
            return ok({{u"date"_s, zh::shortDate(m_station.clock().now().date())},
                       {u"stopDay"_s, m_station.scheduler().isStopDay()},
                       {u"rows"_s, todayJson()}});
        if (top == u"log") {
            bool valid = true;
            const QString since = request.query.queryItemValue(u"since"_s);
            const int from = since.isEmpty() ? 0 : since.toInt(&valid);
            if (!valid)
                return ApiReply::error(400, u"since 应为行号"_s);
            return ok(logSince(from));
        }
        if (top == u"agenda") {
            bool valid = true;
            const QString daysText = request.query.queryItemValue(u"days"_s);
            const int days = daysText.isEmpty() ? WeekAhead::kDays : daysText.toInt(&valid);
            if (!valid || days < 1 || days > 31)
                return ApiReply::error(400, u"days 应为 1 到 31"_s);
            QJsonArray items;
            for (const AgendaItem &item : m_station.weekAhead().compute(days))
                items.append(QJsonObject{{u"date"_s, zh::shortDate(item.date)},
                                         {u"start"_s, timeOrEmpty(item.start)},
                                         {u"end"_s, timeOrEmpty(item.end)},
                                         {u"lane"_s, item.lane},
                                         {u"name"_s, item.name},
                                         {u"reason"_s, item.reason},
                                         {u"warning"_s, item.warning},
                                         {u"past"_s, item.past}});
            return ok({{u"days"_s, days}, {u"items"_s, items}});
        }
    }
    if (top == u"tasks")
        return tasks(request);
    if (top == u"stop" && p.size() == 1 && request.method == "POST")
        return stop();
    if (top == u"announce" && p.size() == 1 && request.method == "POST")
        return announce(request);
    if (top == u"emergency" && p.size() == 1)
        return emergency(request);
    if (top == u"stopdates")
        return stopDates(request);
    if (top == u"hours" && p.size() == 1)
        return hours(request);
    if (top == u"captions")
        return captions(request);
    if (top == u"broadcasts")
        return broadcasts(request);
    return notFound();
}

QJsonObject StationApi::taskJson(const QString &name) const
{
    for (const TaskRecord &r : m_station.tasks().rows()) {
        if (r.name.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        return {{u"Name"_s, r.name},     {u"Time"_s, r.start},       {u"Duration"_s, r.end},
                {u"Type"_s, r.volume},   {u"Device"_s, r.days},      {u"Recurrence"_s, r.mode},
                {u"Remind"_s, r.remind}, {u"files"_s, QJsonArray::fromStringList(m_station.tasks().readMediaList(r.name))}};
    }
    return {};
}

ApiReply StationApi::tasks(const ApiRequest &request)
{
    const QStringList &p = request.path;
    if (p.size() == 1 && request.method == "GET") {
        QJsonArray list;
        for (const TaskRecord &r : m_station.tasks().rows())
            list.append(QJsonObject{{u"Name"_s, r.name},     {u"Time"_s, r.start},  {u"Duration"_s, r.end},
                                    {u"Type"_s, r.volume},   {u"Device"_s, r.days}, {u"Recurrence"_s, r.mode},
                                    {u"Remind"_s, r.remind}});
        return ok({{u"tasks"_s, list}});
    }
    if (p.size() == 1 && request.method == "POST")
        return saveTask(request, QString());
    if (p.size() == 2) {
        const QString &name = p.at(1);
        if (request.method == "GET") {
            const QJsonObject task = taskJson(name);
            return task.isEmpty() ? ApiReply::error(404, u"没有这个任务：%1"_s.arg(name)) : ok(task);
        }
        if (request.method == "PUT")
            return saveTask(request, name);
        if (request.method == "DELETE")
            return deleteTask(name);
    }
    if (p.size() == 3 && p.at(2) == u"play" && request.method == "POST")
        return playTask(p.at(1));
    return notFound();
}

ApiReply StationApi::saveTask(const ApiRequest &request, const QString &previousName)
{
    const bool modify = !previousName.isNull();
    const TaskRecord *old = nullptr;
    if (modify) {
        for (const TaskRecord &r : m_station.tasks().rows())
            if (r.name.compare(previousName, Qt::CaseInsensitive) == 0)
                old = &r;
        if (!old)
            return ApiReply::error(404, u"没有这个任务：%1"_s.arg(previousName));
    }
    if (auto refused = checkFields(request.body, {{u"Name"_s, Kind::Text, !modify},
                                                  {u"Time"_s, Kind::Text, !modify},
                                                  {u"Duration"_s, Kind::Text, !modify},
                                                  {u"Type"_s, Kind::Text},
                                                  {u"Device"_s, Kind::Text},
                                                  {u"Recurrence"_s, Kind::Text},
                                                  {u"Remind"_s, Kind::Text},
                                                  {u"files"_s, Kind::TextList}}))
        return *refused;
    const QJsonObject &b = request.body;
    const auto field = [&b](const QString &key, const QString &fallback) {
        return b.contains(key) ? b.value(key).toString() : fallback;
    };
    ReplyPrompt prompt;
    const TaskEditor editor(m_station.dataDir(), prompt);
    TaskDraft d;
    d.previousName = modify ? old->name : QString();
    d.name = field(u"Name"_s, modify ? old->name : QString());
    d.start = field(u"Time"_s, modify ? old->start : QString()).trimmed();
    d.end = field(u"Duration"_s, modify ? old->end : QString()).trimmed();
    d.volume = field(u"Type"_s, modify ? old->volume : TaskEditor::kDefaultVolume);
    const QString device = field(u"Device"_s, modify ? old->days : u"每天"_s).trimmed();
    d.mode = field(u"Recurrence"_s, modify ? old->mode : u"循环"_s);
    d.remind = field(u"Remind"_s, modify ? old->remind : u"开"_s);
    // The editor's own checks first, in their order, with its words.
    if (!editor.check(d))
        return ApiReply::error(d.name.isEmpty() || !prompt.message.startsWith(u"该名称") ? 400 : 409,
                               prompt.message);
    if (!DataDir::isSafeName(d.name))
        return ApiReply::error(400, u"任务名称不能以“.”开头"_s);
    // What the windows' pickers and options cannot produce.
    if (!isTimeOfDay(d.start))
        return ApiReply::error(400, u"开始时间应为 时:分:秒，如 9:00:00"_s);
    if (!isTimeOfDay(d.end))
        return ApiReply::error(400, u"结束时间应为 时:分:秒，如 17:30:00"_s);
    if (!device.startsWith(u'每') && !device.startsWith(u"指定"))
        return ApiReply::error(400, u"播放日期应为“每天”、“每周”加星期几，或“指定 年/月/日”"_s);
    d.days = parseDateRule(device);
    if (d.days.kind == DateRule::Kind::OneDate && !d.days.date.isValid())
        return ApiReply::error(400, u"指定的日期不正确：%1"_s.arg(device));
    if (!playModes().contains(d.mode))
        return ApiReply::error(400, u"播放模式应为 顺序、循环 或 随机"_s);
    if (d.remind != u"开" && d.remind != u"关")
        return ApiReply::error(400, u"定时应为 开 或 关"_s);
    if (b.contains(u"files"_s)) {
        for (const QString &file : textList(b.value(u"files"_s))) {
            QString text = file;
            if (!editor.addUrl(d.media, text)) // refuses an empty entry
                return ApiReply::error(400, prompt.message);
            if (d.media.count(file.trimmed()) > 1)
                return ApiReply::error(400, u"文件有重复，无法添加！"_s);
        }
    } else if (modify) {
        d.media = m_station.tasks().readMediaList(old->name);
    }
    // Pictures are not edited here: a changed task keeps its own.
    if (modify) {
        const PictureList pictures = m_station.tasks().readPictureList(old->name);
        d.pictures = pictures.paths;
        d.pictureModeOne = pictures.mode != u"0";
        d.pictureInterval = QString::number(pictures.intervalSeconds);
    } else {
        d.pictureInterval = u"3"_s;
    }
    if (!m_station.tasks().fileReadable())
        return ApiReply::error(503, u"写文件时出错：任务文件无法读取"_s);
    const int section = modify ? old->section : editor.newTaskNumber();
    const QString wasName = d.previousName;
    const bool saved = editor.save(d, section, modify);
    m_station.tasks().load(m_station.clock().now().date());
    emit changed(u"tasks"_s);
    logWrite(request, (modify ? u"修改任务 "_s + wasName + u" → "_s : u"新增任务 "_s) + d.name
                          + (saved ? QString() : u"（写文件时出错）"_s));
    if (!saved)
        return ApiReply::error(500, u"写文件时出错"_s);
    return ok(taskJson(d.name), modify ? 200 : 201);
}

ApiReply StationApi::deleteTask(const QString &name)
{
    const auto &rows = m_station.tasks().rows();
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (rows[i].name.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        const QString real = rows[i].name;
        ReplyPrompt prompt;
        const auto result = m_station.tasks().deleteTask(i, prompt, m_station.clock().now().date());
        if (result == TaskStore::DeleteResult::KeepOne)
            return ApiReply::error(409, prompt.message);
        emit changed(u"tasks"_s);
        logWrite({"DELETE", {}, {}, {}, m_client}, u"删除任务 "_s + real);
        return ok({{u"deleted"_s, real}});
    }
    return ApiReply::error(404, u"没有这个任务：%1"_s.arg(name));
}

ApiReply StationApi::playTask(const QString &name)
{
    for (const TaskRecord &r : m_station.tasks().rows()) {
        if (r.name.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        PlaybackController &playback = m_station.playback();
        // As the console's play key: the task's volume, order and list, now.
        playback.setSlider(r.volume.toInt());
        playback.startTask(r.mode, m_station.tasks().readMediaList(r.name));
        ReplyPrompt prompt;
        const QString missing = playback.checkPaths(r.name, prompt, m_station.tasks().listFileOf(r.name));
        m_running = r.name;
        logWrite({"POST", {}, {}, {}, m_client}, u"立即播放 "_s + r.name);
        emit started(r.name);
        return ok({{u"playing"_s, r.name}, {u"missing"_s, missing}});
    }
    return ApiReply::error(404, u"没有这个任务：%1"_s.arg(name));
}

ApiReply StationApi::stop()
{
    m_station.playback().stopByOperator();
    m_running.clear();
    logWrite({"POST", {}, {}, {}, m_client}, u"停止播放"_s);
    return ok({{u"stopped"_s, true}});
}

ApiReply StationApi::announce(const ApiRequest &request)
{
    if (auto refused = checkFields(request.body, {{u"text"_s, Kind::Text, true},
                                                  {u"voice"_s, Kind::Text},
                                                  {u"tone"_s, Kind::Bool},
                                                  {u"repeat"_s, Kind::Number},
                                                  {u"rate"_s, Kind::Number},
                                                  {u"musicVolume"_s, Kind::Number}}))
        return *refused;
    const QJsonObject &b = request.body;
    AnnounceRequest r;
    r.text = b.value(u"text"_s).toString();
    if (r.text.trimmed().isEmpty())
        return ApiReply::error(400, u"朗读内容不能为空"_s);
    if (r.text.size() > Broadcaster::kMaxSpokenChars)
        return ApiReply::error(400, u"朗读内容过长（最多%1字）"_s.arg(Broadcaster::kMaxSpokenChars));
    r.speaker = b.value(u"voice"_s).toString();
    r.tone = b.value(u"tone"_s).toBool(true);
    r.repeat = b.value(u"repeat"_s).toInt(1);
    if (r.repeat < 1 || r.repeat > 10)
        return ApiReply::error(400, u"播放次数应为 1 到 10"_s);
    r.rate = b.value(u"rate"_s).toInt(0);
    if (r.rate < -10 || r.rate > 10)
        return ApiReply::error(400, u"语速应为 -10 到 10"_s);
    r.musicVolume = b.value(u"musicVolume"_s).toInt(30);
    if (r.musicVolume < 0 || r.musicVolume > 100)
        return ApiReply::error(400, u"背景音量应为 0 到 100"_s);
    QString error;
    if (!m_announce(r, originOf(request), &error)) {
        logWrite(request, u"播音未能开始："_s + error);
        return ApiReply::error(409, error);
    }
    logWrite(request, u"播音："_s + r.text.left(40));
    return ok({{u"accepted"_s, true}}, 202);
}

QJsonObject StationApi::emergencyJson() const
{
    return {{u"active"_s, m_station.emergencyActive()}};
}

// POST starts the emergency (an optional "text" instead of the set one),
// DELETE clears it; GET says whether one is on.
ApiReply StationApi::emergency(const ApiRequest &request)
{
    if (request.method == "GET")
        return ok(emergencyJson());
    QString error;
    if (request.method == "POST") {
        if (auto refused = checkFields(request.body, {{u"text"_s, Kind::Text}}))
            return *refused;
        EmergencyRequest r;
        r.text = request.body.value(u"text"_s).toString().trimmed();
        if (r.text.size() > Broadcaster::kMaxSpokenChars)
            return ApiReply::error(400, u"朗读内容过长（最多%1字）"_s.arg(Broadcaster::kMaxSpokenChars));
        if (!m_station.startEmergency(r, originOf(request), &error)) {
            logWrite(request, u"紧急广播未能开始："_s + error);
            return ApiReply::error(409, error);
        }
        logWrite(request, u"紧急广播开始"_s);
        return ok(emergencyJson(), 202);
    }
    if (request.method == "DELETE") {
        if (!m_station.clearEmergency(originOf(request), &error))
            return ApiReply::error(409, error);
        logWrite(request, u"紧急广播解除"_s);
        return ok(emergencyJson());
    }
    return ApiReply::error(405, u"没有这个操作"_s);
}

QJsonObject StationApi::stopDatesJson() const
{
    QJsonObject weekdays;
    static const QString names[7] = {u"周一"_s, u"周二"_s, u"周三"_s, u"周四"_s, u"周五"_s, u"周六"_s, u"周日"_s};
    for (int i = 0; i < 7; ++i)
        weekdays[names[i]] = m_station.settings().isOn(kWeekdayStops[i]);
    return {{u"dates"_s, QJsonArray::fromStringList(m_station.stopDates().dates())}, {u"weekdays"_s, weekdays}};
}

ApiReply StationApi::stopDates(const ApiRequest &request)
{
    const QStringList &p = request.path;
    StopDates &dates = m_station.stopDates();
    if (p.size() == 1 && request.method == "GET")
        return ok(stopDatesJson());
    if (p.size() == 1 && request.method == "POST") {
        if (auto refused = checkFields(request.body, {{u"date"_s, Kind::Text, true}}))
            return *refused;
        const QDate date = zh::parseShortDate(request.body.value(u"date"_s).toString());
        if (!date.isValid())
            return ApiReply::error(400, u"日期应为 年/月/日，如 2026/10/1"_s);
        ReplyPrompt prompt;
        if (dates.add(date, prompt) != StopDates::AddResult::Added)
            return ApiReply::error(409, prompt.message);
        m_station.scheduler().reviewDay();
        emit changed(u"stopdates"_s);
        logWrite(request, u"添加停播日期 "_s + zh::shortDate(date));
        return ok(stopDatesJson(), 201);
    }
    if (p.size() == 2 && p.at(1) == u"weekdays" && request.method == "PUT") {
        if (auto refused = checkFields(request.body, {{u"周一"_s, Kind::Bool}, {u"周二"_s, Kind::Bool},
                                                      {u"周三"_s, Kind::Bool}, {u"周四"_s, Kind::Bool},
                                                      {u"周五"_s, Kind::Bool}, {u"周六"_s, Kind::Bool},
                                                      {u"周日"_s, Kind::Bool}}))
            return *refused;
        static const QString names[7] = {u"周一"_s, u"周二"_s, u"周三"_s, u"周四"_s, u"周五"_s, u"周六"_s, u"周日"_s};
        for (int i = 0; i < 7; ++i)
            if (request.body.contains(names[i]))
                m_station.settings().setSwitch(kWeekdayStops[i], request.body.value(names[i]).toBool());
        m_station.scheduler().reviewDay();
        emit changed(u"settings"_s);
        logWrite(request, u"修改每周停播"_s);
        return ok(stopDatesJson());
    }
    if (p.size() == 2 && request.method == "DELETE") {
        const QDate date = zh::parseShortDate(p.at(1));
        const qsizetype index = date.isValid() ? dates.dates().indexOf(zh::shortDate(date)) : -1;
        if (index < 0)
            return ApiReply::error(404, u"没有这个停播日期：%1"_s.arg(p.at(1)));
        dates.remove(index);
        m_station.scheduler().reviewDay();
        emit changed(u"stopdates"_s);
        logWrite(request, u"删除停播日期 "_s + zh::shortDate(date));
        return ok(stopDatesJson());
    }
    return notFound();
}

QJsonObject StationApi::hoursJson() const
{
    const Settings &s = m_station.settings();
    return {{u"workingHours"_s, s.isOn(Switch::WorkingHours)},
            {u"workStart"_s, zh::timeText(s.workStart())},
            {u"workEnd"_s, zh::timeText(s.workEnd())},
            {u"shutdown"_s, s.isOn(Switch::ShutdownAtTime)},
            {u"shutdownTime"_s, zh::timeText(s.shutdownTime())},
            {u"shutdownOnStopDay"_s, s.isOn(Switch::ShutdownOnStopDay)}};
}

ApiReply StationApi::hours(const ApiRequest &request)
{
    if (request.method == "GET")
        return ok(hoursJson());
    if (request.method != "PUT")
        return notFound();
    if (auto refused = checkFields(request.body, {{u"workingHours"_s, Kind::Bool}, {u"workStart"_s, Kind::Text},
                                                  {u"workEnd"_s, Kind::Text}, {u"shutdown"_s, Kind::Bool},
                                                  {u"shutdownTime"_s, Kind::Text},
                                                  {u"shutdownOnStopDay"_s, Kind::Bool}}))
        return *refused;
    const QJsonObject &b = request.body;
    for (const QString &key : {u"workStart"_s, u"workEnd"_s, u"shutdownTime"_s})
        if (b.contains(key) && !isTimeOfDay(b.value(key).toString().trimmed()))
            return ApiReply::error(400, u"%1应为 时:分:秒，如 8:00:00"_s.arg(key));
    Settings &s = m_station.settings();
    const auto timeOf = [&b](const QString &key) { return zh::timeText(zh::secondsOfDay(b.value(key).toString().trimmed())); };
    if (b.contains(u"workStart"_s))
        s.setText(Setting::WorkStart, timeOf(u"workStart"_s));
    if (b.contains(u"workEnd"_s))
        s.setText(Setting::WorkEnd, timeOf(u"workEnd"_s));
    if (b.contains(u"workingHours"_s))
        s.setSwitch(Switch::WorkingHours, b.value(u"workingHours"_s).toBool());
    if (b.contains(u"shutdownOnStopDay"_s))
        s.setSwitch(Switch::ShutdownOnStopDay, b.value(u"shutdownOnStopDay"_s).toBool());
    if (b.contains(u"shutdown"_s) || b.contains(u"shutdownTime"_s))
        s.setShutdownAtTime(b.value(u"shutdown"_s).toBool(s.isOn(Switch::ShutdownAtTime)),
                            b.contains(u"shutdownTime"_s) ? zh::secondsOfDay(b.value(u"shutdownTime"_s).toString().trimmed())
                                                          : s.shutdownTime());
    // Today's list leaves out tasks outside the hours: built again, and the day's state.
    m_station.scheduler().reviewDay();
    emit changed(u"settings"_s);
    logWrite(request, u"修改工作时段与关机时间"_s);
    return ok(hoursJson());
}

QJsonObject StationApi::captionsJson() const
{
    const CaptionBook &book = m_station.captions();
    QJsonArray rows;
    for (const Caption &c : book.rows())
        rows.append(QJsonObject{{u"start"_s, c.start}, {u"end"_s, c.end}, {u"on"_s, c.isOn()}, {u"content"_s, c.content}});
    return {{u"on"_s, m_station.settings().isOn(Switch::Captions)},
            {u"manner"_s, book.settings().manner},
            {u"rows"_s, rows}};
}

ApiReply StationApi::captions(const ApiRequest &request)
{
    const QStringList &p = request.path;
    CaptionBook &book = m_station.captions();
    if (p.size() == 1 && request.method == "GET")
        return ok(captionsJson());
    if (p.size() == 2 && p.at(1) == u"settings" && request.method == "PUT") {
        if (auto refused = checkFields(request.body, {{u"on"_s, Kind::Bool}, {u"manner"_s, Kind::Number}}))
            return *refused;
        const QJsonObject &b = request.body;
        if (b.contains(u"manner"_s)) {
            const int manner = b.value(u"manner"_s).toInt();
            if (manner < CaptionSettings::Loop || manner > CaptionSettings::ByTime)
                return ApiReply::error(400, u"播放方式应为 0（循环）、1（依次一遍）或 2（按时间）"_s);
            CaptionSettings settings = book.settings();
            settings.manner = manner;
            if (QString error; !book.saveSettings(settings, &error))
                return ApiReply::error(500, u"保存失败："_s + error);
        }
        if (b.contains(u"on"_s)) {
            const bool on = b.value(u"on"_s).toBool();
            m_station.settings().setSwitch(Switch::Captions, on);
            if (on)
                m_station.captionScroller().cmdStartNow_Click();
            else
                m_station.captionScroller().cmdSRstop_Click();
        }
        emit changed(u"captions"_s);
        logWrite(request, u"修改字幕设置"_s);
        return ok(captionsJson());
    }
    const bool add = p.size() == 1 && request.method == "POST";
    bool numbered = false;
    const int row = p.size() == 2 ? p.at(1).toInt(&numbered) - 1 : -1;
    if (!add && (!numbered || row < 0 || row >= book.rows().size()))
        return p.size() == 2 ? ApiReply::error(404, u"本行为空"_s) : notFound();
    if (request.method == "DELETE") {
        book.remove(row);
    } else if (add || request.method == "PUT") {
        if (auto refused = checkFields(request.body, {{u"content"_s, Kind::Text, add}, {u"start"_s, Kind::Text, add},
                                                      {u"end"_s, Kind::Text, add}, {u"on"_s, Kind::Bool}}))
            return *refused;
        const QJsonObject &b = request.body;
        Caption c = add ? Caption{} : book.rows().at(row);
        if (add)
            c.swicth = CaptionBook::kOn;
        c.content = b.value(u"content"_s).toString(c.content);
        if (const QString problem = CaptionBook::checkText(c.content); !problem.isEmpty())
            return ApiReply::error(400, problem);
        for (QString *time : {&c.start, &c.end}) {
            const QString key = time == &c.start ? u"start"_s : u"end"_s;
            if (!b.contains(key))
                continue;
            const int seconds = zh::secondsOfDay(b.value(key).toString().trimmed());
            if (seconds < 0)
                return ApiReply::error(400, u"%1应为 时:分，如 8:30"_s.arg(key));
            *time = QTime(seconds / 3600, seconds / 60 % 60).toString(u"HH:mm:00"_s);
        }
        if (b.contains(u"on"_s))
            c.swicth = b.value(u"on"_s).toBool() ? CaptionBook::kOn : u"关"_s;
        if (add)
            book.add(c);
        else
            book.change(row, c);
    } else {
        return notFound();
    }
    if (QString error; !book.save(&error))
        return ApiReply::error(500, u"保存失败："_s + error);
    emit changed(u"captions"_s);
    logWrite(request, (add ? u"新增字幕"_s : request.method == "DELETE" ? u"删除字幕"_s : u"修改字幕"_s));
    return ok(captionsJson(), add ? 201 : 200);
}

QJsonObject StationApi::broadcastJson(const BroadcastTask &t) const
{
    return {{u"name"_s, t.name},
            {u"start"_s, t.timeStart},
            {u"end"_s, t.timeEnd},
            {u"dateStart"_s, t.dateStart},
            {u"dateEnd"_s, t.dateEnd},
            {u"week"_s, t.week},
            {u"interval"_s, t.interval},
            {u"on"_s, t.isOn()},
            {u"priority"_s, QString::number(t.priority())},
            {u"frequency"_s, t.frequency},
            {u"delay"_s, t.delay},
            {u"tone"_s, t.tone.trimmed() == u"1"},
            {u"voice"_s, t.speaker},
            {u"rate"_s, t.rate},
            {u"voiceVolume"_s, t.voiceVolume},
            {u"musicVolume"_s, t.musicVolume},
            {u"music"_s, t.music},
            {u"text"_s, m_station.broadcasts().content(t.name)}};
}

ApiReply StationApi::broadcasts(const ApiRequest &request)
{
    const QStringList &p = request.path;
    BroadcastStore &store = m_station.broadcasts();
    if (p.size() == 1 && request.method == "GET") {
        QJsonArray list;
        for (const BroadcastTask &t : store.tasks())
            list.append(broadcastJson(t));
        return ok({{u"on"_s, m_station.settings().isOn(Switch::Broadcast)},
                   {u"available"_s, m_station.broadcaster() != nullptr},
                   {u"tasks"_s, list}});
    }
    if (p.size() == 2 && p.at(1) == u"settings" && request.method == "PUT") {
        if (auto refused = checkFields(request.body, {{u"on"_s, Kind::Bool, true}}))
            return *refused;
        m_station.settings().setSwitch(Switch::Broadcast, request.body.value(u"on"_s).toBool());
        emit changed(u"settings"_s);
        logWrite(request, request.body.value(u"on"_s).toBool() ? u"开启播音"_s : u"关闭播音"_s);
        return broadcasts({"GET", {u"broadcasts"_s}, {}, {}, request.client});
    }
    if (p.size() == 1 && request.method == "POST")
        return saveBroadcast(request, nullptr);
    if (p.size() != 2)
        return notFound();
    const BroadcastTask *task = store.find(p.at(1));
    if (!task)
        return ApiReply::error(404, u"没有这个播音任务：%1"_s.arg(p.at(1)));
    if (request.method == "GET")
        return ok(broadcastJson(*task));
    if (request.method == "PUT")
        return saveBroadcast(request, task);
    if (request.method != "DELETE")
        return notFound();
    const QString name = task->name;
    QString error;
    if (!store.remove(task->section, &error))
        return ApiReply::error(store.tasks().size() <= 1 ? 409 : 500, error);
    broadcastsChanged();
    logWrite(request, u"删除播音 "_s + name);
    return ok({{u"deleted"_s, name}});
}

ApiReply StationApi::saveBroadcast(const ApiRequest &request, const BroadcastTask *old)
{
    const bool add = old == nullptr;
    if (auto refused = checkFields(request.body, {{u"name"_s, Kind::Text, add},
                                                  {u"text"_s, Kind::Text, add},
                                                  {u"start"_s, Kind::Text, add},
                                                  {u"end"_s, Kind::Text},
                                                  {u"dateStart"_s, Kind::Text},
                                                  {u"dateEnd"_s, Kind::Text},
                                                  {u"week"_s, Kind::Text},
                                                  {u"interval"_s, Kind::Text},
                                                  {u"on"_s, Kind::Bool},
                                                  {u"priority"_s, Kind::Text},
                                                  {u"frequency"_s, Kind::Text},
                                                  {u"delay"_s, Kind::Text},
                                                  {u"tone"_s, Kind::Bool},
                                                  {u"voice"_s, Kind::Text},
                                                  {u"rate"_s, Kind::Text},
                                                  {u"voiceVolume"_s, Kind::Text},
                                                  {u"musicVolume"_s, Kind::Text},
                                                  {u"music"_s, Kind::Text}}))
        return *refused;
    BroadcastStore &store = m_station.broadcasts();
    const QJsonObject &b = request.body;
    BroadcastDraft d = add ? BroadcastDraft::fresh(m_station.clock().now()) : BroadcastDraft::from(*old, store.content(old->name));
    // What the windows' pickers cannot produce is refused before the editor's checks.
    for (const auto &[key, time] : {std::pair{u"start"_s, &d.timeStart}, {u"end"_s, &d.timeEnd}}) {
        if (!b.contains(key))
            continue;
        const QString text = b.value(key).toString().trimmed();
        if (!isTimeOfDay(text))
            return ApiReply::error(400, u"%1应为 时:分:秒，如 12:00:00"_s.arg(key));
        *time = QTime(0, 0).addSecs(zh::secondsOfDay(text));
    }
    if (add && !b.contains(u"end"_s))
        d.timeEnd = d.timeStart; // once, at its start
    for (const auto &[key, date] : {std::pair{u"dateStart"_s, &d.dateStart}, {u"dateEnd"_s, &d.dateEnd}}) {
        if (!b.contains(key))
            continue;
        const QDate parsed = zh::parseShortDate(b.value(key).toString());
        if (!parsed.isValid())
            return ApiReply::error(400, u"%1应为 年/月/日，如 2026/9/1"_s.arg(key));
        *date = parsed;
    }
    if (b.contains(u"week"_s)) {
        static const QString days = u"一二三四五六日"_s;
        const QString week = b.value(u"week"_s).toString();
        if (!std::all_of(week.begin(), week.end(), [](QChar c) { return days.contains(c); }))
            return ApiReply::error(400, u"星期应由“一二三四五六日”中的字组成"_s);
        for (int i = 0; i < 7; ++i)
            d.week[i] = week.contains(days[i]);
    }
    // As typed into the editor's boxes: a blank before a number is refused there.
    const auto text = [&b](const QString &key, QString *into) {
        if (b.contains(key))
            *into = b.value(key).toString();
    };
    text(u"name"_s, &d.name);
    text(u"text"_s, &d.content);
    text(u"interval"_s, &d.interval);
    text(u"priority"_s, &d.priority);
    text(u"frequency"_s, &d.frequency);
    text(u"delay"_s, &d.delay);
    text(u"voice"_s, &d.speaker);
    text(u"rate"_s, &d.rate);
    text(u"voiceVolume"_s, &d.voiceVolume);
    text(u"musicVolume"_s, &d.musicVolume);
    text(u"music"_s, &d.music);
    if (b.contains(u"on"_s))
        d.onOff = b.value(u"on"_s).toBool() ? u"开"_s : u"关"_s;
    if (b.contains(u"tone"_s))
        d.tone = b.value(u"tone"_s).toBool();
    // The editor's own checks, in their order, with its words.
    if (const QString refused = d.check(store.dir(), add ? QString() : old->name); !refused.isEmpty())
        return ApiReply::error(refused.startsWith(u"该名称") ? 409 : 400, refused);
    if (d.content.size() > Broadcaster::kMaxSpokenChars)
        return ApiReply::error(400, u"朗读内容过长（最多%1字）"_s.arg(Broadcaster::kMaxSpokenChars));
    if (d.speaker.isEmpty())
        return ApiReply::error(400, u"语音不能为空"_s);
    const QString wasName = add ? QString() : old->name;
    QString error;
    const bool saved = add ? store.add(d.toTask(), d.content, &error)
                           : store.modify(old->section, wasName, d.toTask(), d.content, &error);
    if (!saved) {
        logWrite(request, (add ? u"新增播音 "_s : u"修改播音 "_s + wasName + u" → "_s) + d.name.trimmed()
                              + u"（写文件时出错）"_s);
        return ApiReply::error(500, error);
    }
    broadcastsChanged();
    logWrite(request, (add ? u"新增播音 "_s : u"修改播音 "_s + wasName + u" → "_s) + d.name.trimmed());
    return ok(broadcastJson(*store.find(d.name)), add ? 201 : 200);
}

// The day's broadcasts are built again off the tick, as after the windows' editor.
void StationApi::broadcastsChanged()
{
    if (BroadcastScheduler *scheduler = m_station.broadcastScheduler())
        scheduler->rebuild();
    emit changed(u"broadcasts"_s);
}

} // namespace tav

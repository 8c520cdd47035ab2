// The web console's server on 127.0.0.1, against a station on the fake clock.

#include "fakes/stationrig.h"
#include "remote/webserver.h"
#include "shell/emergency.h"

#include <QCryptographicHash>
#include <QPasswordDigestor>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QSignalSpy>
#include <QSslConfiguration>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace tav;
using namespace tav::test;

namespace {

const QString kManager = u"manager-secret"_s;
const QString kViewer = u"viewer-secret"_s;
constexpr int kSlowMs = 1500;

// The stored form of hashSecret() with few rounds, so that a check takes
// milliseconds however busy the machine is and the slow answer stands out.
QString quickHash(const QString &secret)
{
    const QByteArray salt = "0123456789abcdef";
    const QByteArray hash =
        QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, secret.toUtf8(), salt, 1000, 32);
    return u"pbkdf2-sha256$1000$"_s + QString::fromLatin1(salt.toBase64()) + u'$' + QString::fromLatin1(hash.toBase64());
}

struct Reply
{
    int status = 0;
    QJsonObject json;
    QByteArray body;
    QByteArray header(const QByteArray &name) const { return headers.value(name.toLower()); }
    QHash<QByteArray, QByteArray> headers;
    QString error() const { return json.value(u"error"_s).toString(); }
    QString network; // the transport's complaint, if any
};

// A browser of one: its own cookies and CSRF token.
class Client
{
public:
    // Over TLS when given the one certificate to trust.
    explicit Client(quint16 port, const QSslCertificate &trusted = {}) : m_port(port), m_trusted(trusted) {}

    Reply call(const QByteArray &method, const QString &path, const QByteArray &body = {},
               QList<QPair<QByteArray, QByteArray>> headers = {})
    {
        const QString scheme = m_trusted.isNull() ? u"http"_s : u"https"_s;
        QNetworkRequest request(QUrl(u"%1://127.0.0.1:%2%3"_s.arg(scheme).arg(m_port).arg(path)));
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.setCaCertificates({m_trusted});
        if (!m_trusted.isNull())
            request.setSslConfiguration(ssl);
        request.setRawHeader("Content-Type", "application/json");
        if (!csrf.isEmpty())
            request.setRawHeader("X-CSRF-Token", csrf);
        for (const auto &[name, value] : headers)
            request.setRawHeader(name, value);
        QNetworkReply *reply = m_nam.sendCustomRequest(request, method, body);
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        QTimer::singleShot(15000, &loop, &QEventLoop::quit);
        loop.exec();
        Reply out;
        out.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        out.network = reply->errorString();
        out.body = reply->readAll();
        out.json = QJsonDocument::fromJson(out.body).object();
        for (const auto &[name, value] : reply->rawHeaderPairs())
            out.headers.insert(name.toLower(), value);
        reply->deleteLater();
        return out;
    }
    Reply call(const QByteArray &method, const QString &path, const QJsonObject &body)
    {
        return call(method, path, QJsonDocument(body).toJson(QJsonDocument::Compact));
    }
    Reply login(const QString &password)
    {
        Reply r = call("POST", u"/api/v1/login"_s, QJsonObject{{u"password"_s, password}});
        csrf = r.json.value(u"csrf"_s).toString().toLatin1();
        return r;
    }
    QByteArray csrf;

private:
    quint16 m_port;
    QSslCertificate m_trusted;
    QNetworkAccessManager m_nam;
};

} // namespace

// Monday morning: one task at 9:00 with a picture, one voice broadcast.
class WebServerTest : public ::testing::Test, protected StationRig
{
protected:
    WebServerTest() : StationRig("2026-11-23 08:59:50") {}
    std::unique_ptr<WebServer> server;

    void SetUp() override
    {
        d.write(u"【SONG】.ini"_s, taskSection(1, {.name = u"早间新闻"_s, .start = u"9:00:00"_s, .end = u"9:30:00"_s}));
        d.write(u"早间新闻.ini"_s, u"[多媒体文件数量]\n数量=1\n图片总数量=1\n[歌曲]\n歌曲名称0=/news.mp3\n"
                                  u"[图片]\n图片路径0=/n/1.jpg\n[图片播放模式]\n模式=0\n[时间]\n图片切换时间=7\n"_s);
        d.write(u"【TTS】.ini"_s, u"[TTS1]\nTTS_Name=午间广播\nTTS_TimeStart=12:00:00\nTTS_TimeEnd=12:00:00\n"
                                  u"TTS_DateStart=2026/1/1\nTTS_DateEnd=2026/12/31\nTTS_Week=一二三四五\nTTS_Interval=0\n"
                                  u"TTS_Switch=开\nTTS_BGVolume=30\nTTS_Tone=1\nTTS_Speaker=VW Hui\nTTS_Rate=0\n"
                                  u"TTS_txtVolume=100\nTTS_BG_Music=\nTTS_Index=1\nTTS_Delay=0\nTTS_Frequency=1\n"_s);
        WebSettings web;
        web.managerHash = quickHash(kManager);
        web.viewerHash = quickHash(kViewer);
        ASSERT_TRUE(web.save(DataDir(d.path())));
        startStation();
        WebSettings settings = WebSettings::load(DataDir(d.path()));
        settings.port = 0; // any free port: tests run side by side
        server = std::make_unique<WebServer>(*station, settings);
        server->setSlowAnswerMs(kSlowMs);
        QString error;
        ASSERT_TRUE(server->start(&error)) << error.toStdString();
    }
    void tickAt(const char *when)
    {
        clock.set(at(when));
        emit station->ticker().second();
    }
    std::unique_ptr<Client> manager()
    {
        auto c = std::make_unique<Client>(server->port());
        EXPECT_EQ(c->login(kManager).status, 200);
        return c;
    }
    QString logText() const { return station->log().text(); }
};

TEST_F(WebServerTest, LoginGivesTheRoleACookieAndEveryOtherCallWantsTheSessionAndItsToken)
{
    struct Case { QByteArray body; int status; QString role; } cases[] = {
        {R"({"password":"manager-secret"})", 200, u"manager"_s}, {R"({"password":"viewer-secret"})", 200, u"viewer"_s},
        {R"({"password":"wrong"})", 401, {}}, {R"({"password":"manager-secret","extra":1})", 400, {}},
        {R"(not json)", 400, {}},
    };
    for (const Case &c : cases) {
        const Reply r = Client(server->port()).call("POST", u"/api/v1/login"_s, c.body);
        EXPECT_EQ(r.status, c.status) << c.body.constData();
        EXPECT_EQ(r.json.value(u"role"_s).toString(), c.role) << c.body.constData();
        EXPECT_TRUE(r.header("access-control-allow-origin").isEmpty());
        if (c.status == 200) {
            const QByteArray cookie = r.header("set-cookie");
            EXPECT_TRUE(cookie.contains("HttpOnly") && cookie.contains("SameSite=Strict")) << cookie.constData();
            EXPECT_FALSE(r.json.value(u"csrf"_s).toString().isEmpty());
        }
    }

    Client stranger(server->port());
    for (const auto &[method, path] : {std::pair{"GET", "/api/v1/status"}, {"GET", "/api/v1/events"}, {"POST", "/api/v1/stop"}})
        EXPECT_EQ(stranger.call(method, QString::fromLatin1(path)).status, 401) << path;
    auto boss = manager();
    const QByteArray token = boss->csrf;
    boss->csrf.clear();
    Reply r = boss->call("POST", u"/api/v1/stop"_s);
    EXPECT_EQ(r.status, 403);
    EXPECT_TRUE(r.error().contains(u"CSRF"_s));
    boss->csrf = "forged";
    EXPECT_EQ(boss->call("POST", u"/api/v1/stop"_s).status, 403);
    boss->csrf = token;
    EXPECT_EQ(boss->call("POST", u"/api/v1/stop"_s).status, 200);

    Client viewer(server->port());
    ASSERT_EQ(viewer.login(kViewer).status, 200);
    EXPECT_EQ(viewer.call("GET", u"/api/v1/tasks"_s).status, 200);
    r = viewer.call("DELETE", u"/api/v1/tasks/早间新闻"_s);
    EXPECT_EQ(r.status, 403);
    EXPECT_EQ(r.error(), u"只读用户不能修改");
    EXPECT_EQ(station->tasks().rows().size(), 1);
}

TEST_F(WebServerTest, FiveWrongPasswordsInAMinuteMakeTheNextLoginsSlow)
{
    Client client(server->port());
    QElapsedTimer timer;
    for (int i = 0; i < WebServer::kFailuresBeforeSlow; ++i) {
        timer.start();
        EXPECT_EQ(client.login(u"guess%1"_s.arg(i)).status, 401);
        EXPECT_LT(timer.elapsed(), kSlowMs) << "attempt " << i;
    }
    timer.start();
    EXPECT_EQ(client.login(kManager).status, 200); // right, but slow all the same
    EXPECT_GE(timer.elapsed(), kSlowMs);
}

TEST_F(WebServerTest, StatusSaysWhatPlaysAndWhatComesNextAndPlayNowAndStopDriveThePlayer)
{
    auto boss = manager();
    Reply r = boss->call("GET", u"/api/v1/status"_s);
    ASSERT_EQ(r.status, 200);
    EXPECT_TRUE(r.json.value(u"running"_s).isNull());
    const QJsonObject next = r.json.value(u"next"_s).toObject();
    EXPECT_EQ(next.value(u"task"_s).toString(), u"早间新闻");
    EXPECT_EQ(next.value(u"time"_s).toString(), u"9:00:00");
    EXPECT_EQ(next.value(u"in"_s).toInt(), 10);

    tickAt("2026-11-23 09:00:00");
    r = boss->call("GET", u"/api/v1/status"_s);
    EXPECT_EQ(r.json[u"running"_s][u"task"_s].toString(), u"早间新闻");
    EXPECT_EQ(r.json[u"running"_s][u"item"_s].toString(), u"/news.mp3");

    EXPECT_EQ(boss->call("POST", u"/api/v1/stop"_s).status, 200);
    EXPECT_EQ(player.state(), MediaPlayer::State::Stopped);
    ASSERT_EQ(boss->call("POST", u"/api/v1/tasks/早间新闻/play"_s).status, 200);
    EXPECT_EQ(player.opened, QStringList(2, u"/news.mp3"_s));
    EXPECT_EQ(boss->call("GET", u"/api/v1/status"_s).json[u"running"_s][u"task"_s].toString(), u"早间新闻");
}

// Each write is read back by the data watcher before the next call, so that
// a reload of the file as it was cannot land on a later change.
TEST_F(WebServerTest, TasksAreAddedChangedAndDeletedThroughTheEditorAndTheStore)
{
    auto boss = manager();
    QSignalSpy reloads(&station->scheduler(), &Scheduler::tasksReloaded);
    const auto readBack = [&reloads] {
        ASSERT_TRUE(QTest::qWaitFor([&reloads] { return !reloads.isEmpty(); }, 5000));
        reloads.clear();
    };
    const QJsonObject task{{u"Name"_s, u"课间音乐"_s},  {u"Time"_s, u"10:00:00"_s},   {u"Duration"_s, u"10:10:00"_s},
                           {u"Type"_s, u"30000"_s},     {u"Device"_s, u"每周一三五"_s}, {u"Recurrence"_s, u"随机"_s},
                           {u"Remind"_s, u"开"_s},       {u"files"_s, QJsonArray{u"/m/a.mp3"_s, u"http://radio/x"_s}}};
    Reply r = boss->call("POST", u"/api/v1/tasks"_s, task);
    ASSERT_EQ(r.status, 201) << r.body.constData();
    EXPECT_EQ(r.json, task);
    EXPECT_EQ(station->tasks().rows().size(), 2);
    EXPECT_EQ(station->tasks().readMediaList(u"课间音乐"_s), (QStringList{u"/m/a.mp3"_s, u"http://radio/x"_s}));
    EXPECT_EQ(boss->call("GET", u"/api/v1/tasks/%E8%AF%BE%E9%97%B4%E9%9F%B3%E4%B9%90"_s).json, task);
    readBack();

    // A rename with only some fields keeps the rest, and the pictures of the list file.
    r = boss->call("PUT", u"/api/v1/tasks/早间新闻"_s, QJsonObject{{u"Name"_s, u"晨间新闻"_s}, {u"Time"_s, u"9:05:00"_s}});
    ASSERT_EQ(r.status, 200) << r.body.constData();
    EXPECT_EQ(r.json.value(u"Duration"_s).toString(), u"9:30:00");
    EXPECT_EQ(r.json.value(u"files"_s).toArray(), QJsonArray{u"/news.mp3"_s});
    EXPECT_EQ(station->tasks().readPictureList(u"晨间新闻"_s).paths, QStringList{u"/n/1.jpg"_s});
    EXPECT_FALSE(QFile::exists(d.file(u"早间新闻.ini"_s)));
    readBack();

    EXPECT_EQ(boss->call("DELETE", u"/api/v1/tasks/晨间新闻"_s).status, 200);
    EXPECT_EQ(station->tasks().rows().size(), 1);
    EXPECT_EQ(boss->call("GET", u"/api/v1/tasks/晨间新闻"_s).status, 404);
}

TEST_F(WebServerTest, VoiceBroadcastsAreAddedChangedAndDeletedThroughTheEditorAndTheStore)
{
    auto boss = manager();
    Reply r = boss->call("POST", u"/api/v1/broadcasts"_s,
                         QJsonObject{{u"name"_s, u"放学提醒"_s}, {u"text"_s, u"同学们，放学了"_s}, {u"start"_s, u"16:30:00"_s},
                                     {u"end"_s, u"17:00:00"_s}, {u"interval"_s, u"10"_s}, {u"priority"_s, u"3"_s},
                                     {u"week"_s, u"一二三四五"_s}, {u"dateStart"_s, u"2026/9/1"_s}, {u"dateEnd"_s, u"2027-1-20"_s}});
    ASSERT_EQ(r.status, 201) << r.body.constData();
    EXPECT_EQ(r.json.value(u"start"_s).toString(), u"16:30:03"); // the priority in the seconds' units digit
    ASSERT_EQ(station->broadcasts().tasks().size(), 2);
    EXPECT_EQ(d.text(u"放学提醒.ini"_s), u"同学们，放学了\r\n");

    // A rename with some fields keeps the rest; the old text file goes.
    r = boss->call("PUT", u"/api/v1/broadcasts/放学提醒"_s,
                   QJsonObject{{u"name"_s, u"放学通知"_s}, {u"frequency"_s, u"2"_s}});
    ASSERT_EQ(r.status, 200) << r.body.constData();
    EXPECT_EQ(r.json.value(u"text"_s).toString(), u"同学们，放学了");
    EXPECT_FALSE(QFile::exists(d.file(u"放学提醒.ini"_s)));
    EXPECT_EQ(station->broadcasts().find(u"放学通知"_s)->frequency, u"2");

    EXPECT_EQ(boss->call("DELETE", u"/api/v1/broadcasts/午间广播"_s).status, 200);
    EXPECT_EQ(station->broadcasts().tasks().size(), 1);
}

// A refusal comes with the windows' own words (their editors' checks, the
// first fault told) and leaves the data files as they were.
TEST_F(WebServerTest, RefusalsAnswerWithTheEditorsWordsAndChangeNothing)
{
    auto boss = manager();
    const QStringList files = {u"【SONG】.ini"_s, u"【TTS】.ini"_s};
    QList<QByteArray> before;
    for (const QString &f : files)
        before.append(d.bytes(f));
    const auto with = [](QJsonObject base, std::initializer_list<std::pair<QString, QJsonValue>> changes) {
        for (const auto &[key, value] : changes)
            base[key] = value;
        return QJsonDocument(base).toJson();
    };
    const auto task = [&with](std::initializer_list<std::pair<QString, QJsonValue>> changes) {
        return with({{u"Name"_s, u"新任务"_s}, {u"Time"_s, u"10:00:00"_s}, {u"Duration"_s, u"11:00:00"_s}}, changes);
    };
    const QString taken = u"该名称已存在，请查看音乐列表和语音列表的内容！"_s;
    const QByteArray voiceTaken = with({{u"name"_s, u"早间新闻"_s}, {u"text"_s, u"放学了"_s}, {u"start"_s, u"16:30:00"_s}}, {});
    struct Case { const char *method; QString path; QByteArray body; int status; QString error /* its beginning */; } cases[] = {
        // The editors' own checks come through with their words (each is tested with its editor).
        {"POST", u"tasks"_s, task({{u"Type"_s, u"0"_s}}), 400, u"音量设置不正确！"_s},
        {"POST", u"tasks"_s, task({{u"Name"_s, u"../../etc/passwd"_s}}), 400, u"任务名称不允许输入半角特殊字符包括  \" \\ / : * ? < > |"_s},
        {"POST", u"tasks"_s, task({{u"Name"_s, u"早间新闻"_s}}), 409, taken},
        {"POST", u"broadcasts"_s, voiceTaken, 409, taken},
        // The fields and the body's shape and size.
        {"POST", u"tasks"_s, task({{u"Time"_s, u"25:00:00"_s}}), 400, u"开始时间应为 时:分:秒，如 9:00:00"_s},
        {"POST", u"tasks"_s, task({{u"Volume"_s, u"1"_s}}), 400, u"未知字段：Volume"_s},
        {"POST", u"tasks"_s, R"({"Name":)", 400, u"JSON 格式错误"_s},
        {"POST", u"tasks"_s, QByteArray(WebServer::kMaxBody + 1, ' '), 413, u"请求内容超过 1 MB"_s},
        // A name that would leave the folder finds nothing and makes no path.
        {"DELETE", u"tasks/..%2F【SONG】"_s, {}, 404, u"没有这个任务"_s},
    };
    for (const Case &c : cases) {
        const Reply r = boss->call(c.method, u"/api/v1/"_s + c.path, c.body);
        const std::string what = c.method + (' ' + c.path.toStdString()) + ' ' + c.body.left(200).toStdString();
        EXPECT_EQ(r.status, c.status) << what;
        EXPECT_TRUE(r.error().startsWith(c.error)) << what << " → " << r.error().toStdString();
    }
    for (qsizetype i = 0; i < files.size(); ++i)
        EXPECT_EQ(d.bytes(files[i]), before[i]) << files[i].toStdString();
    EXPECT_EQ(station->tasks().rows().size(), 1);
    EXPECT_EQ(station->broadcasts().tasks().size(), 1);
    EXPECT_FALSE(logText().contains(u"远程：127.0.0.1 新增"_s));
}

// An announcement is taken while no emergency holds the voice. The emergency
// is started and cleared by a manager's session or by the alarm panel's
// bearer token alone.
TEST_F(WebServerTest, AnnouncementsAndTheEmergencyComeFromAManagerOrTheAlarmPanelsToken)
{
    auto boss = manager();
    Reply r = boss->call("POST", u"/api/v1/announce"_s, QJsonObject{{u"text"_s, u"请各班班长到办公室"_s}, {u"repeat"_s, 2}});
    ASSERT_EQ(r.status, 202) << r.body.constData();
    EXPECT_TRUE(station->broadcaster()->isBusy());
    EXPECT_EQ(station->broadcaster()->current().frequency, 2);
    tav::IniFile(DataDir(d.path()).control()).setValue(tav::EmergencySettings::kSection, u"报警系统令牌"_s,
                                                       quickHash(u"door-42"_s));
    Client viewer(server->port());
    ASSERT_EQ(viewer.login(kViewer).status, 200);
    EXPECT_EQ(viewer.call("POST", u"/api/v1/emergency"_s, QJsonObject{}).status, 403);
    Client panel(server->port());
    const auto bearer = [](const QByteArray &token) { return QList<QPair<QByteArray, QByteArray>>{{"Authorization", "Bearer " + token}}; };
    EXPECT_EQ(panel.call("POST", u"/api/v1/emergency"_s, QByteArray("{}"), bearer("door-41")).status, 401);
    EXPECT_EQ(panel.call("POST", u"/api/v1/emergency"_s, QByteArray("{}")).status, 401);
    EXPECT_FALSE(station->emergencyActive());

    r = panel.call("POST", u"/api/v1/emergency"_s, QByteArray(R"({"text":"请立即撤离"})"), bearer("door-42"));
    ASSERT_EQ(r.status, 202) << r.body.constData();
    EXPECT_TRUE(station->emergencyActive());
    EXPECT_TRUE(boss->call("GET", u"/api/v1/status"_s).json[u"emergency"_s][u"active"_s].toBool());
    EXPECT_EQ(boss->call("POST", u"/api/v1/announce"_s, QJsonObject{{u"text"_s, u"测试"_s}}).status, 409);
    EXPECT_EQ(boss->call("DELETE", u"/api/v1/emergency"_s).status, 200);
    EXPECT_FALSE(station->emergencyActive());
    ASSERT_EQ(boss->call("POST", u"/api/v1/emergency"_s, QJsonObject{}).status, 202);
    EXPECT_EQ(panel.call("DELETE", u"/api/v1/emergency"_s, QByteArray(), bearer("door-42")).status, 200);
    EXPECT_FALSE(station->emergencyActive());
}

TEST_F(WebServerTest, StopDatesHoursAndCaptionsGoThroughTheStationsStores)
{
    auto boss = manager();
    Reply r = boss->call("POST", u"/api/v1/stopdates"_s, QJsonObject{{u"date"_s, u"2026/11/23"_s}});
    ASSERT_EQ(r.status, 201) << r.body.constData();
    EXPECT_TRUE(station->scheduler().isStopDay()); // today: the schedule stops at once
    EXPECT_EQ(boss->call("DELETE", u"/api/v1/stopdates/2026%2F11%2F23"_s).status, 200);
    EXPECT_FALSE(station->scheduler().isStopDay());

    r = boss->call("PUT", u"/api/v1/hours"_s,
                   QJsonObject{{u"workingHours"_s, true}, {u"workStart"_s, u"9:10:00"_s}, {u"workEnd"_s, u"17:00:00"_s}});
    ASSERT_EQ(r.status, 200) << r.body.constData();
    EXPECT_TRUE(station->settings().isOn(Switch::WorkingHours));
    EXPECT_EQ(station->settings().workStart(), 9 * 3600 + 600);
    EXPECT_TRUE(station->tasks().today().isEmpty()); // the 9:00 task is outside the hours now
    EXPECT_TRUE(d.text(u"【CONTROL】.ini"_s).contains(u"[WEB]"_s)); // the settings' own section survives

    r = boss->call("POST", u"/api/v1/captions"_s,
                   QJsonObject{{u"content"_s, u"欢迎光临"_s}, {u"start"_s, u"8:00"_s}, {u"end"_s, u"18:00"_s}});
    ASSERT_EQ(r.status, 201) << r.body.constData();
    ASSERT_EQ(station->captions().rows().size(), 1);
    EXPECT_EQ(station->captions().rows()[0].start, u"08:00:00");
    EXPECT_EQ(boss->call("DELETE", u"/api/v1/captions/1"_s).status, 200);
    EXPECT_TRUE(station->captions().rows().isEmpty());
}

TEST_F(WebServerTest, ThePageAndTheMetricsHookAreServedWithoutALogin)
{
    Client browser(server->port());
    Reply r = browser.call("GET", u"/"_s);
    EXPECT_EQ(r.status, 200);
    EXPECT_TRUE(r.body.contains("<html lang=\"zh-CN\">"));
    EXPECT_TRUE(r.header("content-security-policy").contains("default-src 'self'"));
    EXPECT_EQ(browser.call("GET", u"/metrics"_s).status, 404);
    server->setMetricsProvider([] { return QByteArray("tav_up 1\n"); });
    r = browser.call("GET", u"/metrics"_s);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "tav_up 1\n");
}

// A body over the limit is refused from the request's head, before it is sent.
TEST_F(WebServerTest, AnOversizedBodyIsRefusedFromTheHeadAlone)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server->port());
    socket.write("POST /api/v1/login HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                 "Content-Length: 200000000\r\n\r\n{\"pass");
    QByteArray in;
    EXPECT_TRUE(QTest::qWaitFor([&] { return (in += socket.readAll()).contains("\r\n"); }, 5000));
    EXPECT_TRUE(in.startsWith("HTTP/1.1 413 Payload Too Large")) << in.constData();
}

// With a certificate and key, the console is served over TLS only.
TEST_F(WebServerTest, ACertificateAndKeyPairServesTheConsoleOverHttps)
{
    QTemporaryDir dir;
    const QString cert = dir.filePath(u"cert.pem"_s), key = dir.filePath(u"key.pem"_s);
    QProcess openssl;
    openssl.start(u"openssl"_s, {u"req"_s, u"-x509"_s, u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s,
                                 u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s, u"-days"_s, u"1"_s,
                                 u"-subj"_s, u"/CN=127.0.0.1"_s, u"-addext"_s, u"subjectAltName=IP:127.0.0.1"_s,
                                 u"-keyout"_s, key, u"-out"_s, cert});
    ASSERT_TRUE(openssl.waitForFinished(30000) && openssl.exitCode() == 0) << openssl.readAllStandardError().constData();
    WebSettings settings = WebSettings::load(DataDir(d.path()));
    settings.port = 0;
    settings.certificate = cert;
    settings.key = key;
    WebServer tls(*station, settings);
    QString error;
    ASSERT_TRUE(tls.start(&error)) << error.toStdString();
    QFile pem(cert);
    ASSERT_TRUE(pem.open(QIODevice::ReadOnly));
    Client browser(tls.port(), QSslCertificate(&pem, QSsl::Pem));
    const Reply r = browser.login(kManager);
    ASSERT_EQ(r.status, 200) << r.network.toStdString();
    EXPECT_TRUE(r.header("set-cookie").contains("; Secure"));
    EXPECT_EQ(browser.call("GET", u"/api/v1/status"_s).status, 200);
    EXPECT_EQ(Client(tls.port()).call("GET", u"/"_s).status, 0); // plain HTTP gets no page
}

#include "app/verbs.h"

#include "app/commandline.h"
#include "backup/filebackup.h"
#include "broadcast/broadcaster.h"
#include "broadcast/voice.h"
#include "broadcast/voices.h"
#include "broadcast/waveformat.h"
#include "broadcast/pinyin.h"
#include "broadcast/readingsynth.h"
#include "broadcast/zhreading.h"
#include "platform/mpvplayer.h"
#include "platform/speech.h"
#include "core/clock.h"
#include "core/datadir.h"
#include "core/secret.h"
#include "core/zhtext.h"
#include "platform/clocksetter.h"
#include "remote/websettings.h"
#include "shell/emergency.h"
#include "shell/singleinstance.h"
#include "shell/stationcommands.h"
#include "timesync/daytime.h"
#include "timesync/timehealth.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTextStream>

#include <cstdio>
#include <iostream>
#include <string>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

void say(const QString &line)
{
    std::fprintf(stdout, "%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

void complain(const QString &line)
{
    std::fprintf(stderr, "tavplayer: %s\n", line.toUtf8().constData());
}

QString dataFolder(const CommandLine &command)
{
    QString error;
    const QString dir = DataDir::resolve(command.value(u"data-dir"_s), &error);
    if (dir.isEmpty())
        complain(error);
    return dir;
}

// Progress on a terminal rewrites one line; into a file or pipe only the end shows.
FileBackup::Progress terminalProgress()
{
    if (!::isatty(STDOUT_FILENO))
        return {};
    return [](const QString &text, int) {
        std::fprintf(stdout, "\r%s\033[K", text.toUtf8().constData());
        std::fflush(stdout);
    };
}

void endProgressLine()
{
    if (::isatty(STDOUT_FILENO))
        std::fprintf(stdout, "\n");
}

QString signedSeconds(qint64 ms)
{
    return (ms >= 0 ? u"+"_s : QString()) + QString::number(ms / 1000.0, 'f', 1);
}

} // namespace

int syncTimeVerb(const CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString dir = dataFolder(command);
    if (dir.isEmpty())
        return 1;
    SystemClock clock;
    SystemClockSetter setter;
    DaytimeSync sync(clock, setter);
    if (command.isSet(u"daytime-server"_s))
        sync.setServers(command.values(u"daytime-server"_s));
    sync.setDryRun(command.isSet(u"dry-run"_s));
    bool taken = false;
    QObject::connect(&sync, &DaytimeSync::answered, [&taken](const DaytimeAnswer &a) {
        if (a.healthy && taken)
            say(u"%1：健康，%2，偏差 %3 秒（已有答复，忽略）"_s.arg(a.server, a.target.toString(u"yyyy-MM-dd hh:mm:ss"_s),
                                                               signedSeconds(a.offsetMs)));
        else if (a.healthy)
            say(u"%1：健康，%2，偏差 %3 秒"_s.arg(a.server, a.target.toString(u"yyyy-MM-dd hh:mm:ss"_s),
                                                   signedSeconds(a.offsetMs)));
        else
            say(u"%1：不采用（%2）"_s.arg(a.server, a.why));
    });
    QObject::connect(&sync, &DaytimeSync::finished, [&taken](bool good, bool, const DaytimeAnswer &) {
        taken = good;
    });
    QObject::connect(&sync, &DaytimeSync::message, [](const QString &m) { say(m.trimmed()); });
    bool ok = false;
    QEventLoop loop;
    QObject::connect(&sync, &DaytimeSync::finished, &loop,
                     [&](bool good, bool set, const DaytimeAnswer &answer) {
                         // A clock the system refused to set is a failure: nothing is recorded.
                         ok = good && (set || command.isSet(u"dry-run"_s));
                         if (good && set) {
                             TimeHealth health{DataDir(dir)};
                             health.load();
                             if (QString error; !health.record(answer, &error))
                                 complain(u"无法写入 %1：%2"_s.arg(DataDir(dir).control(), error));
                         }
                         loop.quit();
                     });
    if (!sync.start())
        return 1;
    loop.exec();
    // The other servers' answers are still listed, for a moment.
    QElapsedTimer waited;
    waited.start();
    while (ok && !sync.allAnswered() && waited.elapsed() < 1500)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    const ClockSetter::SyncState state = setter.syncState();
    if (state.known)
        say(state.automatic ? (state.synchronised ? u"系统自动校时：开启，已同步"_s : u"系统自动校时：开启，尚未同步"_s)
                            : u"系统自动校时：关闭"_s);
    return ok ? 0 : 1;
}

int backupVerb(const CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString dir = dataFolder(command);
    if (dir.isEmpty())
        return 1;
    const QString target = QDir(command.value(u"backup"_s)).absolutePath();
    // A nightly backup names a new folder each night: it is made here.
    if (!QFileInfo(target).exists() && !QDir().mkpath(target)) {
        complain(u"无法创建文件夹 %1"_s.arg(target));
        return 1;
    }
    if (const QString refused = FileBackup::check(dir, target); !refused.isEmpty()) {
        complain(refused);
        return 1;
    }
    const FileBackup::CopyResult r = FileBackup::backup(dir, target, terminalProgress());
    endProgressLine();
    for (const QString &failure : r.failed)
        complain(u"未能复制 "_s + failure);
    for (const QString &skipped : r.skipped)
        complain(u"跳过 "_s + skipped);
    say(u"已备份 %1 个文件到 %2%3%4"_s.arg(r.copied).arg(target,
        r.failed.isEmpty() ? QString() : u"，%1 个失败"_s.arg(r.failed.size()),
        r.skipped.isEmpty() ? QString() : u"，%1 个符号链接跳过"_s.arg(r.skipped.size())));
    return r.failed.isEmpty() ? 0 : 1;
}

int restoreVerb(const CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString dir = dataFolder(command);
    if (dir.isEmpty())
        return 1;
    // The station's lock is held for the whole restore: no station starts meanwhile.
    SingleInstance lock;
    if (!lock.lock(dir)) {
        complain(lock.heldElsewhere() ? u"电台正在使用数据文件夹 %1，请先退出再还原"_s.arg(dir) : lock.errorString());
        return 1;
    }
    for (const QString &line : FileBackup::recover(dir))
        say(line);
    const QString source = QDir(command.value(u"restore"_s)).absolutePath();
    if (const QString refused = FileBackup::check(source, dir); !refused.isEmpty()) {
        complain(refused);
        return 1;
    }
    SystemClock clock;
    const FileBackup::RestoreResult r = FileBackup::restore(source, dir, clock.now(), terminalProgress());
    endProgressLine();
    for (const QString &skipped : r.copy.skipped)
        complain(u"跳过 "_s + skipped);
    if (!r.error.isEmpty()) {
        complain(r.error);
        return 1;
    }
    say(u"已从 %1 还原 %2 个文件"_s.arg(source).arg(r.copy.copied));
    if (!r.setAside.isEmpty())
        say(u"原有文件已移到 %1；如需撤销：tavplayer --restore \"%1\""_s.arg(r.setAside));
    return 0;
}

int sayVerb(const CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    EspeakSynth espeak;
    ReadingSynth synth(espeak);
    // The reading needs no engine: only the names of its voices.
    if (!espeak.isAvailable() && !command.isSet(u"reading"_s)) {
        complain(u"语音引擎 espeak-ng 无法初始化"_s);
        return 1;
    }
    const VoiceCatalog voices(&synth);
    const QString asked = command.isSet(u"voice"_s) ? command.value(u"voice"_s) : QString::fromLatin1(VoiceCatalog::kDefault);
    bool known = true;
    const VoiceChoice choice = voices.resolve(asked, &known);
    if (!known)
        complain(u"找不到语音“%1”，改用 %2；可用的语音：%3"_s.arg(asked, choice.name, voices.names().join(u"、"_s)));
    SystemClock clock;
    const QString shown = Broadcaster::textToSpeak(command.value(u"say"_s), choice, clock.now());
    if (shown.trimmed().isEmpty()) {
        complain(u"朗读内容不能为空"_s);
        return 1;
    }
    if (command.isSet(u"reading"_s)) {
        const QString &error = pinyin::Dictionary::instance().error();
        if (!error.isEmpty()) {
            complain(error);
            return 1;
        }
        say(zhreading::forEngine(shown, choice.synthId).text);
        return 0;
    }
    const int rate = command.value(u"rate"_s).toInt();
    const int volume = command.isSet(u"volume"_s) ? command.value(u"volume"_s).toInt() : 100;

    if (command.isSet(u"wav"_s)) {
        WaveFormat format;
        WaveFormat::parse(command.isSet(u"format"_s) ? command.value(u"format"_s)
                                                     : QString::fromLatin1(WaveFormat::kDefault),
                          &format);
        SpeechAudio audio;
        QString error;
        if (!synth.synthesize(zhreading::forVoice(shown).text, choice.synthId, rate, &audio, &error)) {
            complain(error);
            return 1;
        }
        // The volume scales the samples, as the voice's volume would.
        auto *samples = reinterpret_cast<qint16 *>(audio.samples.data());
        for (qint64 i = 0; i < audio.frames(); ++i)
            samples[i] = qint16(samples[i] * volume / 100);
        const QString path = command.value(u"wav"_s);
        if (!writeWave(audio, format, path, &error)) {
            complain(u"无法写入 %1：%2"_s.arg(path, error));
            return 1;
        }
        say(u"合成语音文件成功保存! %1（%2，%3 秒）"_s.arg(path, command.isSet(u"format"_s) ? command.value(u"format"_s)
                                                                                            : QString::fromLatin1(WaveFormat::kDefault))
                .arg(QString::number(audio.durationMs() / 1000.0, 'f', 1)));
        return 0;
    }

    MpvPlayer player(QStringList{u"vid=no"_s} + command.values(u"player-option"_s));
    if (!player.isValid()) {
        complain(player.errorString());
        return 1;
    }
    Voice voice(synth, player);
    voice.setVoiceId(choice.synthId);
    voice.setRate(rate);
    voice.setVolume(volume);
    int rc = 0;
    QObject::connect(&voice, &Voice::failed, [&rc](const QString &error) {
        complain(error);
        rc = 1;
    });
    QObject::connect(&voice, &Voice::endStream, &app, &QCoreApplication::quit, Qt::QueuedConnection);
    say(shown);
    if (shown.right(20).toLower().contains(u".wav"_s)) {
        QString path = shown;
        voice.speak(path.remove(u'\r').remove(u'\n'), {.isFilename = true, .purge = false});
    } else {
        const zhreading::Reading reading = zhreading::forVoice(shown);
        voice.speak(reading.text, {}, reading.source);
    }
    app.exec();
    return rc;
}

int stationCommandVerb(const CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString dir = dataFolder(command);
    if (dir.isEmpty())
        return 1;
    QJsonObject request;
    const QString verb = command.verb();
    const QString value = command.value(verb);
    // A value naming a file is a sound file, given to the station by its absolute path.
    const bool file = !value.isEmpty() && QFileInfo(value).isFile();
    if (verb == u"emergency-clear") {
        request.insert(u"op"_s, verb);
    } else {
        request.insert(u"op"_s, verb);
        if (file)
            request.insert(u"file"_s, QFileInfo(value).absoluteFilePath());
        else if (!value.isEmpty())
            request.insert(u"text"_s, value);
    }
    if (verb == u"announce") {
        if (command.isSet(u"voice"_s))
            request.insert(u"voice"_s, command.value(u"voice"_s));
        if (command.isSet(u"repeat"_s))
            request.insert(u"repeat"_s, command.value(u"repeat"_s).toInt());
    }
    const StationCommands::Answer answer = StationCommands::send(SingleInstance::serverNameFor(dir), request);
    if (!answer.reached) {
        complain(u"没有播放站在这个数据文件夹上运行：%1"_s.arg(QDir::toNativeSeparators(dir)));
        return 1;
    }
    if (!answer.ok) {
        complain(answer.error);
        return 1;
    }
    say(verb == u"announce" ? u"播放站已接受插播"_s
        : verb == u"emergency" ? u"紧急广播已开始"_s
                               : u"紧急广播已解除"_s);
    return 0;
}

int emergencyTokenVerb(const CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString dir = dataFolder(command);
    if (dir.isEmpty())
        return 1;
    QString token = command.value(u"emergency-token"_s);
    if (token.isEmpty()) {
        if (::isatty(STDIN_FILENO))
            std::fprintf(stderr, "%s", u"报警系统令牌："_s.toUtf8().constData());
        token = QTextStream(stdin).readLine();
    }
    QString error;
    if (!EmergencySettings::setToken(DataDir(dir), token, &error)) {
        complain(error);
        return 1;
    }
    say(u"报警系统令牌已设置（只保存了散列值）"_s);
    return 0;
}

namespace {

// One line from standard input; on a terminal without echo.
bool readSecretLine(const QString &question, bool terminal, QString *line)
{
    termios saved{};
    if (terminal) {
        std::fprintf(stderr, "%s", question.toUtf8().constData());
        std::fflush(stderr);
        ::tcgetattr(STDIN_FILENO, &saved);
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    std::string text;
    const bool got = bool(std::getline(std::cin, text));
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        std::fprintf(stderr, "\n");
    }
    if (!text.empty() && text.back() == '\r')
        text.pop_back();
    *line = QString::fromUtf8(text);
    return got;
}

} // namespace

int webPasswordVerb(const CommandLine &command, int &argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString dir = dataFolder(command);
    if (dir.isEmpty())
        return 1;
    const bool viewer = command.isSet(u"viewer"_s);
    const bool terminal = ::isatty(STDIN_FILENO);
    QString password;
    if (!readSecretLine(viewer ? u"只读用户密码："_s : u"管理密码："_s, terminal, &password)) {
        complain(u"没有读到密码"_s);
        return 1;
    }
    if (terminal) {
        QString again;
        if (!readSecretLine(u"再输入一次："_s, terminal, &again) || again != password) {
            complain(u"两次输入的密码不一致，未修改"_s);
            return 1;
        }
    }
    if (password.isEmpty() && !viewer) {
        complain(u"管理密码不能为空"_s);
        return 1;
    }
    if (!password.isEmpty() && password.size() < 6) {
        complain(u"密码至少要 6 个字符"_s);
        return 1;
    }
    const DataDir data(dir);
    bool readable = true;
    WebSettings settings = WebSettings::load(data, &readable);
    if (!readable) {
        complain(u"无法读取 "_s + data.control());
        return 1;
    }
    (viewer ? settings.viewerHash : settings.managerHash) = password.isEmpty() ? QString() : hashSecret(password);
    if (QString error; !settings.save(data, &error)) {
        complain(u"无法保存 %1：%2"_s.arg(data.control(), error));
        return 1;
    }
    say(viewer ? (password.isEmpty() ? u"已取消只读用户"_s : u"已设置只读用户密码"_s) : u"已设置管理密码"_s);
    if (!settings.enabled)
        say(u"网页控制台尚未开启：运行时加 --web-port %1，或在控制台的设置中开启"_s.arg(settings.port));
    return 0;
}

} // namespace tav

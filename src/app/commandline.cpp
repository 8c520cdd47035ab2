#include "app/commandline.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

bool isNameValue(const QString &value)
{
    return value.indexOf(u'=') > 0;
}

bool isIntIn(const QString &value, int low, int high)
{
    bool ok = false;
    const int n = value.toInt(&ok);
    return ok && n >= low && n <= high;
}

bool isRate(const QString &value) { return isIntIn(value, -10, 10); }
bool isPercent(const QString &value) { return isIntIn(value, 0, 100); }
bool isRepeat(const QString &value) { return isIntIn(value, 1, 10); }
bool isWaveFormat(const QString &value)
{
    static const QRegularExpression pattern(u"^SAFT(8|11|12|16|22|24|32|44|48)kHz(8|16)Bit(Mono|Stereo)$"_s);
    return pattern.match(value).hasMatch();
}

bool isPort(const QString &value) { return isIntIn(value, 1, 65535); }
bool isLeadMs(const QString &value) { return isIntIn(value, 0, 5000); }

bool isDayCount(const QString &value)
{
    bool ok = false;
    const int days = value.toInt(&ok);
    return ok && days >= 1 && days <= 366;
}

// ADDR:PORT for a listener: IPv4, [IPv6], "*" or nothing, and a port.
bool isListenAddress(const QString &value)
{
    static const QRegularExpression pattern(u"^(\\*|\\[[0-9A-Fa-f:.]+\\]|[0-9]{1,3}(\\.[0-9]{1,3}){3})?:([0-9]{1,5})$"_s);
    const QRegularExpressionMatch match = pattern.match(value.trimmed());
    return match.hasMatch() && match.captured(3).toInt() <= 65535;
}

QString pick(Language language, const QString &zh, const QString &en)
{
    return language == Language::Chinese ? zh : en;
}

QString quoted(Language language, const QString &text)
{
    return language == Language::Chinese ? u"“"_s + text + u"”"_s : u"'"_s + text + u"'"_s;
}

QString dashed(const QString &name)
{
    return u"--"_s + name;
}

} // namespace

Language languageOf(const QProcessEnvironment &environment)
{
    for (const auto *name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QString value = environment.value(QString::fromLatin1(name));
        if (!value.isEmpty())
            return value.startsWith(u"zh"_s) ? Language::Chinese : Language::English;
    }
    return Language::English;
}

const QList<OptionEntry> &CommandLine::standardTable()
{
    static const QList<OptionEntry> table = {
        {.name = u"headless"_s,
         .with = {kStation},
         .helpZh = u"不开窗口，只运行定时播放，消息输出到标准输出"_s,
         .helpEn = u"run the schedule without windows; messages go to standard output"_s},
        {.name = u"data-dir"_s,
         .valueName = u"DIR"_s,
         .helpZh = u"数据文件夹（默认：安装后为 ~/.local/share/tavplayer，否则为程序所在的文件夹）"_s,
         .helpEn = u"the data folder (default: ~/.local/share/tavplayer when installed, else the program's own folder)"_s},
        {.name = u"player-option"_s,
         .valueName = u"NAME=VALUE"_s,
         .with = {kStation, u"say"_s},
         .repeatable = true,
         .helpZh = u"媒体引擎 mpv 的选项，可重复，如没有声卡时用 ao=null；ao-pcm-file=F 时播音和朗读另写 F-broadcast、F-voice"_s,
         .helpEn = u"an option for the mpv media engine, repeatable, e.g. ao=null without a sound device; with ao-pcm-file=F the broadcast and voice players write F-broadcast and F-voice"_s,
         .accepts = isNameValue},
        {.name = u"output-lead"_s,
         .valueName = u"MS"_s,
         .with = {kStation},
         .helpZh = u"备好的媒体和提示音提前多少毫秒放开，使其在整秒被听到（0–5000）；默认按媒体引擎测得的输出延迟，0 为整秒才放开；电视或功放另有延迟时填总延迟"_s,
         .helpEn = u"how many ms before its second a prepared item or tone is let go, so that it is heard on the second (0-5000); by default the output latency the media engine measures, 0 lets go on the second; give the whole delay when a TV or amplifier adds its own"_s,
         .accepts = isLeadMs},
        {.name = u"trace"_s,
         .valueName = u"FILE"_s,
         .with = {kStation},
         .helpZh = u"把任务和媒体的计时事件追加到文件（精确到毫秒）"_s,
         .helpEn = u"append timing events of tasks and media items to FILE, in milliseconds"_s},
        {.name = u"metrics-listen"_s,
         .valueName = u"ADDR:PORT"_s,
         .with = {kStation},
         .helpZh = u"本次运行在 ADDR:PORT 提供 /metrics（Prometheus 文本格式），如 127.0.0.1:9464、*:9464；覆盖【CONTROL】.ini 中 [METRICS] 的 Listen"_s,
         .helpEn = u"serve /metrics (Prometheus text format) on ADDR:PORT for this run, e.g. 127.0.0.1:9464 or *:9464; overrides Listen in [METRICS] of 【CONTROL】.ini"_s,
         .accepts = isListenAddress},
        {.name = u"agenda"_s,
         .kind = OptionEntry::Verb,
         .helpZh = u"列出今后几天（默认7天）每次开播的日期、时间、类别、名称，以及会播放还是不播放的原因，然后退出"_s,
         .helpEn = u"list every start of the coming days (7 by default): date, time, kind, name, and whether it will play or why not; then exit"_s},
        {.name = u"days"_s,
         .valueName = u"N"_s,
         .with = {u"agenda"_s},
         .helpZh = u"列出的天数，1 到 366"_s,
         .helpEn = u"how many days to list, 1 to 366"_s,
         .accepts = isDayCount},
        {.name = u"say"_s,
         .kind = OptionEntry::Verb,
         .valueName = u"TEXT"_s,
         .helpZh = u"朗读文字（先替换 %Time、%Date、%Week），或用 --wav 保存为声音文件，然后退出"_s,
         .helpEn = u"speak TEXT (%Time, %Date and %Week replaced first), or save it with --wav; then exit"_s},
        {.name = u"voice"_s,
         .valueName = u"NAME"_s,
         .with = {u"say"_s, u"announce"_s},
         .helpZh = u"朗读的声音，如 \"VW Hui\"（默认）、\"VW Liang\"、\"ScanSoft Sin-Ji_Full_22kHz\"（粤语）"_s,
         .helpEn = u"the voice, e.g. \"VW Hui\" (default), \"VW Liang\", \"ScanSoft Sin-Ji_Full_22kHz\" (Cantonese)"_s},
        {.name = u"rate"_s,
         .valueName = u"N"_s,
         .with = {u"say"_s},
         .helpZh = u"语速，-10 到 10，默认 0"_s,
         .helpEn = u"the rate, -10 to 10, 0 by default"_s,
         .accepts = isRate},
        {.name = u"volume"_s,
         .valueName = u"N"_s,
         .with = {u"say"_s},
         .helpZh = u"音量，0 到 100，默认 100"_s,
         .helpEn = u"the volume, 0 to 100, 100 by default"_s,
         .accepts = isPercent},
        {.name = u"wav"_s,
         .valueName = u"FILE"_s,
         .with = {u"say"_s},
         .helpZh = u"不出声，保存为 WAV 文件"_s,
         .helpEn = u"write a WAV file instead of speaking"_s},
        {.name = u"reading"_s,
         .with = {u"say"_s},
         .helpZh = u"不出声，打印语音引擎将得到的读法：普通话每个词为带声调数字的拼音，数字读成中文；[[ ]] 之间的文字照原样朗读"_s,
         .helpEn = u"print, without speaking, the text as the voice will get it: every Chinese word in pinyin with tone numbers, numbers in Chinese words; text between [[ and ]] is read as written"_s},
        {.name = u"format"_s,
         .valueName = u"SAFT…"_s,
         .with = {u"say"_s},
         .helpZh = u"WAV 文件的格式，如 SAFT22kHz16BitStereo（默认）、SAFT8kHz8BitMono"_s,
         .helpEn = u"the WAV file's format, e.g. SAFT22kHz16BitStereo (default), SAFT8kHz8BitMono"_s,
         .accepts = isWaveFormat},
        {.name = u"announce"_s,
         .kind = OptionEntry::Verb,
         .valueName = u"TEXT"_s,
         .helpZh = u"让这个数据文件夹上运行的播放站马上插播：朗读文字（或播放这个声音文件），排在正在进行的播音之后；播放站接受时退出状态为0"_s,
         .helpEn = u"have the station running on the data folder announce TEXT now (or play it when it names a sound file), after the broadcast in progress; exit 0 only when the station took it"_s},
        {.name = u"repeat"_s,
         .valueName = u"N"_s,
         .with = {u"announce"_s},
         .helpZh = u"朗读次数，1 到 10，默认 1"_s,
         .helpEn = u"how many readings, 1 to 10, 1 by default"_s,
         .accepts = isRepeat},
        {.name = u"emergency"_s,
         .kind = OptionEntry::Verb,
         .valueName = u"TEXT|FILE"_s,
         .helpZh = u"让运行中的播放站开始紧急广播：停下一切，全音量循环播放提示音和文字（默认：设置中的文字）或声音文件，全屏红色提示，直到解除；播放站接受时退出状态为0"_s,
         .helpEn = u"start the running station's emergency: everything stops, the tone and the text (the settings' text by default) or the sound file repeat at full volume with a red full-screen message until cleared; exit 0 only when the station took it"_s,
         .optionalValue = true},
        {.name = u"emergency-clear"_s,
         .kind = OptionEntry::Verb,
         .helpZh = u"解除运行中的播放站的紧急广播，定时节目照常继续；播放站接受时退出状态为0"_s,
         .helpEn = u"clear the running station's emergency; the schedule goes on; exit 0 only when the station took it"_s},
        {.name = u"emergency-token"_s,
         .kind = OptionEntry::Verb,
         .valueName = u"TOKEN"_s,
         .helpZh = u"设置报警系统发起紧急广播用的令牌（至少8个字符；不给时从标准输入读一行），只保存其散列值"_s,
         .helpEn = u"set the token alarm systems present to start an emergency (8 characters at least; read as a line from standard input when not given); only its hash is kept"_s,
         .optionalValue = true},
        {.name = u"sync-time"_s,
         .kind = OptionEntry::Verb,
         .helpZh = u"向网络时间服务器（Daytime，端口13）校时：列出每个答复及其健康状态和偏差，以及设置的时间；有健康答复时退出状态为0"_s,
         .helpEn = u"set the clock from network Daytime servers (port 13): list each answer with its health and offset and what was set; exit 0 only when a healthy answer came"_s},
        {.name = u"daytime-server"_s,
         .valueName = u"HOST[:PORT]"_s,
         .with = {u"sync-time"_s},
         .repeatable = true,
         .helpZh = u"改用这个时间服务器，可重复（默认：14个公共服务器）"_s,
         .helpEn = u"ask this server instead, repeatable (default: 14 public servers)"_s},
        {.name = u"dry-run"_s,
         .with = {u"sync-time"_s},
         .helpZh = u"只显示会设置的时间，不改动时钟"_s,
         .helpEn = u"only show the time that would be set; leave the clock alone"_s},
        {.name = u"backup"_s,
         .kind = OptionEntry::Verb,
         .valueName = u"DIR"_s,
         .helpZh = u"把数据文件夹中的全部 *.ini 和 *.txt 文件（含子文件夹）备份到 DIR，然后退出"_s,
         .helpEn = u"copy every *.ini and *.txt file of the data folder (with subfolders) to DIR, then exit"_s},
        {.name = u"restore"_s,
         .kind = OptionEntry::Verb,
         .valueName = u"DIR"_s,
         .helpZh = u"从 DIR 还原数据文件；原有文件先移到数据文件夹中的“还原前的文件_日期_时间”，可再从那里还原以撤销；电台运行时拒绝"_s,
         .helpEn = u"restore the data files from DIR; the files it replaces are moved to \"还原前的文件_date_time\" in the data folder first, to undo it from there; refused while a station runs on the folder"_s},
        {.name = u"web-port"_s,
         .valueName = u"N"_s,
         .with = {kStation},
         .helpZh = u"本次运行开启网页控制台，使用端口 N（设置中默认 8790）"_s,
         .helpEn = u"switch the web console on for this run, on port N (8790 by default in the settings)"_s,
         .accepts = isPort},
        {.name = u"web-listen"_s,
         .valueName = u"ADDR"_s,
         .with = {kStation},
         .helpZh = u"本次运行开启网页控制台，监听地址 ADDR（默认 127.0.0.1，只有本机可访问；0.0.0.0 对局域网开放）"_s,
         .helpEn = u"switch the web console on for this run, listening on ADDR (127.0.0.1 by default: this PC only; 0.0.0.0 opens it to the network)"_s},
        {.name = u"web-password"_s,
         .kind = OptionEntry::Verb,
         .helpZh = u"设置网页控制台的管理密码（在终端输入两次，或从标准输入读取一行），然后退出"_s,
         .helpEn = u"set the web console's manager password (typed twice on the terminal, or one line read from standard input), then exit"_s},
        {.name = u"viewer"_s,
         .with = {u"web-password"_s},
         .helpZh = u"改为设置只读用户的密码；空密码取消只读用户"_s,
         .helpEn = u"set the viewer's (read-only) password instead; an empty one removes the viewer"_s},
        {.name = kHelp,
         .kind = OptionEntry::Verb,
         .helpZh = u"显示本帮助后退出"_s,
         .helpEn = u"show this help and exit"_s,
         .shortName = u'h'},
        {.name = kVersion,
         .kind = OptionEntry::Verb,
         .helpZh = u"显示版本后退出"_s,
         .helpEn = u"show the version and exit"_s},
    };
    return table;
}

CommandLine::CommandLine(QList<OptionEntry> table) : m_table(std::move(table)) {}

const OptionEntry *CommandLine::find(const QString &name) const
{
    const auto it = std::find_if(m_table.cbegin(), m_table.cend(),
                                 [&name](const OptionEntry &entry) { return entry.name == name; });
    return it == m_table.cend() ? nullptr : &*it;
}

const OptionEntry *CommandLine::findShort(QChar c) const
{
    const auto it = std::find_if(m_table.cbegin(), m_table.cend(),
                                 [c](const OptionEntry &entry) { return !entry.shortName.isNull() && entry.shortName == c; });
    return it == m_table.cend() ? nullptr : &*it;
}

QString CommandLine::value(const QString &name) const
{
    const QStringList list = m_values.value(name);
    return list.isEmpty() ? QString() : list.last();
}

bool CommandLine::fail(const QString &message, Language language)
{
    m_error = pick(language, u"tavplayer：%1\n用 tavplayer --help 查看全部选项和动作。"_s,
                   u"tavplayer: %1\nRun 'tavplayer --help' to see every option and verb."_s)
                  .arg(message);
    return false;
}

bool CommandLine::parse(const QStringList &arguments, Language language)
{
    m_values.clear();
    m_verb = kStation;
    m_error.clear();

    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &arg = arguments.at(i);
        const OptionEntry *entry = nullptr;
        QString inlineValue;
        bool hasInlineValue = false;
        if (arg.startsWith(u"--"_s) && arg.size() > 2) {
            const qsizetype eq = arg.indexOf(u'=');
            const QString name = arg.mid(2, eq < 0 ? -1 : eq - 2);
            entry = find(name);
            if (eq >= 0) {
                hasInlineValue = true;
                inlineValue = arg.mid(eq + 1);
            }
        } else if (arg.size() == 2 && arg.at(0) == u'-' && arg.at(1) != u'-') {
            entry = findShort(arg.at(1));
        } else if (!arg.startsWith(u'-')) {
            return fail(pick(language, u"多余的参数%1"_s, u"unexpected argument %1"_s).arg(quoted(language, arg)),
                        language);
        }
        if (!entry)
            return fail(pick(language, u"未知选项%1"_s, u"unknown option %1"_s).arg(quoted(language, arg)), language);

        const QString option = dashed(entry->name);
        QString value;
        if (entry->valueName.isEmpty()) {
            if (hasInlineValue)
                return fail(pick(language, u"选项 %1 不带值"_s, u"option %1 takes no value"_s).arg(option), language);
        } else {
            if (hasInlineValue) {
                value = inlineValue;
            } else if (i + 1 < arguments.size() && !arguments.at(i + 1).startsWith(u"--"_s)) {
                value = arguments.at(++i);
            }
            if (value.isEmpty() && !entry->optionalValue)
                return fail(pick(language, u"选项 %1 需要一个值：%2"_s, u"option %1 needs a value: %2"_s)
                                .arg(option, entry->valueName),
                            language);
            if (entry->accepts && !value.isEmpty() && !entry->accepts(value))
                return fail(pick(language, u"选项 %1 的值应为 %2 的形式，而不是%3"_s,
                                 u"option %1 needs a value of the form %2, not %3"_s)
                                .arg(option, entry->valueName, quoted(language, value)),
                            language);
            if (!entry->repeatable && m_values.contains(entry->name))
                return fail(pick(language, u"选项 %1 只能给一次"_s, u"option %1 may be given only once"_s).arg(option),
                            language);
        }
        m_values[entry->name].append(value);
    }
    return checkCombination(language);
}

// One verb at a time (help and version win over the others), and every
// option only with the verbs it goes with.
bool CommandLine::checkCombination(Language language)
{
    QStringList verbs;
    for (const OptionEntry &entry : std::as_const(m_table))
        if (entry.kind == OptionEntry::Verb && m_values.contains(entry.name))
            verbs.append(entry.name);
    if (verbs.contains(kHelp)) {
        m_verb = kHelp;
        return true;
    }
    if (verbs.contains(kVersion)) {
        m_verb = kVersion;
        return true;
    }
    if (verbs.size() > 1)
        return fail(pick(language, u"%1 和 %2 不能同时使用"_s, u"%1 and %2 cannot be used together"_s)
                        .arg(dashed(verbs.at(0)), dashed(verbs.at(1))),
                    language);
    m_verb = verbs.isEmpty() ? kStation : verbs.first();

    for (const OptionEntry &entry : std::as_const(m_table)) {
        if (entry.kind == OptionEntry::Verb || !m_values.contains(entry.name) || entry.with.isEmpty()
            || entry.with.contains(m_verb))
            continue;
        const QString option = dashed(entry.name);
        if (m_verb != kStation)
            return fail(pick(language, u"选项 %1 不能与 %2 一起使用"_s, u"option %1 cannot be used with %2"_s)
                            .arg(option, dashed(m_verb)),
                        language);
        QStringList owners;
        for (const QString &verb : entry.with)
            owners.append(dashed(verb));
        return fail(pick(language, u"选项 %1 只能与 %2 一起使用"_s, u"option %1 only goes with %2"_s)
                        .arg(option, owners.join(u" / "_s)),
                    language);
    }
    return true;
}

QString CommandLine::helpText(Language language) const
{
    const bool zh = language == Language::Chinese;
    struct Line
    {
        QString syntax;
        QString text;
    };
    QList<Line> station;
    QList<Line> verbs;

    auto syntaxOf = [](const OptionEntry &entry, int indent) {
        QString s(indent, u' ');
        if (!entry.shortName.isNull())
            s += u'-' + entry.shortName + u", "_s;
        s += dashed(entry.name);
        if (!entry.valueName.isEmpty())
            s += entry.optionalValue ? QString(u" ["_s + entry.valueName + u']') : QString(u' ' + entry.valueName);
        return s;
    };
    auto textOf = [zh](const OptionEntry &entry) { return zh ? entry.helpZh : entry.helpEn; };

    for (const OptionEntry &entry : m_table) {
        if (entry.kind == OptionEntry::Verb) {
            verbs.append({syntaxOf(entry, 2), textOf(entry)});
            // The verb's own options follow it, a step further in.
            for (const OptionEntry &own : m_table)
                if (own.kind == OptionEntry::Option && !own.with.contains(kStation) && own.with.value(0) == entry.name)
                    verbs.append({syntaxOf(own, 4), textOf(own)});
        } else if (entry.with.isEmpty() || entry.with.contains(kStation)) {
            station.append({syntaxOf(entry, 2), textOf(entry)});
        }
    }

    qsizetype width = 0;
    for (const auto *lines : {&station, &verbs})
        for (const Line &line : *lines)
            width = std::max(width, line.syntax.size());
    auto render = [width](const QList<Line> &lines) {
        QString out;
        for (const Line &line : lines)
            out += line.syntax.leftJustified(width + 2) + line.text + u'\n';
        return out;
    };

    QString out = u"Tavrel多媒体定时播放系统 "_s + QStringLiteral(TAV_VERSION) + u"\n\n"_s;
    out += zh ? u"用法：tavplayer [选项…]         运行定时播放（有显示器时打开主窗口）\n"
                u"      tavplayer --动作 [选项…]  完成一个动作后退出\n\n"
                u"运行定时播放的选项：\n"_s
              : u"Usage: tavplayer [OPTION…]         run the station (in its window where a display exists)\n"
                u"       tavplayer --VERB [OPTION…]  do one thing and exit\n\n"
                u"Options for running the station:\n"_s;
    out += render(station);
    out += zh ? u"\n动作：\n"_s : u"\nVerbs:\n"_s;
    out += render(verbs);
    out += zh ? u"\n退出状态：0 完成，1 执行失败，2 命令行有误。\n"_s
              : u"\nExit status: 0 done, 1 the work failed, 2 the command line was wrong.\n"_s;
    return out;
}

QString CommandLine::versionText()
{
    return u"tavplayer "_s + QStringLiteral(TAV_VERSION) + u'\n';
}

} // namespace tav

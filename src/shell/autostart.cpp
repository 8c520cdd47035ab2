#include "shell/autostart.h"

#include "core/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStandardPaths>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kGroup = u"[Desktop Entry]"_s;

// Characters that force an Exec argument into double quotes.
bool isReserved(QChar c)
{
    static const QString reserved = u" \t\n\"'\\><~|&;$*?#`=()"_s;
    return reserved.contains(c);
}

// Inside double quotes these four are preceded by a backslash.
bool needsQuoteEscape(QChar c)
{
    return c == u'"' || c == u'`' || c == u'$' || c == u'\\';
}

QString quoteArgument(const QString &arg)
{
    QString out;
    const bool quote = arg.isEmpty() || std::any_of(arg.begin(), arg.end(), isReserved);
    if (quote)
        out += u'"';
    for (const QChar c : arg) {
        if (quote && needsQuoteEscape(c))
            out += u'\\';
        if (c == u'%')
            out += u'%'; // a literal percent sign is doubled, even inside quotes
        out += c;
    }
    if (quote)
        out += u'"';
    return out;
}

// The string-value escapes of desktop entries, applied over the Exec quoting.
QString escapeValue(const QString &text)
{
    QString out;
    out.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (c == u'\\')
            out += u"\\\\"_s;
        else if (c == u'\n')
            out += u"\\n"_s;
        else if (c == u'\t')
            out += u"\\t"_s;
        else if (c == u'\r')
            out += u"\\r"_s;
        else
            out += c;
    }
    return out;
}

QString unescapeValue(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != u'\\' || i + 1 == text.size()) {
            out += c;
            continue;
        }
        const QChar next = text.at(++i);
        switch (next.unicode()) {
        case u's': out += u' '; break;
        case u'n': out += u'\n'; break;
        case u't': out += u'\t'; break;
        case u'r': out += u'\r'; break;
        case u'\\': out += u'\\'; break;
        default: // not a string escape: left for the Exec quoting rules
            out += c;
            out += next;
        }
    }
    return out;
}

// A field code standing alone ("%f", "%U" …) expands to nothing here.
bool isFieldCode(const QString &token)
{
    return token.size() == 2 && token.at(0) == u'%' && token.at(1) != u'%';
}

// The keys of the [Desktop Entry] group, first occurrence wins; locale
// variants ("Name[zh_CN]") are skipped.
QHash<QString, QString> readEntry(const QString &path)
{
    QHash<QString, QString> keys;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return keys;
    const QString text = QString::fromUtf8(file.readAll());
    bool inGroup = false;
    for (QString line : text.split(u'\n')) {
        line = line.trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (line.startsWith(u'[')) {
            inGroup = line == kGroup;
            continue;
        }
        const qsizetype eq = line.indexOf(u'=');
        if (!inGroup || eq <= 0)
            continue;
        const QString key = line.left(eq).trimmed();
        if (!keys.contains(key))
            keys.insert(key, line.mid(eq + 1).trimmed());
    }
    return keys;
}

} // namespace

QString AutoStart::defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
           + u"/autostart"_s;
}

AutoStart::AutoStart(QString folder) : m_folder(std::move(folder)) {}

QString AutoStart::entryPath() const
{
    return m_folder + u'/' + kEntryName;
}

QString AutoStart::execLine(const QStringList &arguments)
{
    QStringList quoted;
    quoted.reserve(arguments.size());
    for (const QString &arg : arguments)
        quoted.append(quoteArgument(arg));
    return escapeValue(quoted.join(u' '));
}

QStringList AutoStart::parseExec(const QString &value)
{
    const QString text = unescapeValue(value);
    QStringList args;
    QString current;
    bool inToken = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == u' ' || c == u'\t') {
            if (inToken)
                args.append(current);
            current.clear();
            inToken = false;
            continue;
        }
        inToken = true;
        if (c != u'"') {
            current += c;
            continue;
        }
        bool closed = false;
        for (++i; i < text.size(); ++i) {
            const QChar q = text.at(i);
            if (q == u'"') {
                closed = true;
                break;
            }
            if (q == u'\\' && i + 1 < text.size() && needsQuoteEscape(text.at(i + 1)))
                ++i;
            current += text.at(i);
        }
        if (!closed)
            return {};
    }
    if (inToken)
        args.append(current);

    QStringList result;
    for (QString &arg : args) {
        if (isFieldCode(arg))
            continue;
        result.append(arg.replace(u"%%"_s, u"%"_s));
    }
    return result;
}

bool AutoStart::setEnabled(bool on, const QString &exePath, const QString &dataDir)
{
    m_error.clear();
    if (!on) {
        const QString path = entryPath();
        if (QFileInfo::exists(path) && !QFile::remove(path)) {
            m_error = u"无法删除自动启动项：%1"_s.arg(path);
            return false;
        }
        return true;
    }

    if (exePath.isEmpty()) {
        m_error = u"程序路径为空，无法设置自动启动"_s;
        return false;
    }
    if (!QDir().mkpath(m_folder)) {
        m_error = u"无法创建自动启动文件夹：%1"_s.arg(m_folder);
        return false;
    }
    QStringList command{QFileInfo(exePath).absoluteFilePath()};
    if (!dataDir.isEmpty())
        command << u"--data-dir"_s << QFileInfo(dataDir).absoluteFilePath();

    const QString entry = kGroup + u"\n"_s
                          + u"Type=Application\n"_s
                          + u"Name=Tavrel多媒体定时播放系统\n"_s
                          + u"Exec="_s + execLine(command) + u'\n'
                          + u"Terminal=false\n"_s
                          + u"X-GNOME-Autostart-enabled=true\n"_s;
    QString why;
    if (!writeFileAtomically(entryPath(), entry.toUtf8(), &why)) {
        m_error = u"无法写入自动启动项 %1：%2"_s.arg(entryPath(), why);
        return false;
    }
    const QString legacy = m_folder + u'/' + kLegacyEntryName;
    if (QFileInfo::exists(legacy) && !QFile::remove(legacy)) {
        m_error = u"无法删除旧的自动启动项：%1"_s.arg(legacy);
        return false;
    }
    return true;
}

bool AutoStart::isEnabled() const
{
    const QHash<QString, QString> keys = readEntry(entryPath());
    if (keys.value(u"Hidden"_s) == u"true"_s)
        return false;
    if (keys.value(u"X-GNOME-Autostart-enabled"_s) == u"false"_s)
        return false;
    return !parseExec(keys.value(u"Exec"_s)).isEmpty();
}

QString AutoStart::registeredPath() const
{
    return parseExec(readEntry(entryPath()).value(u"Exec"_s)).value(0);
}

} // namespace tav

#include "fakes/fakes.h"

#include "core/ini.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QThread>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace tav::test {

void FakePlayer::open(const QString &url)
{
    opened.append(url);
    if (std::exchange(m_held, false) && url == m_url && m_state == State::Playing)
        return; // let go ahead of its second: it goes on
    m_url = url;
    progress = -1;
    setState(State::Loading);
}

void FakePlayer::setState(State s)
{
    if (s == State::Stopped)
        m_held = false;
    if (s == m_state)
        return;
    m_state = s;
    emit stateChanged(s);
}

bool FakeSynth::synthesize(const QString &text, const QString &voiceId, int, SpeechAudio *out, QString *error)
{
    ++running;
    const auto done = qScopeGuard([this] { --running; });
    if (delayMs > 0)
        QThread::msleep(delayMs);
    {
        std::lock_guard guard(m_lock);
        m_texts.append(text);
        m_voices.append(voiceId);
        if (!refusal.isEmpty()) {
            *error = refusal;
            return false;
        }
    }
    *out = SpeechAudio();
    out->sampleRate = 8000;
    out->samples = QByteArray(text.size() * kMsPerChar * 8 * 2, '\0');
    bool sentenceStarts = true;
    for (int i = 0; i < text.size(); ++i) {
        if (sentenceStarts)
            out->marks.append({SpeechMark::Kind::Sentence, i, 1, i * kMsPerChar});
        out->marks.append({SpeechMark::Kind::Word, i, 1, i * kMsPerChar});
        sentenceStarts = text[i] == u'。';
    }
    return true;
}

qint64 residentKb()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine())
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

void ScriptedPrompt::askLater(const QString &title, const QString &text, bool defaultAnswer,
                              const QObject *context, Answer answered)
{
    if (!holdQuestions) {
        Prompt::askLater(title, text, defaultAnswer, context, std::move(answered));
        return;
    }
    shown.append(title + u'|' + text);
    const QPointer<const QObject> alive(context);
    m_open.append([alive, answered](bool yes) {
        if (alive && answered)
            answered(yes);
    });
}

void DataFolder::write(const QString &name, const QString &text) const
{
    writeBytes(name, toGbk(QString(text).replace(u"\r\n"_s, u"\n"_s).replace(u'\n', u"\r\n"_s)));
}

void DataFolder::writeBytes(const QString &name, const QByteArray &bytes) const
{
    QFile f(file(name));
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(bytes);
}

QByteArray DataFolder::readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QString DataFolder::text(const QString &name) const
{
    return fromGbk(bytes(name));
}

QDateTime at(const char *text)
{
    return QDateTime::fromString(QString::fromLatin1(text), u"yyyy-MM-dd HH:mm:ss"_s);
}

QString taskSection(int n, const TaskText &t)
{
    return u"[FileInfo%1]\nName=%2\nTime=%3\nDuration=%4\nType=%5\nDevice=%6\nRecurrence=%7\nRemind=%8\n"_s.arg(n).arg(
        t.name, t.start, t.end, t.volume, t.days, t.order, t.timed);
}

QString mediaList(const QStringList &media)
{
    QString list = u"[多媒体文件数量]\n数量=%1\n[歌曲]\n"_s.arg(media.size());
    for (qsizetype i = 0; i < media.size(); ++i)
        list += u"歌曲名称%1=%2\n"_s.arg(i).arg(media.at(i));
    return list;
}

void put(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly)) << path.toStdString();
    f.write(bytes);
}

QByteArray bytesOf(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

} // namespace tav::test

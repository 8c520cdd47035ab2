#pragma once

// The real program run to its end, as the command-line tests and the
// headless station's tests call it.
#include <QProcess>
#include <QTest>

#include <gtest/gtest.h>

namespace tav::test {

struct Answer
{
    int exitCode = -1;
    QString out, err;
};

// Runs the built tavplayer with `env` while this thread's event loop keeps
// serving; `input` is its standard input. A run past 30 seconds is killed
// and fails the test.
inline Answer runProgram(const QStringList &args, const QProcessEnvironment &env = QProcessEnvironment::systemEnvironment(),
                         const QByteArray &input = {})
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QString::fromUtf8(TAVPLAYER_BIN), args);
    p.write(input);
    p.closeWriteChannel();
    if (!QTest::qWaitFor([&] { return p.state() == QProcess::NotRunning; }, 30000)) {
        p.kill();
        p.waitForFinished();
        ADD_FAILURE() << "tavplayer did not finish";
        return {};
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError())};
}

} // namespace tav::test

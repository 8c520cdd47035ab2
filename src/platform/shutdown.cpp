#include "platform/shutdown.h"

#include <QProcess>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

bool runShutdown(const QStringList &args, QString *error)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"shutdown"_s, args);
    if (!process.waitForStarted(5000)) {
        if (error)
            *error = process.errorString();
        return false;
    }
    process.waitForFinished(10000);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        if (error)
            *error = QString::fromLocal8Bit(process.readAll()).trimmed();
        return false;
    }
    return true;
}

} // namespace

bool SystemShutdown::schedule(QString *error)
{
    return runShutdown({u"-h"_s, u"+1"_s}, error);
}

bool SystemShutdown::cancel(QString *error)
{
    return runShutdown({u"-c"_s}, error);
}

} // namespace tav

// A task's list file on any bytes: the media and picture lists load without
// crashing or spinning, hold no empty path and no more than a list box can.
#include "core/datadir.h"
#include "core/settings.h"
#include "fuzzcheck.h"
#include "scheduler/taskstore.h"

#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryDir folder;
    static const tav::DataDir dir(folder.path());
    static const tav::Settings settings(dir);
    static const tav::TaskStore store(dir, settings);
    QFile list(dir.taskListFile(u"早操"_s));
    FUZZ_CHECK(list.open(QIODevice::WriteOnly | QIODevice::Truncate));
    list.write(reinterpret_cast<const char *>(data), qint64(size));
    list.close();

    const QStringList media = store.readMediaList(u"早操"_s);
    FUZZ_CHECK(media.size() <= 32767 && !media.contains(QString()));
    FUZZ_CHECK(store.readPictureList(u"早操"_s).paths.size() <= 32767);
    return 0;
}

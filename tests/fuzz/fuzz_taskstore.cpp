// The task file on any bytes: the load never crashes, no task's list file
// lies outside the data folder, and the gapless rewrite loads the same tasks.
#include "core/datadir.h"
#include "core/settings.h"
#include "fuzzcheck.h"
#include "scheduler/taskstore.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryDir folder;
    static const tav::DataDir dir(folder.path());
    static const tav::Settings settings(dir);
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QFile song(dir.song());
    FUZZ_CHECK(song.open(QIODevice::WriteOnly | QIODevice::Truncate));
    song.write(bytes);
    song.close();

    tav::TaskStore store(dir, settings);
    store.load(QDate(2026, 11, 23), true);
    QStringList names, after;
    for (const tav::TaskRecord &r : store.rows()) {
        FUZZ_CHECK(!r.name.isEmpty());
        names.append(r.name);
        const QString list = store.listFileOf(r.name);
        FUZZ_CHECK(list.isEmpty() || QFileInfo(list).absolutePath() == QFileInfo(folder.path()).absoluteFilePath());
    }
    // The rewrite closed any gap and lost no task it had loaded, but for the
    // kept limit of the section-name block: only the tasks whose
    // "FileInfo<n>" names fit its 2020 bytes load again.
    tav::TaskStore reloaded(dir, settings);
    reloaded.load(QDate(2026, 11, 23));
    for (const tav::TaskRecord &r : reloaded.rows())
        after.append(r.name);
    qsizetype fit = 0;
    for (qsizetype block = 0; fit < names.size(); ++fit)
        if ((block += QByteArray("FileInfo" + QByteArray::number(fit + 1)).size() + 1) >= 2019)
            break;
    FUZZ_CHECK(after == names.mid(0, after.size()));
    FUZZ_CHECK(after.size() == names.size() || after.size() >= fit);
    // Nothing was made outside the folder or beside it.
    for (const QString &entry : QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden))
        FUZZ_CHECK(entry == u"【SONG】.ini"_s);
    return 0;
}

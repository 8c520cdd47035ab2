// Runs a fuzz target without libFuzzer: every seed file given, then a fixed
// number of mutations of them from a fixed random seed, so the run is the
// same every time. Usage: TARGET [-runs=N] SEED_FILE_OR_DIR...
#include <QCoreApplication>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

int run(const QByteArray &bytes)
{
    return LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
}

// One to eight edits: a flipped bit, a random byte, a run dropped, a token of
// the formats, a piece of another seed, a piece repeated.
QByteArray mutate(QByteArray bytes, const QList<QByteArray> &seeds, QRandomGenerator &random)
{
    static const QList<QByteArray> tokens = {"[", "]", "=", "\r\n", "\n", "\r", "\"", "'", ";", "FileInfo",
                                             "Name", "0x", "-", "\xef\xbb\xbf", "\xff\xfe", "\x81", "\xb7\xfe",
                                             "\0", "../", "/", "\\", "多媒体文件数量", "数量=", "歌曲名称"};
    for (int edits = 1 + random.bounded(8); edits > 0; --edits) {
        const qsizetype at = bytes.isEmpty() ? 0 : random.bounded(bytes.size() + 1);
        const QByteArray &other = seeds[random.bounded(seeds.size())];
        switch (random.bounded(6)) {
        case 0:
            if (!bytes.isEmpty())
                bytes[at % bytes.size()] = char(bytes[at % bytes.size()] ^ (1 << random.bounded(8)));
            break;
        case 1:
            bytes.insert(at, char(random.bounded(256)));
            break;
        case 2:
            bytes.remove(at, random.bounded(16));
            break;
        case 3:
            bytes.insert(at, tokens[random.bounded(tokens.size())]);
            break;
        case 4:
            if (!other.isEmpty())
                bytes.insert(at, other.mid(random.bounded(other.size()), random.bounded(64)));
            break;
        default:
            bytes.insert(at, bytes.mid(at, random.bounded(32)).repeated(1 + random.bounded(4)));
        }
    }
    return bytes.left(1 << 16);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    int runs = 3000;
    QList<QByteArray> seeds;
    for (const QString &arg : app.arguments().mid(1)) {
        if (arg.startsWith(u"-runs=")) {
            runs = arg.mid(6).toInt();
            continue;
        }
        QStringList files{arg};
        if (QFileInfo(arg).isDir())
            for (QDirIterator it(arg, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
                files.append(it.next());
        files.sort();
        for (const QString &file : files)
            if (QFile f(file); QFileInfo(file).isFile() && f.open(QIODevice::ReadOnly))
                seeds.append(f.readAll());
    }
    if (seeds.isEmpty())
        seeds.append(QByteArray());
    for (const QByteArray &seed : std::as_const(seeds))
        run(seed);
    QRandomGenerator random(20261125);
    for (int i = 0; i < runs; ++i)
        run(mutate(seeds[random.bounded(seeds.size())], seeds, random));
    std::printf("%lld seeds and %d mutations ran clean\n", static_cast<long long>(seeds.size()), runs);
    return 0;
}

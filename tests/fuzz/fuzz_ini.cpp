// The INI reader and writer on any bytes: nothing crashes, a file written
// back reads the same, an edited value reads back as written, and the
// profile answers stay within their buffers.
#include "core/ini.h"
#include "fuzzcheck.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using tav::IniDocument;

namespace {

// Every section's keys and values, as a reader of the file sees them.
QStringList readings(const IniDocument &doc)
{
    QStringList out;
    QStringList sections = doc.sectionNames();
    sections.prepend(QString());
    for (const QString &s : sections)
        for (const QString &k : doc.keys(s))
            out.append(s + u'\n' + k + u'\n' + doc.value(s, k));
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    IniDocument doc = IniDocument::fromBytes(bytes);

    // Written back and read again, the file says the same; a second round
    // trip changes no byte.
    const QByteArray written = doc.toBytes();
    const IniDocument again = IniDocument::fromBytes(written);
    FUZZ_CHECK(readings(again) == readings(doc));
    FUZZ_CHECK(again.toBytes() == written);

    // The profile answers fit their buffers.
    // An empty name only where the file has a section "[]" or a name with a
    // NUL byte in it (the block splits it there, as the Windows one does).
    const QStringList sections = doc.sectionNames();
    const bool emptySection = std::any_of(sections.begin(), sections.end(),
                                          [](const QString &n) { return n.isEmpty() || n.contains(QChar(0)); });
    for (const QString &s : tav::profileSectionNames(doc, 2020))
        FUZZ_CHECK(!s.isEmpty() || emptySection);
    // The names with their NULs fill at most size - 1 bytes: a block cut to
    // size - 2 ends on a name cut short, whose NUL comes after.
    qsizetype block = 0;
    for (const QString &s : tav::profileSectionNames(doc, 2020))
        block += tav::gbkLength(s) + 1;
    FUZZ_CHECK(block <= 2019);
    for (const QString &s : doc.sectionNames().mid(0, 8))
        for (const QString &k : doc.keys(s).mid(0, 8)) {
            FUZZ_CHECK(tav::gbkLength(tav::profileString(doc, s, k, 100)) <= 99);
            tav::profileInt(doc, s, k, 1);
        }

    // An edit with a value made of the input reads back as the same bytes (a
    // value keeps no line break and no blanks or quotes at its ends; a byte
    // kept from a broken character may pair with its new neighbour, so the
    // bytes are compared, not the text).
    QString value = tav::fromGbk(bytes.left(64));
    value = value.remove(u'"').remove(u'\'').simplified();
    doc.setValue(u"FileInfo1"_s, u"Name"_s, value);
    const IniDocument edited = IniDocument::fromBytes(doc.toBytes());
    // (A file with a UTF-8 or UTF-16 mark holds text, not GBK bytes.)
    const bool unicode = bytes.startsWith("\xEF\xBB\xBF") || bytes.startsWith("\xFF\xFE");
    FUZZ_CHECK(unicode || tav::toGbk(edited.value(u"FileInfo1"_s, u"Name"_s)) == tav::toGbk(value));
    doc.removeSection(u"FileInfo1"_s);
    return 0;
}

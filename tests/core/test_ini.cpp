#include "core/ini.h"
#include "fakes/fakes.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::Class1;
using tav::test::DataFolder;

namespace {

Class1 iniOn(const DataFolder &d, const QString &name)
{
    Class1 ini(d.path());
    ini.SpecifyIni(d.file(name));
    return ini;
}

} // namespace

// The buffer cuts at the byte, as the profile function does.
TEST(Class1, ReadStringCutsAtTheByte)
{
    DataFolder d;
    d.write(u"zh.ini"_s, u"[zh]\nk=服务厅大屏\n"_s);
    Class1 ini = iniOn(d, u"zh.ini"_s);
    EXPECT_EQ(ini.ReadString(u"zh"_s, u"k"_s, 7), u"服务厅");
    // Cut inside 厅: its lead byte stays, and is written back as it was.
    EXPECT_EQ(tav::toGbk(ini.ReadString(u"zh"_s, u"k"_s, 6)), tav::toGbk(u"服务厅"_s).left(5));
}

TEST(Class1, WritesGbkWithCrlfAndDeletesSectionsAndKeys)
{
    DataFolder d;
    Class1 ini = iniOn(d, u"t.ini"_s);
    ASSERT_TRUE(ini.WriteString(u"FileInfo1"_s, u"Name"_s, u"服务厅大屏视频演示"_s));
    ASSERT_TRUE(ini.WriteString(u"FileInfo1"_s, u"Time"_s, u"9:00:00"_s));
    ASSERT_TRUE(ini.WriteString(u"FileInfo2"_s, u"Name"_s, u"b"_s));
    ASSERT_TRUE(ini.WriteString(u"FileInfo2"_s, u"Time"_s, u"1"_s));
    EXPECT_EQ(d.bytes(u"t.ini"_s), "[FileInfo1]\r\nName=" + tav::toGbk(u"服务厅大屏视频演示"_s)
                                       + "\r\nTime=9:00:00\r\n[FileInfo2]\r\nName=b\r\nTime=1\r\n");
    ini.DelIniSec(u"FILEINFO1"_s);
    EXPECT_EQ(d.text(u"t.ini"_s), u"[FileInfo2]\r\nName=b\r\nTime=1\r\n");
    // DelIniKey forms its path from the stored name as a bare name.
    ini.SpecifyIni(u"t"_s);
    EXPECT_EQ(ini.AppProFileName(u" t "_s), d.path() + u"/t.ini"_s);
    ini.DelIniKey(u"fileinfo2"_s, u"NAME"_s);
    EXPECT_EQ(d.text(u"t.ini"_s), u"[FileInfo2]\r\nTime=1\r\n");
}

TEST(IniFormat, EditsKeepEveryOtherLineByteForByte)
{
    const QByteArray original = "; keep me\r\n[a]\r\nK=1\r\n\r\n   odd line\r\n[b]\r\nx=2\r\n";
    auto doc = tav::IniDocument::fromBytes(original);
    doc.setValue(u"A"_s, u"k"_s, u"9"_s);   // replaces in place, keeps the key's spelling
    doc.setValue(u"a"_s, u"new"_s, u"n"_s); // goes after the last non-blank line of [a]
    doc.setValue(u"c"_s, u"y"_s, u"3"_s);   // new section at the end
    EXPECT_EQ(doc.toBytes(), QByteArray("; keep me\r\n[a]\r\nK=9\r\n\r\n   odd line\r\nnew=n\r\n"
                                        "[b]\r\nx=2\r\n[c]\r\ny=3\r\n"));
    // Lone LF files read the same and come back with CRLF.
    EXPECT_EQ(tav::IniDocument::fromBytes("[a]\nk=v").toBytes(), QByteArray("[a]\r\nk=v\r\n"));
}

TEST(IniFormat, WholeSectionsReadAndWrittenAtOnce)
{
    auto doc = tav::IniDocument::fromBytes("[L]\r\nK0=a\r\nk0=dup\r\nK1= b \r\n[keep]\r\nx=1\r\n");
    const QHash<QString, QString> values = doc.sectionValues(u"l"_s);
    EXPECT_EQ(values.size(), 2);
    EXPECT_EQ(values.value(u"k0"_s), u"a"); // first match wins, keys folded
    EXPECT_EQ(values.value(u"k1"_s), u"b");
    EXPECT_TRUE(doc.sectionValues(u"none"_s).isEmpty());
    doc.replaceSection(u"L"_s, {{u"图片路径0"_s, u"/一.jpg"_s}});
    EXPECT_EQ(doc.toBytes(), tav::toGbk(u"[keep]\r\nx=1\r\n[L]\r\n图片路径0=/一.jpg\r\n"_s));
    doc.setValue(u"keep"_s, u"y"_s, u"2"_s); // the section index follows the move
    EXPECT_EQ(doc.value(u"L"_s, u"图片路径0"_s), u"/一.jpg");
    EXPECT_EQ(doc.value(u"keep"_s, u"y"_s), u"2");
}

TEST(IniFormat, GbkTrailBytesThatLookLikeBracketsOrEquals)
{
    // "乚" is 0x81 0x5D: its trail byte is "]"; "乕" ends in "[".
    const QString name = u"乚乕"_s;
    ASSERT_EQ(tav::toGbk(name).at(1), ']');
    auto doc = tav::IniDocument::fromBytes(tav::toGbk(u"["_s + name + u"]\r\n"_s + name + u"=值"_s));
    EXPECT_EQ(doc.sectionNames(), QStringList{name});
    EXPECT_EQ(doc.value(name, name), u"值");
}

// Rewritten in place by another program (same size, same second), or removed.
TEST(IniFile, ReadsNeverServeStaleContent)
{
    DataFolder d;
    tav::IniFile file(d.file(u"c.ini"_s));
    d.write(u"c.ini"_s, u"[s]\nk=aaaa\n"_s);
    EXPECT_EQ(file.value(u"s"_s, u"k"_s), u"aaaa");
    d.write(u"c.ini"_s, u"[s]\nk=bbbb\n"_s);
    EXPECT_EQ(file.value(u"s"_s, u"k"_s), u"bbbb");
    QFile::remove(d.file(u"c.ini"_s));
    EXPECT_EQ(file.value(u"s"_s, u"k"_s), QString());
}

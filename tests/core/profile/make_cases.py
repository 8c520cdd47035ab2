#!/usr/bin/env python3
"""Writes the corpus of INI files and the case list that the profile
functions are asked about (cases.txt). Run from this folder; the answers are
recorded by scripts/record-profile-golden.sh into golden.txt."""
import os

CRLF = b"\r\n"
corpus = {}
cases = []


def gbk(text):
    return text.encode("gbk") if isinstance(text, str) else text


def lines(*items, end=CRLF):
    return b"".join(gbk(i) + end for i in items)


def h(text):
    return "-" if text is None else gbk(text).hex()


def S(file, section, key, *sizes):
    for size in sizes or (100,):
        cases.append(("S", file, h(section), h(key), str(size)))


def I(file, section, key, default=0):
    cases.append(("I", file, h(section), h(key), str(default)))


def N(file, *sizes):
    for size in sizes or (2020,):
        cases.append(("N", file, str(size)))


def W(file, section, key, value):
    cases.append(("W", file, h(section), h(key), h(value)))


# Letter case, duplicate sections and keys: the first match wins.
corpus["case.ini"] = lines("[Section]", "Key=Value", "key=second", "[SECTION]", "key=third", "Other=in dup",
                           "[other]", "KEY=o")
for sec in ("Section", "section", "SECTION", "SeCtIoN", "other"):
    for key in ("Key", "KEY", "key", "Other", "missing"):
        S("case.ini", sec, key)
N("case.ini")

# Blanks around names and values, tabs, empty values.
corpus["blanks.ini"] = lines("  [ Spaced ]  ", "  key  =  value with  inner  ", "\tTab\t=\tt\t", "empty=",
                             "blank=   ", "[Plain]", "my key=two words", " lead=1", "trail =2")
for sec in ("Spaced", " Spaced ", "spaced", "[ Spaced ]"):
    for key in ("key", " key ", "Tab", "empty", "blank"):
        S("blanks.ini", sec, key)
for key in ("my key", "my  key", "lead", "trail", " lead", "trail "):
    S("blanks.ini", "Plain", key)
N("blanks.ini")

# Quotes: a matching pair around the value goes.
corpus["quotes.ini"] = lines("[q]", 'a="quoted"', "b='single'", 'c="unbalanced', 'd=x"y"', 'e=""', 'f=" padded "',
                             'g="a"b"', "h='mixed\"", 'i="', "j=''", 'k=  "spaced"  ', 'l="服务"', "m=it's")
for key in "abcdefghijklm":
    S("quotes.ini", "q", key)
    S("quotes.ini", "q", key, 2, 3, 4)

# Comment-like lines, lines without "=", inline text after values.
corpus["comments.ini"] = lines(";top=1", "[s]", ";k=commented", "k=real ;not a comment", "#hash=1", "// slash=2",
                               " ;lead=3", "rem=3", "[;notsec]", "x=1", "[t];tail", "y=2")
for key in (";k", "k", "#hash", "// slash", ";lead", "rem", "top", ";top"):
    S("comments.ini", "s", key)
S("comments.ini", ";notsec", "x")
S("comments.ini", "t", "y")
S("comments.ini", "t;tail", "y")
N("comments.ini")
corpus["noeq.ini"] = lines("key0=before", "[s]", "justakey", "k=v", "=novalue", "==double", "k2==v", "k3=a=b",
                           "  =  blankname")
for key in ("justakey", "k", "", "=", "k2", "k2=", "k3", "blankname"):
    S("noeq.ini", "s", key)
S("noeq.ini", "", "key0")
N("noeq.ini")

# Empty, unclosed and odd section names.
corpus["sections.ini"] = lines("[]", "k=emptyname", "[unclosed", "k=u", "[a]b]", "k=ab", "[x] trailing", "k=x",
                               "[ ]", "k=blank", "[[double]]", "k=dd", "[y", "]", "k=y")
for sec in ("", " ", "unclosed", "[unclosed", "a", "a]b", "x", "x] trailing", "[double]", "[[double]]", "y"):
    S("sections.ini", sec, "k")
N("sections.ini")

# Integers: signs, blanks, suffixes, hex and words.
ints = ["0", "1", "-7", "+5", " 42 ", "12abc", "abc", "0x1F", "0X1f", "-0x10", "0x", "4294967295", "2147483647",
        "2147483648", "-2147483648", "-2147483649", "99999999999", "１２", "1.5", "1e3", "--3", "+-3", "- 3",
        "007", "0x7fffffff", "0xFFFFFFFF", "0x100000000", '"12"', "'5'", "", "12 34", "0b101", "0o17", "0B1",
        "0x1g", "  -0x1F", "-", "+", "1234567890123456789012345678901234", "00000000000000000000000000000042",
        "\t9", "-0", "0b", "0o9", "５"]
corpus["ints.ini"] = lines("[n]", *[f"v{i}={v}" for i, v in enumerate(ints)])
for i in range(len(ints)):
    for default in (0, 1):
        I("ints.ini", "n", f"v{i}", default)
I("ints.ini", "n", "missing", 0)
I("ints.ini", "n", "missing", 1)
I("ints.ini", "n", "missing", -5)
I("ints.ini", "nosection", "v1", 1)

# GBK text cut at every buffer size the program uses and around it.
mixed = "任务a名称b服务厅大屏视频演示c" * 6
corpus["gbk.ini"] = lines("[FileInfo1]", "Name=" + "服" * 60, "Time=9:00:00", "Mixed=" + mixed,
                          "Odd=a" + "频" * 60, "[节目]", "名称=早操音乐", "【SONG】=全角")
sizes = list(range(0, 9)) + list(range(94, 106)) + [127, 128, 255, 256]
for key in ("Name", "Mixed", "Odd", "Time"):
    S("gbk.ini", "FileInfo1", key, *sizes)
S("gbk.ini", "节目", "名称")
S("gbk.ini", "节目", "【SONG】")
S("gbk.ini", "fileinfo1", "name", 100)
N("gbk.ini", 2020, 1, 2, 3, 4, 5, 10, 11, 12, 13)

# Line ends: LF only, no final line break, CR only, a UTF-8 byte-order mark.
corpus["lf.ini"] = b"[s]\nk=lf\nj=last"
corpus["cr.ini"] = b"[s]\rk=cr\rj=last\r"
corpus["bom.ini"] = b"\xef\xbb\xbf[s]\r\nk=" + "服务".encode("utf-8") + b"\r\n"
corpus["utf16.ini"] = b"\xff\xfe" + "[s]\r\nk=服务\r\n".encode("utf-16-le")
corpus["empty.ini"] = b""
corpus["blank.ini"] = b"\r\n\r\n   \r\n"
corpus["nosection.ini"] = lines("k=orphan", "j=2")
for f in ("lf.ini", "cr.ini", "bom.ini", "utf16.ini"):
    S(f, "s", "k")
    S(f, "s", "j")
    N(f)
for f in ("empty.ini", "blank.ini", "nosection.ini", "missing.ini"):
    S(f, "s", "k")
    S(f, "", "k")
    I(f, "s", "k", 1)
    N(f)

# The section-name block at its limit: FileInfo1 … FileInfo300, and GBK names
# whose double-byte characters straddle the end of the block.
corpus["many.ini"] = lines(*[x for i in range(1, 301) for x in (f"[FileInfo{i}]", f"Name=t{i}")])
N("many.ini", 2020, 2019, 2021, 2022, 100, 2048, 4096)
S("many.ini", "FileInfo300", "Name")
corpus["manygbk.ini"] = lines(*[x for i in range(1, 400) for x in (f"[a{'节' * (i % 5)}{i}]", "k=v")])
N("manygbk.ini", 2020, 2019, 2018, 2017, 2016, 2015)
corpus["dupsec.ini"] = lines("[a]", "k=1", "[b]", "[A]", "k=2", "j=3", "[a]", "j=4")
N("dupsec.ini")
S("dupsec.ini", "a", "k")
S("dupsec.ini", "a", "j")

# Keys before the first header, empty key names, and values cut inside a
# double-byte character.
corpus["top.ini"] = lines("k=top", "=emptytop", "  =  blanktop", "[]", "k=brackets", "=emptybr", "[s]", "k=s",
                          "j=", "", "[S2]", "=only", "[S3]", "x=1", "=later")
for sec in ("", " ", "s", "S2", "S3", "missing"):
    for key in ("k", "", " ", "x"):
        S("top.ini", sec, key)
I("top.ini", "", "k", 5)
I("top.ini", "S2", "", 3)
I("top.ini", "", "", 7)
N("top.ini")
corpus["topbom.ini"] = b"\xef\xbb\xbfk=bom\r\n[s]\r\nk=1\r\n"
corpus["topblank.ini"] = lines("", ";c", "k=afterblank", "服=字", "[s]", "j=1")
for f in ("topbom.ini", "topblank.ini"):
    S(f, "", "k")
    S(f, "", "")
    S(f, "s", "j")
    N(f)
S("topblank.ini", "", ";c")
S("topblank.ini", "", "服")
corpus["gbkcut.ini"] = lines("[c]", "a=a服b", "q=\"服务\"", "s='x服'", "t=服 务", "u=" + "ab服" * 40, "[服务]", "k=v")
for key in "aqstu":
    S("gbkcut.ini", "c", key, *range(1, 8))
S("gbkcut.ini", "c", "u", 98, 99, 100, 101, 102)
S("gbkcut.ini", "服务", "k")
N("gbkcut.ini", 1, 2, 3, 4, 5, 6, 7, 8)
N("manygbk.ini", 2014, 2013, 2012, 100, 101, 102, 103)

# Writes: the file afterwards must read the same through either reader.
corpus["write.ini"] = lines("; kept", "[FileInfo1]", "Name=服务厅", "Time = 9:00:00", "[other]", "k=1", "",
                            "[FileInfo1]", "Extra=dup")
W("write.ini", "FileInfo1", "Time", "10:00:00")
W("write.ini", "fileinfo1", "TIME", "11:00:00")
W("write.ini", "FileInfo1", "New", "新值")
W("write.ini", "FileInfo1", "Extra", "x")
W("write.ini", "Fresh", "k", " padded ")
W("write.ini", "other", "k", '"q"')
W("write.ini", "other", "k", "")
W("write.ini", "other", "k", None)
W("write.ini", "other", None, None)
W("write.ini", "FileInfo1", None, None)
W("missing.ini", "s", "k", "v")
W("lf.ini", "s", "new", "1")
W("bom.ini", "s", "new", "新")
W("comments.ini", "s", ";k", "now")
W("noeq.ini", "s", "justakey", "given")
W("sections.ini", "", "k", "top")
W("nosection.ini", "", "k", "changed")
W("quotes.ini", "q", "a", "plain")

os.makedirs("corpus", exist_ok=True)
for name, data in corpus.items():
    with open(os.path.join("corpus", name), "wb") as f:
        f.write(data)
with open("cases.txt", "w") as f:
    f.write("# id kind file section key size|default|value (texts as GBK hex)\n")
    for i, case in enumerate(cases, 1):
        f.write("\t".join((str(i),) + case) + "\n")
print(len(cases), "cases,", len(corpus), "files")

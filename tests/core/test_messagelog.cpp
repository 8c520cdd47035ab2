#include "core/messagelog.h"
#include "core/ini.h"
#include "fakes/fakes.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using tav::MessageLog;

class MessageLogTest : public ::testing::Test
{
protected:
    tav::test::DataFolder d;
    tav::test::FakeClock clock{tav::test::at("2026-11-21 09:00:00")};
    QString path() const { return d.file(u"【PLAYLOG】.txt"_s); }
    QString fileText() const { return d.text(u"【PLAYLOG】.txt"_s); }
};

TEST_F(MessageLogTest, ClearsItselfPastOneThousandMessages)
{
    MessageLog log(path(), clock);
    log.startUp(); // no file yet: nothing happens
    EXPECT_EQ(log.text(), QString());
    for (int i = 1; i <= 1000; ++i)
        log.append(u"m"_s);
    EXPECT_EQ(log.caption(), u"消息共1000条");
    log.append(u"m"_s);
    EXPECT_EQ(log.count(), 0);
    EXPECT_EQ(log.caption(), u"消息");
    EXPECT_EQ(log.text(), u"[2026/11/21 9:00:00]消息已超出1000条或字符数已超出60000个，所以自动清空");
    log.flush();
    EXPECT_EQ(fileText(), log.text() + u"\r\n"_s);

    log.clear(); // the operator's clear empties the file
    EXPECT_EQ(d.bytes(u"【PLAYLOG】.txt"_s), QByteArray());
}

TEST_F(MessageLogTest, RestartRecountsJoinsFirstMessageAndAddsOneLineBreak)
{
    {
        MessageLog log(path(), clock);
        log.startUp();
        log.append(u"一"_s);
        log.append(u"二"_s);
    } // the destructor saves
    EXPECT_EQ(fileText(), u"一\r\n二\r\n");

    MessageLog log(path(), clock);
    log.startUp();
    EXPECT_EQ(log.count(), 2); // the line breaks of the loaded text
    QCoreApplication::processEvents(); // the load itself rewrites the file
    EXPECT_EQ(fileText(), u"一\r\n二\r\n\r\n");
    log.append(u"三"_s);
    EXPECT_EQ(log.text(), u"一\r\n二\r\n三");
    EXPECT_EQ(log.caption(), u"消息共3条");
    log.flush();
    EXPECT_EQ(d.bytes(u"【PLAYLOG】.txt"_s), tav::toGbk(u"一\r\n二\r\n三\r\n"_s));
}

#include "core/secret.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// A stored hash accepts its own secret only; a hash of another form, or one
// altered anywhere, accepts nothing; two hashes of one secret differ (salt).
TEST(Secret, HashesAreSaltedAndCheckedWhole)
{
    const QString stored = tav::hashSecret(u"校长的密码"_s);
    EXPECT_TRUE(tav::secretMatches(u"校长的密码"_s, stored));
    EXPECT_NE(stored, tav::hashSecret(u"校长的密码"_s));

    QString altered = stored;
    altered[altered.size() - 3] = altered[altered.size() - 3] == u'A' ? u'B' : u'A';
    const struct { QString secret, stored; } refused[] = {
        {u"校长的密码 "_s, stored},
        {u""_s, stored},
        {u"校长的密码"_s, altered},
        {u"校长的密码"_s, u"校长的密码"_s},
        {u"x"_s, u"pbkdf2-sha256$0$AAAA$AAAA"_s},
        {u"x"_s, u""_s},
    };
    for (const auto &c : refused)
        EXPECT_FALSE(tav::secretMatches(c.secret, c.stored)) << c.secret.toStdString() << " / " << c.stored.toStdString();
}

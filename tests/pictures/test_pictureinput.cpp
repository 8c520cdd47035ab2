#include "pictures/picturestore.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// The switch time is checked before the volume; each a whole number within its bounds.
TEST(PictureInput, SwitchTimeThenVolumeEachWithinItsBounds)
{
    const QString time = u"图片播放时间设置不正确！"_s, volume = u"音量设置不正确！"_s;
    const struct { QString time, volume, message; } cases[] = {
        {u"5"_s, u"1"_s, {}},       {u" 60"_s, u"65535"_s, {}},  {u"4"_s, u"100"_s, time},
        {u"61"_s, u"100"_s, time},  {{}, u"0"_s, time},          {u"5.5"_s, u"100"_s, time},
        {u"5"_s, u"0"_s, volume},   {u"60"_s, u"七"_s, volume},  {u"5"_s, u"65536"_s, volume},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.time.toStdString() + "/" + c.volume.toStdString());
        EXPECT_EQ(tav::PictureStore::checkInput(c.time, c.volume), c.message);
    }
}

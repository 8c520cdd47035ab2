#include "fakes/rig.h"
#include "widgets.h"
#include "pictures/frmpic.h"
#include "pictures/picturepanel.h"
#include "pictures/slideshow.h"
#include "playback/frmplay.h"
#include "playback/mpvvideowidget.h"

#include <QDir>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QtEndian>

using tav::Slideshow;

namespace {

const char *kImage = "[图片文件数量]\n数量=2\n[图片]\n图片路径0=/ad/一.jpg\n图片路径1=/ad/二.jpg\n"
                     "[设置]\n图片播放模式=1\n个性音量=40000\n图片切换时间=15\n音乐模式=1\n播放音乐=1\n"
                     "停播日期音乐静音=0\n输出到第二显示器=0\n"
                     "[多媒体文件数量]\n多媒体数量=1\n[歌曲]\n歌曲名称0=/bgm/春.mp3\n";

// A picture file of the given size, drawn so it is not one flat colour.
QString writePicture(const tav::test::DataFolder &d, const QString &name, QSize size, const char *format)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkBlue);
    QPainter(&image).fillRect(QRect(QPoint(0, 0), size / 2), Qt::yellow);
    const QString path = d.file(name);
    EXPECT_TRUE(image.save(path, format, 80)) << name.toStdString();
    return path;
}

quint32 crc32(const QByteArray &bytes)
{
    quint32 crc = 0xFFFFFFFFu;
    for (const char c : bytes)
        for (quint32 k = 0, b = quint8(c); k < 8; ++k, b >>= 1)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - ((crc ^ b) & 1u)));
    return ~crc;
}

} // namespace

class PicturesWindow : public ::testing::Test, protected tav::test::PlaybackRig, public tav::test::WindowDriver
{
protected:
    PicturesWindow() : PlaybackRig("2026-11-23 10:00:00") {}
    Slideshow show{clock, dir, playback, log};
    std::unique_ptr<tav::frmPic> window;
    QStringList chosen; // what the file dialog gives

    void open()
    {
        show.setDisplay(true);
        window = std::make_unique<tav::frmPic>(show, prompt);
        window->setFileChooser([this](const QString &, const QString &) { return chosen; });
    }
    const QObject *root() const override { return window.get(); }
    QStringList items(const char *list) const { return tav::test::texts(get<QListWidget>(list)); }
    void type(const char *combo, const QString &text) { get<QComboBox>(combo)->setEditText(text); }
};

TEST_F(PicturesWindow, OpensWithTheFileAndSaveRefusesBadValuesLeavingTheFile)
{
    d.write(u"【IMAGE】.ini"_s, QString::fromUtf8(kImage));
    const QByteArray before = d.bytes(u"【IMAGE】.ini"_s);
    open();
    EXPECT_EQ(items("ListPic"), (QStringList{u"/ad/一.jpg"_s, u"/ad/二.jpg"_s}));
    EXPECT_TRUE(get<QAbstractButton>("OptPlayMode1")->isChecked());
    EXPECT_EQ(get<QComboBox>("cboPicVol")->currentText(), u"40000");
    EXPECT_EQ(get<QComboBox>("cboSwithTime")->currentText(), u"15");
    EXPECT_EQ(items("ListMusicMaster"), QStringList{u"/bgm/春.mp3"_s});
    EXPECT_TRUE(get<QAbstractButton>("OptMusicMode1")->isChecked());
    EXPECT_TRUE(get<QCheckBox>("chkMusicPlay")->isChecked());
    EXPECT_FALSE(get<QCheckBox>("chkNoDatePlay")->isChecked());

    type("cboSwithTime", u"4"_s); // the bounds are PictureInput's
    click("cmdSave");
    EXPECT_EQ(prompt.shown, QStringList{u"提示|图片播放时间设置不正确！"_s});
    EXPECT_EQ(d.bytes(u"【IMAGE】.ini"_s), before);

    prompt.shown.clear();
    type("cboSwithTime", u"5"_s);
    type("cboPicVol", u"65535"_s);
    click("cmdSave");
    EXPECT_TRUE(prompt.shown.isEmpty());
    for (const QString &line : {u"图片切换时间=5\r\n"_s, u"个性音量=65535\r\n"_s})
        EXPECT_TRUE(d.text(u"【IMAGE】.ini"_s).contains(line)) << line.toStdString();

    QFile::remove(d.file(u"【IMAGE】.ini"_s)); // a folder where the file should be: said and logged
    ASSERT_TRUE(QDir(d.path()).mkdir(u"【IMAGE】.ini"_s));
    prompt.shown.clear();
    click("cmdSave");
    EXPECT_EQ(prompt.shown, QStringList{u"提示|写文件时出错"_s});
    EXPECT_TRUE(log.text().contains(u"【IMAGE】.ini"));
}

TEST_F(PicturesWindow, ListButtonsAddRemoveAndReorder)
{
    open();
    const struct { const char *list, *add, *up, *top, *del, *clear; } lists[] = {
        {"ListPic", "cmdAddPic", "cmdPicUp", "cmdFreePicMoveTop", "cmdDel", "cmdClear"},
        {"ListMusicMaster", "cmdMusicAdd", "cmdMusicUpMove", "cmdFreeMusicMoveTop", "cmdMusicDel", "cmdMusicClear"}};
    for (const auto &l : lists) {
        SCOPED_TRACE(l.list);
        chosen = {u"a"_s, u"b"_s, u"c"_s};
        click(l.add);
        EXPECT_EQ(items(l.list), chosen);
        get<QListWidget>(l.list)->setCurrentRow(2);
        click(l.up);
        EXPECT_EQ(items(l.list), (QStringList{u"a"_s, u"c"_s, u"b"_s}));
        click(l.top);
        EXPECT_EQ(items(l.list), (QStringList{u"c"_s, u"a"_s, u"b"_s}));
        click(l.del);
        EXPECT_EQ(items(l.list), (QStringList{u"a"_s, u"b"_s}));
        click(l.clear);
        EXPECT_TRUE(items(l.list).isEmpty());
    }
}

TEST_F(PicturesWindow, PlayRunsWhatTheWindowShowsAndStopEndsIt)
{
    open();
    chosen = {u"/p/a.jpg"_s, u"/p/b.jpg"_s};
    click("cmdAddPic");
    type("cboSwithTime", u"5"_s);
    type("cboPicVol", u"30000"_s);
    click("cmdPlay");
    EXPECT_EQ(show.source(), Slideshow::Source::Operator);
    EXPECT_EQ(get<QLabel>("lblCurrentPic")->text(), u"正在显示（1/2）：/p/a.jpg");
    click("cmdStop");
    EXPECT_FALSE(show.isRunning());
}

TEST(PictureDecoding, BadPicturesAreRefusedWithAReasonBigOnesReadSmallHugeOnesNotAtAll)
{
    tav::test::DataFolder d;
    EXPECT_EQ(tav::decodePicture(d.file(u"无.jpg"_s), {800, 600}).error, u"文件不存在");

    d.write(u"说明.png"_s, u"这不是图片"_s);
    EXPECT_TRUE(tav::decodePicture(d.file(u"说明.png"_s), {800, 600}).error.startsWith(u"不是图片或已损坏"));

    // Big pictures are read small.
    const QString big = writePicture(d, u"big.jpg"_s, {8000, 6000}, "JPG");
    const tav::DecodedPicture small = tav::decodePicture(big, {1920, 1080});
    ASSERT_TRUE(small.error.isEmpty()) << small.error.toStdString();
    EXPECT_EQ(small.image.size(), QSize(1440, 1080));
    EXPECT_GT(QColor(small.image.pixel(100, 100)).red(), 200); // top left quarter yellow: this picture, not a blank

    // A PNG that says it is 40000 × 40000: refused from its header, nothing allocated.
    QByteArray png = tav::test::DataFolder::readAll(writePicture(d, u"tiny.png"_s, {1, 1}, "PNG"));
    qToBigEndian<quint32>(40000, png.data() + 16);
    qToBigEndian<quint32>(40000, png.data() + 20);
    qToBigEndian<quint32>(crc32(png.mid(12, 17)), png.data() + 29);
    d.writeBytes(u"huge.png"_s, png);
    EXPECT_EQ(tav::decodePicture(d.file(u"huge.png"_s), {1920, 1080}).error, u"图片太大（40000×40000）");
}

// The video taking over is StationSlideshowTest.ATaskTakesOverFromTheIdleContentAndHandsBack.
TEST_F(PicturesWindow, ThePanelShowsPicturesOverTheVideoOnlyWhenNoVideoIsToBeSeen)
{
    settings.load();
    tav::frmPlay play(settings, dir, nullptr);
    auto *screen = new tav::PictureScreen(show, playback, play);
    tav::PicturePanel *panel = screen->panel();
    play.show();
    show.setDisplay(true);
    const QString good = writePicture(d, u"good.png"_s, {320, 200}, "PNG");
    tav::SlideshowSettings s;
    s.pictures = {good};
    s.switchSeconds = 5;
    s.volume = 65535;
    QSignalSpy shown(panel, &tav::PicturePanel::shown);
    ASSERT_TRUE(show.play(s));
    EXPECT_FALSE(play.isVideoVisible());
    EXPECT_TRUE(panel->isVisible());
    ASSERT_TRUE(shown.wait(5000));
    EXPECT_EQ(panel->currentPath(), good);
    EXPECT_FALSE(panel->image().isNull());

    playback.startTask(u"顺序"_s, {u"/v/film.mp4"_s}); // a video shows over the pictures
    playback.startTask(u"顺序"_s, {u"/m/song.mp3"_s}); // sound alone: the pictures again
    EXPECT_FALSE(play.isVideoVisible());
    EXPECT_TRUE(panel->isVisible());
    show.stop();
    EXPECT_TRUE(play.isVideoVisible());
    EXPECT_FALSE(panel->isVisible());
}

#include "pictures/frmpic.h"
#include "core/named.h"

#include "pictures/slideshow.h"
#include "platform/prompt.h"
#include "scheduler/editablelist.h"
#include "scheduler/taskeditor.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kTitle = u"提示"_s;
const QString kOpenFilesTitle = u"打开多个文件"_s;
const QString kPictureFilter =
    u"图片文件 (*.jpg;*.jpeg;*.bmp;*.png;*.gif)|*.jpg;*.jpeg;*.bmp;*.png;*.gif|All Files (*.*)|*.*"_s;
const QString kCaption = u"图片显示在播放视窗中；点“播放”开始放映"_s;

QPushButton *button(const QString &name, const QString &caption)
{
    auto *b = named(new QPushButton(caption), name);
    b->setAutoDefault(false);
    return b;
}

QComboBox *numberBox(const QString &name, const QStringList &values)
{
    auto *box = named(new QComboBox, name);
    box->setEditable(true);
    box->addItems(values);
    box->setInsertPolicy(QComboBox::NoInsert);
    return box;
}

// Option buttons "<name>0", "<name>1" in one exclusive group.
void optionPair(QRadioButton *(&options)[2], const QString &name, const QString &first, const QString &second,
                QWidget *parent, QBoxLayout *row)
{
    auto *group = new QButtonGroup(parent);
    options[0] = named(new QRadioButton(first), name + u'0');
    options[1] = named(new QRadioButton(second), name + u'1');
    for (QRadioButton *option : options) {
        group->addButton(option);
        row->addWidget(option);
    }
}

} // namespace

frmPic::frmPic(Slideshow &slideshow, Prompt &prompt, QWidget *parent)
    : QWidget(parent, Qt::Window), m_slideshow(slideshow), m_prompt(prompt)
{
    setObjectName(u"frmPic"_s);
    setWindowTitle(u"图片广告设置"_s);
    m_chooseFiles = [this](const QString &title, const QString &filter) {
        return QFileDialog::getOpenFileNames(this, title, QString(), filter, nullptr,
                                             QFileDialog::HideNameFilterDetails);
    };

    auto *layout = new QVBoxLayout(this);
    auto *lists = new QHBoxLayout;
    layout->addLayout(lists, 1);

    // 图片
    auto *picBox = new QGroupBox(u"图片列表"_s);
    auto *picGrid = new QGridLayout(picBox);
    const EditableList pictures = EditableList::make(
        picBox, picGrid, u"ListPic"_s,
        {u"cmdAddPic"_s, u"cmdDel"_s, u"cmdClear"_s, u"cmdPicUp"_s, u"cmdPicDown"_s, u"cmdFreePicMoveTop"_s},
        u"添加图片"_s);
    m_pictures = pictures.list;
    auto *picOptions = new QHBoxLayout;
    optionPair(m_pictureOrder, u"OptPlayMode"_s, u"顺序显示"_s, u"随机显示"_s, this, picOptions);
    picOptions->addSpacing(16);
    picOptions->addWidget(new QLabel(u"切换时间（5～60秒）"_s));
    m_switchTime = numberBox(u"cboSwithTime"_s, {u"5"_s, u"10"_s, u"15"_s, u"20"_s, u"30"_s, u"45"_s, u"60"_s});
    picOptions->addWidget(m_switchTime);
    picOptions->addStretch();
    picGrid->addLayout(picOptions, 1, 0, 1, 2);
    lists->addWidget(picBox, 1);
    connect(pictures.add, &QPushButton::clicked, this,
            [this] { m_pictures->addItems(m_chooseFiles(kOpenFilesTitle, qtFileFilter(kPictureFilter))); });

    // 背景音乐
    auto *musicBox = new QGroupBox(u"背景音乐"_s);
    auto *musicGrid = new QGridLayout(musicBox);
    const EditableList music = EditableList::make(musicBox, musicGrid, u"ListMusicMaster"_s,
                                                  {u"cmdMusicAdd"_s, u"cmdMusicDel"_s, u"cmdMusicClear"_s,
                                                   u"cmdMusicUpMove"_s, u"cmdMusicDownMove"_s,
                                                   u"cmdFreeMusicMoveTop"_s},
                                                  u"添加音乐"_s);
    m_music = music.list;
    auto *musicOptions = new QGridLayout;
    auto *orderRow = new QHBoxLayout;
    optionPair(m_musicOrder, u"OptMusicMode"_s, u"顺序循环"_s, u"随机播放"_s, this, orderRow);
    orderRow->addStretch();
    musicOptions->addLayout(orderRow, 0, 0, 1, 2);
    musicOptions->addWidget(new QLabel(u"个性音量（1～65535）"_s), 1, 0);
    m_volume = numberBox(u"cboPicVol"_s, {u"65535"_s, u"50000"_s, u"40000"_s, u"30000"_s, u"20000"_s, u"10000"_s});
    musicOptions->addWidget(m_volume, 1, 1);
    m_playMusic = named(new QCheckBox(u"显示图片时播放音乐"_s), u"chkMusicPlay"_s);
    m_muteOnStopDates = named(new QCheckBox(u"停播日期音乐静音"_s), u"chkNoDatePlay"_s);
    musicOptions->addWidget(m_playMusic, 2, 0, 1, 2);
    musicOptions->addWidget(m_muteOnStopDates, 3, 0, 1, 2);
    musicGrid->addLayout(musicOptions, 1, 0, 1, 2);
    lists->addWidget(musicBox, 1);
    connect(music.add, &QPushButton::clicked, this,
            [this] { m_music->addItems(m_chooseFiles(kOpenFilesTitle, qtFileFilter(kMediaFileFilter))); });

    // 放映
    auto *bottom = new QHBoxLayout;
    auto *captions = new QVBoxLayout;
    m_caption = named(new QLabel(kCaption), u"Label5"_s);
    m_current = named(new QLabel, u"lblCurrentPic"_s);
    m_current->setTextInteractionFlags(Qt::TextSelectableByMouse);
    captions->addWidget(m_caption);
    captions->addWidget(m_current);
    bottom->addLayout(captions, 1);
    auto *playButton = button(u"cmdPlay"_s, u"播放"_s);
    auto *stopButton = button(u"cmdStop"_s, u"停止"_s);
    auto *saveButton = button(u"cmdSave"_s, u"保存设置"_s);
    bottom->addWidget(playButton);
    bottom->addWidget(stopButton);
    bottom->addWidget(saveButton);
    layout->addLayout(bottom);
    connect(playButton, &QPushButton::clicked, this, &frmPic::play);
    connect(stopButton, &QPushButton::clicked, &m_slideshow, &Slideshow::stop);
    connect(saveButton, &QPushButton::clicked, this, &frmPic::save);

    // Each switch hides the caption (Label5) and names the picture shown.
    connect(&m_slideshow, &Slideshow::pictureChanged, this, &frmPic::showCurrent);
    connect(&m_slideshow, &Slideshow::cleared, this, [this] { showCurrent(QString()); });
    showCurrent(m_slideshow.currentPicture());

    resize(860, 520);
    load();
}

void frmPic::load()
{
    const SlideshowSettings s = m_slideshow.loadSettings();
    setListTexts(m_pictures, s.pictures);
    m_pictureOrder[s.pictureOrder == SlideshowSettings::Random ? 1 : 0]->setChecked(true);
    m_volume->setEditText(QString::number(s.volume));
    m_switchTime->setEditText(QString::number(s.switchSeconds));
    setListTexts(m_music, s.music);
    m_musicOrder[s.musicOrder == SlideshowSettings::MusicRandom ? 1 : 0]->setChecked(true);
    m_playMusic->setChecked(s.playMusic);
    m_muteOnStopDates->setChecked(s.muteOnStopDates);
}

SlideshowSettings frmPic::shown() const
{
    SlideshowSettings s;
    s.pictures = listTexts(m_pictures);
    s.pictureOrder = m_pictureOrder[1]->isChecked() ? SlideshowSettings::Random : SlideshowSettings::InOrder;
    s.volume = m_volume->currentText().trimmed().toInt();
    s.switchSeconds = m_switchTime->currentText().trimmed().toInt();
    s.music = listTexts(m_music);
    s.musicOrder = m_musicOrder[1]->isChecked() ? SlideshowSettings::MusicRandom : SlideshowSettings::MusicInOrder;
    s.playMusic = m_playMusic->isChecked();
    s.muteOnStopDates = m_muteOnStopDates->isChecked();
    return s;
}

bool frmPic::checked()
{
    const QString problem = PictureStore::checkInput(m_switchTime->currentText(), m_volume->currentText());
    if (problem.isEmpty())
        return true;
    m_prompt.inform(kTitle, problem);
    return false;
}

bool frmPic::save()
{
    if (!checked())
        return false;
    if (!m_slideshow.saveSettings(shown())) {
        m_prompt.inform(kTitle, u"写文件时出错"_s);
        return false;
    }
    // The idle content on screen takes the new lists at once.
    if (m_slideshow.source() == Slideshow::Source::Idle)
        m_slideshow.startIdle();
    return true;
}

void frmPic::play()
{
    if (!checked())
        return;
    if (!m_slideshow.play(shown()))
        m_prompt.inform(kTitle, m_slideshow.hasDisplay() ? u"没有可放映的图片或音乐"_s : u"没有可播放的音乐"_s);
}

void frmPic::showCurrent(const QString &path)
{
    m_caption->setVisible(path.isEmpty());
    const int count = int(m_slideshow.pictures().size());
    m_current->setText(path.isEmpty() ? QString()
                                      : u"正在显示（%1/%2）：%3"_s.arg(m_slideshow.currentIndex() + 1)
                                            .arg(count)
                                            .arg(path));
}

} // namespace tav

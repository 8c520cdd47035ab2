#include "playback/playerwindowcontrols.h"

#include "core/settings.h"
#include "platform/prompt.h"
#include "playback/frmfullmv.h"
#include "playback/frmplay.h"
#include "playback/mpvvideowidget.h"
#include "playback/playbackcontroller.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

constexpr int kMiniWidth = 320;
constexpr int kMiniHeight = 180;
const QString kShow = u"显示视窗"_s;
const QString kHide = u"隐藏视窗"_s;
const QString kMini = u"迷你视窗"_s;
const QString kRestore = u"还原视窗"_s;
constexpr Setting kSizeKeys[4] = {Setting::PlayHeight, Setting::PlayWidth, Setting::PlayTop, Setting::PlayLeft};

QPushButton *namedButton(const char *name, const QString &text)
{
    auto *b = new QPushButton(text);
    b->setObjectName(QString::fromLatin1(name));
    return b;
}

} // namespace

PlayerWindowControls::PlayerWindowControls(frmPlay *video, PlaybackController &playback,
                                           Settings &settings, Prompt &prompt, QWidget *owner)
    : QObject(owner), m_video(video), m_settings(settings), m_prompt(prompt)
{
    m_open = namedButton("cmdOpenPlayWindow", kShow);
    m_narrow = namedButton("cmdNarrow", kMini);
    connect(m_open, &QPushButton::clicked, this, &PlayerWindowControls::togglePlayWindow);
    connect(m_narrow, &QPushButton::clicked, this, &PlayerWindowControls::toggleMiniView);

    m_sizeBox = new QGroupBox(u"播放窗口"_s);
    auto *row = new QHBoxLayout(m_sizeBox);
    const char *fieldNames[4] = {"txtPlayHeight", "txtPlayWidth", "txtPlayTop", "txtPlayLeft"};
    const QString fieldLabels[4] = {u"高"_s, u"宽"_s, u"上"_s, u"左"_s};
    for (int i = 0; i < 4; ++i) {
        m_sizeFields[i] = new QLineEdit;
        m_sizeFields[i]->setObjectName(QString::fromLatin1(fieldNames[i]));
        m_sizeFields[i]->setMaximumWidth(80);
        row->addWidget(new QLabel(fieldLabels[i]));
        row->addWidget(m_sizeFields[i]);
    }
    auto *save = namedButton("cmdSeveSize", u"保存窗口尺寸"_s);
    row->addWidget(save);
    row->addStretch();
    connect(save, &QPushButton::clicked, this, &PlayerWindowControls::saveWindowSize);

    if (!m_video) {
        m_open->setEnabled(false);
        m_narrow->setEnabled(false);
        return;
    }
    m_fullScreen = new frmFullMV(*m_video, m_prompt, owner);
    connect(m_fullScreen, &frmFullMV::returnedToMain, this, &PlayerWindowControls::returnedToMain);
    connect(m_video, &frmPlay::sizeApplied, this, [this](int height, int width, int top, int left) {
        const int values[4] = {height, width, top, left};
        for (int i = 0; i < 4; ++i)
            m_sizeFields[i]->setText(QString::number(values[i]));
    });
    connect(&playback, &PlaybackController::videoVisibilityChanged, m_video, &frmPlay::setVideoVisible);
    connect(&playback, &PlaybackController::itemOpening, this, [this](const QString &path) {
        if (!PlaybackController::isAudioOnly(path))
            showVideo();
    });
    // Full screen is for pictures: it follows the video output, not the item.
    if (MpvVideoWidget *picture = m_video->video()) {
        connect(picture, &MpvVideoWidget::videoOutputChanged, this, [this](bool active) {
            if (active && m_settings.isOn(Switch::FullScreen) && !m_fullScreen->isFull())
                m_fullScreen->showFull(m_video->screen());
        });
    }
}

PlayerWindowControls::~PlayerWindowControls()
{
    // The video control belongs to the player window, which outlives the console.
    if (m_fullScreen && m_fullScreen->isFull())
        m_fullScreen->leaveFull();
}

void PlayerWindowControls::showVideo()
{
    if (!m_video)
        return;
    if (!m_video->isVisible())
        applyPlacement();
    m_video->show();
    m_open->setText(kHide);
}

void PlayerWindowControls::resetVideo()
{
    if (!m_video)
        return;
    if (m_fullScreen->isFull())
        m_fullScreen->leaveFull();
    m_video->setVideoVisible(true);
}

void PlayerWindowControls::togglePlayWindow()
{
    if (!m_video)
        return;
    if (!m_video->isVisible()) {
        showVideo();
        return;
    }
    m_video->hide();
    m_open->setText(kShow);
    if (m_fullScreen->isFull())
        m_fullScreen->viewHidden();
}

bool PlayerWindowControls::isMini() const
{
    return m_narrow->text() == kRestore; // the caption names the view the next press selects
}

void PlayerWindowControls::toggleMiniView()
{
    if (!m_video)
        return;
    if (!isMini()) {
        const QRect at = m_video->geometry();
        m_video->setGeometry(at.x(), at.y(), kMiniWidth, kMiniHeight);
        m_narrow->setText(kRestore);
    } else {
        m_video->applyPlacement();
        m_narrow->setText(kMini);
    }
}

void PlayerWindowControls::applyPlacement()
{
    if (m_video)
        m_video->applyPlacement();
}

void PlayerWindowControls::loadSizeFields()
{
    for (int i = 0; i < 4; ++i)
        m_sizeFields[i]->setText(QString::number(m_settings.number(kSizeKeys[i])));
}

void PlayerWindowControls::saveWindowSize()
{
    const QString values[4] = {m_sizeFields[0]->text(), m_sizeFields[1]->text(), m_sizeFields[2]->text(),
                               m_sizeFields[3]->text()};
    if (!frmPlay::validSize(values[0], values[1], values[2], values[3])) {
        m_prompt.inform(u"提示"_s, u"输入有误，请重新输入"_s);
        return;
    }
    for (int i = 0; i < 4; ++i)
        m_settings.setText(kSizeKeys[i], values[i].trimmed()); // the player window follows
}

} // namespace tav

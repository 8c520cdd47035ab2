#include "pictures/logocontrols.h"

#include "core/clock.h"
#include "core/datadir.h"
#include "core/secondticker.h"
#include "core/settings.h"
#include "pictures/frmtimeshow.h"
#include "pictures/frmtopmost.h"
#include "pictures/logosettings.h"
#include "pictures/overlaykeeper.h"
#include "platform/mediaplayer.h"
#include "platform/prompt.h"

#include <QDateTime>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace tav {

const QString LogoControls::kPlaceRefused = u"超出范围或不是数字，请重新输入"_s;

LogoControls::LogoControls(Settings &settings, const DataDir &dir, MediaPlayer &player, SecondTicker &ticker,
                           const Clock &clock, Prompt &prompt, QWidget *owner)
    : QObject(owner)
    , m_settings(settings)
    , m_dir(dir)
    , m_player(player)
    , m_clock(clock)
    , m_prompt(prompt)
    , m_owner(owner)
{
    // Its own top-level window, so that it stays when the console goes to the tray.
    m_overlay = new frmTopMost(dir);
    m_keeper = new OverlayKeeper(this);
    m_keeper->addOverlay(m_overlay);
    connect(m_overlay, &frmTopMost::dismissed, this, &LogoControls::dismissScreenSaver);

    m_placeBox = new QGroupBox(u"台标位置"_s);
    m_placeBox->setObjectName(u"FrameLogo"_s);
    auto *grid = new QGridLayout(m_placeBox);
    m_top = new QLineEdit;
    m_top->setObjectName(u"txtLogoTop"_s);
    m_left = new QLineEdit;
    m_left->setObjectName(u"txtLogoLeft"_s);
    for (QLineEdit *field : {m_top, m_left})
        field->setToolTip(u"单位：缇（15缇为1像素），须在屏幕范围内"_s);
    auto *save = new QPushButton(u"保存并移动"_s);
    save->setObjectName(u"cmdSaveLogoMove"_s);
    auto *font = new QPushButton(u"时间字体..."_s);
    font->setObjectName(u"cmdTimeFont"_s);
    grid->addWidget(new QLabel(u"顶边"_s), 0, 0);
    grid->addWidget(m_top, 0, 1);
    grid->addWidget(new QLabel(u"左边"_s), 0, 2);
    grid->addWidget(m_left, 0, 3);
    grid->addWidget(new QLabel(u"（缇）"_s), 0, 4);
    grid->addWidget(save, 0, 5);
    grid->addWidget(font, 0, 6);
    grid->setColumnStretch(7, 1);
    connect(save, &QPushButton::clicked, this, &LogoControls::saveLogoMove);
    connect(font, &QPushButton::clicked, this, &LogoControls::openTimeShow);

    connect(&settings, &Settings::switchChanged, this, &LogoControls::switchChanged);
    connect(&ticker, &SecondTicker::second, this, &LogoControls::second);
    connect(&player, &MediaPlayer::stateChanged, this, [this] { updateScreenSaver(); });
}

LogoControls::~LogoControls()
{
    delete m_overlay;
}

void LogoControls::start()
{
    m_overlay->loadPictures();
    m_pictureSignature = pictureSignature();
    watchPictures();
    m_overlay->setClockFont(ClockFont::read(m_settings));
    m_overlay->placeAt(LogoPlace::read(m_settings).pixels());
    m_overlay->showTime(m_clock.now().time());
    m_overlay->setLogoShown(m_settings.isOn(Switch::Logo));
    m_overlay->setClockShown(m_settings.isOn(Switch::ClockShow));
    loadFields();
}

void LogoControls::watch(QWidget *window)
{
    if (!window)
        return;
    m_keeper->watch(window);
    if (!m_saverScreenOf)
        m_saverScreenOf = window;
}

void LogoControls::loadFields()
{
    const LogoPlace place = LogoPlace::read(m_settings);
    m_top->setText(QString::number(place.topTwips));
    m_left->setText(QString::number(place.leftTwips));
}

void LogoControls::saveLogoMove()
{
    QList<QRect> screens;
    for (const QScreen *screen : QGuiApplication::screens())
        screens.append(screen->geometry());
    const std::optional<LogoPlace> place = LogoPlace::parse(m_top->text(), m_left->text(), screens);
    if (!place) {
        m_prompt.inform(u"提示"_s, kPlaceRefused);
        return;
    }
    if (!place->write(m_settings))
        reportWriteFailure();
    m_overlay->placeAt(place->pixels());
    m_keeper->raiseOverlays();
}

void LogoControls::openTimeShow()
{
    if (!m_timeShow) {
        m_timeShow = new frmTimeShow(m_settings, m_owner);
        connect(m_timeShow, &frmTimeShow::fontChanged, m_overlay, &frmTopMost::setClockFont);
        connect(m_timeShow, &frmTimeShow::writeFailed, this, &LogoControls::reportWriteFailure);
    }
    m_timeShow->load();
    m_timeShow->show();
    m_timeShow->raise();
}

void LogoControls::switchChanged(Switch s, bool on)
{
    switch (s) {
    case Switch::Logo:
        if (on) {
            // The file may have come (or changed) since it was last read.
            m_overlay->loadPictures();
            m_pictureSignature = pictureSignature();
            if (!m_overlay->hasLogo())
                m_prompt.inform(u"提示"_s, u"没有可显示的台标：数据文件夹中没有 %1，或它不是可读的图片（%2）"_s.arg(
                                               DataDir::kLogo, m_dir.root()));
        }
        m_overlay->setLogoShown(on);
        break;
    case Switch::ClockShow:
        m_overlay->showTime(m_clock.now().time());
        m_overlay->setClockShown(on);
        break;
    case Switch::ScreenSaver:
        m_quietSeconds = 0;
        m_saverDismissed = false;
        updateScreenSaver();
        break;
    default:
        break;
    }
}

void LogoControls::second()
{
    m_overlay->showTime(m_clock.now().time());
    if (m_player.state() == MediaPlayer::State::Stopped && !(m_screenBusy && m_screenBusy()))
        ++m_quietSeconds;
    updateScreenSaver();
}

void LogoControls::updateScreenSaver()
{
    if (m_player.state() != MediaPlayer::State::Stopped || (m_screenBusy && m_screenBusy())) {
        m_quietSeconds = 0;
        m_saverDismissed = false;
    }
    const bool on = m_settings.isOn(Switch::ScreenSaver) && !m_saverDismissed
                    && m_quietSeconds >= kSaverDelaySeconds;
    if (on != m_overlay->isScreenSaver())
        m_overlay->setScreenSaver(on, saverArea());
}

void LogoControls::dismissScreenSaver()
{
    if (!m_overlay->isScreenSaver())
        return;
    m_saverDismissed = true;
    m_overlay->setScreenSaver(false);
}

QString LogoControls::pictureSignature() const
{
    QString signature;
    for (const QString &name : {DataDir::kLogo, DataDir::kBackground}) {
        const QFileInfo info(m_dir.fixedFile(name));
        signature += info.fileName() + u'|' + QString::number(info.exists() ? info.size() : -1) + u'|'
                     + QString::number(info.exists() ? info.lastModified().toMSecsSinceEpoch() : 0) + u'\n';
    }
    return signature;
}

void LogoControls::watchPictures()
{
    if (!m_pictureWatch) {
        m_pictureWatch = new QFileSystemWatcher(this);
        m_pictureSettle = new QTimer(this);
        m_pictureSettle->setSingleShot(true);
        m_pictureSettle->setInterval(500); // a copy takes a moment
        connect(m_pictureWatch, &QFileSystemWatcher::directoryChanged, m_pictureSettle,
                qOverload<>(&QTimer::start));
        connect(m_pictureWatch, &QFileSystemWatcher::fileChanged, m_pictureSettle, qOverload<>(&QTimer::start));
        connect(m_pictureSettle, &QTimer::timeout, this, [this] {
            watchPictures(); // a file replaced by a rename is a new file
            const QString now = pictureSignature();
            if (now == m_pictureSignature)
                return;
            m_pictureSignature = now;
            m_overlay->loadPictures();
            m_keeper->raiseOverlays();
        });
    }
    if (!m_pictureWatch->files().isEmpty())
        m_pictureWatch->removePaths(m_pictureWatch->files());
    if (m_pictureWatch->directories().isEmpty() && QFileInfo(m_dir.root()).isDir())
        m_pictureWatch->addPath(m_dir.root());
    for (const QString &name : {DataDir::kLogo, DataDir::kBackground})
        if (const QString path = m_dir.fixedFile(name); QFileInfo::exists(path))
            m_pictureWatch->addPath(path);
}

void LogoControls::reportWriteFailure()
{
    m_prompt.inform(u"提示"_s, u"写文件时出错："_s + m_dir.control());
}

QRect LogoControls::saverArea() const
{
    const QScreen *screen = m_saverScreenOf ? m_saverScreenOf->screen() : nullptr;
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect();
}

} // namespace tav

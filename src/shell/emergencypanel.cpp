#include "shell/emergencypanel.h"

#include "broadcast/voices.h"
#include "core/named.h"
#include "platform/prompt.h"
#include "shell/station.h"

#include <QComboBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kTitle = u"Tavrel多媒体定时播放系统"_s;

QPushButton *button(const char *name, const QString &text, const QString &tip = QString())
{
    auto *b = named(new QPushButton(text), name);
    if (!tip.isEmpty())
        b->setToolTip(tip);
    return b;
}

} // namespace

AnnounceBar::AnnounceBar(Station &station, QWidget *parent) : QWidget(parent), m_station(station)
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    m_text = named(new QLineEdit, "txtAnnounce");
    m_text->setPlaceholderText(u"输入要马上播报的文字"_s);
    auto *announce = button("cmdAnnounce", u"立即插播"_s, u"排在正在进行的播音之后，像定时播音一样播出"_s);
    m_emergency = button("cmdEmergency", u"紧急广播"_s, u"停下一切，全音量循环播放紧急广播，直到解除"_s);
    m_emergency->setStyleSheet(u"QPushButton { color: white; background: #C00000; font-weight: bold; padding: 4px 16px; }"_s);
    row->addWidget(m_text, 1);
    row->addWidget(announce);
    row->addSpacing(24);
    row->addWidget(m_emergency);
    connect(announce, &QPushButton::clicked, this, &AnnounceBar::announceNow);
    connect(m_text, &QLineEdit::returnPressed, this, &AnnounceBar::announceNow);
    connect(m_emergency, &QPushButton::clicked, this, [this] { toggleEmergency(u"主窗口"_s); });
    connect(&m_station, &Station::emergencyChanged, this, [this](bool active) {
        m_emergency->setText(active ? u"解除紧急广播"_s : u"紧急广播"_s);
    });
}

void AnnounceBar::announceNow()
{
    AnnounceRequest request;
    request.text = m_text->text().trimmed();
    QString error;
    if (!m_station.announce(request, u"主窗口"_s, &error)) {
        m_station.prompt().inform(kTitle, error); // the text stays in the field
        return;
    }
    m_text->clear();
}

void AnnounceBar::toggleEmergency(const QString &origin)
{
    const bool active = m_station.emergencyActive();
    const QString question = active ? u"确定解除紧急广播吗？定时节目将照常继续。"_s
                                     : u"确定开始紧急广播吗？\n所有节目停止，全音量循环播放紧急广播，直到解除。"_s;
    m_station.prompt().askLater(kTitle, question, false, this, [this, active, origin](bool yes) {
        if (!yes || m_station.emergencyActive() != active)
            return; // declined, or someone else was quicker
        QString error;
        const bool done = active ? m_station.clearEmergency(origin, &error)
                                 : m_station.startEmergency({}, origin, &error);
        if (!done)
            m_station.prompt().informLater(kTitle, error);
    });
}

EmergencyBox::EmergencyBox(Station &station, QWidget *parent)
    : QGroupBox(u"紧急广播"_s, parent), m_station(station)
{
    setObjectName(u"fraEmergency"_s);
    auto *grid = new QGridLayout(this);
    m_text = named(new QLineEdit, "txtEmergencyText");
    m_voice = named(new QComboBox, "cboEmergencyVoice");
    m_voice->setEditable(true);
    if (const VoiceCatalog *voices = m_station.voices())
        m_voice->addItems(voices->names());
    m_file = named(new QLineEdit, "txtEmergencyFile");
    m_file->setPlaceholderText(u"不填则朗读上面的文字"_s);
    auto *browse = button("cmdEmergencyFile", u"..."_s, u"选择声音文件"_s);
    auto *save = button("cmdEmergencySave", u"保存"_s);
    grid->addWidget(new QLabel(u"文字"_s), 0, 0);
    grid->addWidget(m_text, 0, 1, 1, 3);
    grid->addWidget(new QLabel(u"声音"_s), 1, 0);
    grid->addWidget(m_voice, 1, 1);
    grid->addWidget(new QLabel(u"声音文件"_s), 2, 0);
    grid->addWidget(m_file, 2, 1, 1, 2);
    grid->addWidget(browse, 2, 3);
    grid->addWidget(save, 3, 3);
    load();
    connect(browse, &QPushButton::clicked, this, &EmergencyBox::chooseFile);
    connect(save, &QPushButton::clicked, this, &EmergencyBox::save);
}

void EmergencyBox::load()
{
    const EmergencySettings &e = m_station.emergency().settings();
    m_text->setText(e.text);
    m_voice->setCurrentText(e.speaker.isEmpty() ? QString::fromLatin1(VoiceCatalog::kDefault) : e.speaker);
    m_file->setText(e.soundFile);
}

void EmergencyBox::save()
{
    EmergencySettings e;
    e.text = m_text->text().trimmed();
    e.speaker = m_voice->currentText().trimmed();
    e.soundFile = m_file->text().trimmed();
    QString error;
    if (!m_station.emergency().saveSettings(e, &error))
        m_station.prompt().inform(kTitle, error); // the fields keep what was typed
}

void EmergencyBox::chooseFile()
{
    const QString filter = u"声音文件 (*.wav *.mp3 *.wma *.ogg *.flac)"_s;
    const QStringList chosen = m_chooseFiles
                                   ? m_chooseFiles(u"选择声音文件"_s, filter)
                                   : QStringList{QFileDialog::getOpenFileName(this, u"选择声音文件"_s, QString(), filter)};
    if (!chosen.isEmpty() && !chosen.first().isEmpty())
        m_file->setText(chosen.first());
}

} // namespace tav

#include "pictures/frmtimeshow.h"

#include "core/settings.h"
#include "pictures/logoclock.h"
#include "pictures/logomask.h"

#include <QColorDialog>
#include <QFontDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

frmTimeShow::frmTimeShow(Settings &settings, QWidget *parent)
    : QWidget(parent, Qt::Dialog)
    , m_settings(settings)
{
    setObjectName(u"frmTimeShow"_s);
    setWindowTitle(u"时间字体"_s);
    auto *layout = new QVBoxLayout(this);
    m_sample = new ClockLabel(u"12:34:56"_s);
    m_sample->setObjectName(u"lblSample"_s);
    m_sample->setAlignment(Qt::AlignCenter);
    m_sample->setMinimumSize(320, 120);
    // On the see-through grey, as it will be shown.
    m_sample->setAutoFillBackground(true);
    QPalette palette = m_sample->palette();
    palette.setColor(QPalette::Window, QColor::fromRgb(kLogoColourKey));
    m_sample->setPalette(palette);
    layout->addWidget(m_sample, 1);
    auto *buttons = new QHBoxLayout;
    auto *font = new QPushButton(u"字体..."_s);
    font->setObjectName(u"cmdFont"_s);
    auto *colour = new QPushButton(u"颜色..."_s);
    colour->setObjectName(u"cmdColor"_s);
    auto *close = new QPushButton(u"关闭"_s);
    close->setObjectName(u"cmdClose"_s);
    buttons->addWidget(font);
    buttons->addWidget(colour);
    buttons->addStretch();
    buttons->addWidget(close);
    layout->addLayout(buttons);
    connect(font, &QPushButton::clicked, this, &frmTimeShow::chooseFont);
    connect(colour, &QPushButton::clicked, this, &frmTimeShow::chooseColour);
    connect(close, &QPushButton::clicked, this, &QWidget::close);

    m_chooseFont = [this](const QFont &current) -> std::optional<QFont> {
        bool ok = false;
        const QFont chosen = QFontDialog::getFont(&ok, current, this, u"时间字体"_s);
        return ok ? std::optional<QFont>(chosen) : std::nullopt;
    };
    m_chooseColour = [this](const QColor &current) -> std::optional<QColor> {
        const QColor chosen = QColorDialog::getColor(current, this, u"时间颜色"_s);
        return chosen.isValid() ? std::optional<QColor>(chosen) : std::nullopt;
    };
    load();
}

void frmTimeShow::load()
{
    m_font = ClockFont::read(m_settings);
    m_sample->setClockFont(m_font);
}

void frmTimeShow::chooseFont()
{
    const std::optional<QFont> chosen = m_chooseFont(ClockLabel::qtFont(m_font));
    if (!chosen)
        return;
    m_font.name = chosen->family();
    if (chosen->pointSize() > 0)
        m_font.size = chosen->pointSize();
    m_font.bold = chosen->bold();
    m_font.italic = chosen->italic();
    m_font.underline = chosen->underline();
    m_font.strikethru = chosen->strikeOut();
    store();
}

void frmTimeShow::chooseColour()
{
    const std::optional<QColor> chosen = m_chooseColour(ClockLabel::colourOf(m_font));
    if (!chosen || !chosen->isValid())
        return;
    m_font.colorRef = ColorRef::of(chosen->red(), chosen->green(), chosen->blue());
    store();
}

void frmTimeShow::store()
{
    const bool written = m_font.write(m_settings);
    load();
    emit fontChanged(m_font);
    if (!written)
        emit writeFailed();
}

} // namespace tav

#include "captions/frmmovefont.h"
#include "core/named.h"

#include "captions/captionscroller.h"
#include "captions/captionstrip.h"
#include "core/clock.h"
#include "core/zhtext.h"
#include "platform/prompt.h"
#include "scheduler/timepicker.h"

#include <QColorDialog>
#include <QComboBox>
#include <QFontDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIntValidator>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollBar>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

const QString kTitle = u"提示"_s;
const QString kTimeFormat = u"HH:mm:00"_s;
const QStringList kJumps{u"1"_s, u"2"_s, u"3"_s, u"5"_s, u"10"_s, u"15"_s, u"20"_s, u"30"_s, u"50"_s, u"100"_s};
const QStringList kTops{u"0"_s, u"50"_s, u"100"_s, u"200"_s, u"300"_s, u"400"_s, u"500"_s, u"600"_s, u"700"_s};

QPushButton *button(const char *name, const QString &text, const QString &tip = QString())
{
    auto *b = named(new QPushButton(text), name);
    if (!tip.isEmpty())
        b->setToolTip(tip);
    return b;
}

QComboBox *numberBox(const char *name, const QStringList &items, int low, int high)
{
    auto *box = named(new QComboBox, name);
    box->setEditable(true);
    box->addItems(items);
    box->setValidator(new QIntValidator(low, high, box));
    return box;
}

} // namespace

const QStringList frmMoveFont::kHeaders{u"序号"_s, u"开始时间"_s, u"结束时间"_s, u"定时"_s,
                                        QString(24, u' ') + u"内容"_s};
const QString frmMoveFont::kGridTip = u"单击查看该行字幕内容，双击编辑该行字幕内容"_s;

frmMoveFont::frmMoveFont(CaptionBook &book, CaptionScroller &scroller, CaptionStrip *strip, Prompt &prompt,
                         const Clock &clock, QWidget *parent)
    : QWidget(parent, Qt::Window), m_book(book), m_scroller(scroller), m_strip(strip), m_prompt(prompt),
      m_clock(clock)
{
    setObjectName(u"frmMoveFont"_s);
    setWindowTitle(u"滚动字幕"_s);
    resize(860, 620);
    m_chooseFont = [this](const QFont &current) -> std::optional<QFont> {
        bool ok = false;
        const QFont font = QFontDialog::getFont(&ok, current, this, u"字幕字体"_s);
        return ok ? std::optional<QFont>(font) : std::nullopt;
    };
    m_chooseColour = [this](const QColor &current) -> std::optional<QColor> {
        const QColor colour = QColorDialog::getColor(current, this, u"字幕颜色"_s);
        return colour.isValid() ? std::optional<QColor>(colour) : std::nullopt;
    };

    auto *layout = new QVBoxLayout(this);
    m_grid = named(new QTableWidget, "MSHFGfont");
    m_grid->setToolTip(kGridTip);
    m_grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_grid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_grid->verticalHeader()->hide();
    layout->addWidget(m_grid, 1);
    connect(m_grid, &QTableWidget::cellClicked, this, [this](int row, int) { gridClicked(row); });
    connect(m_grid, &QTableWidget::cellDoubleClicked, this, [this](int row, int) { gridDoubleClicked(row); });

    auto *edit = new QGridLayout;
    edit->addWidget(new QLabel(u"字幕内容："_s), 0, 0);
    m_text = named(new QLineEdit, "txtFont");
    m_text->installEventFilter(this);
    edit->addWidget(m_text, 0, 1, 1, 7);
    edit->addWidget(new QLabel(u"开始时间："_s), 1, 0);
    m_start = named(new TimePicker, "DTPStart");
    edit->addWidget(m_start, 1, 1);
    edit->addWidget(new QLabel(u"结束时间："_s), 1, 2);
    m_end = named(new TimePicker, "DTPend");
    edit->addWidget(m_end, 1, 3);
    auto *add = button("cmdScrollAdd", u"添加"_s);
    auto *change = button("cmdChange", u"修改"_s);
    auto *remove = button("cmdScrollDel", u"删除"_s);
    auto *save = button("cmdScrollSave", u"保存"_s);
    edit->addWidget(add, 1, 4);
    edit->addWidget(change, 1, 5);
    edit->addWidget(remove, 1, 6);
    edit->addWidget(save, 1, 7);
    layout->addLayout(edit);
    connect(add, &QPushButton::clicked, this, &frmMoveFont::cmdScrollAdd_Click);
    connect(change, &QPushButton::clicked, this, &frmMoveFont::cmdChange_Click);
    connect(remove, &QPushButton::clicked, this, &frmMoveFont::cmdScrollDel_Click);
    connect(save, &QPushButton::clicked, this, &frmMoveFont::cmdScrollSave_Click);

    auto *settings = new QGroupBox(u"字幕设置"_s);
    auto *grid = new QGridLayout(settings);
    m_moveLabel = named(new QLabel, "lblLeftMove");
    grid->addWidget(m_moveLabel, 0, 0);
    m_move = named(new QScrollBar(Qt::Horizontal), "HScrollLeftMove");
    m_move->setRange(CaptionSettings::kMinMove, CaptionSettings::kMaxMove);
    m_move->setMinimumWidth(160);
    grid->addWidget(m_move, 0, 1);
    connect(m_move, &QScrollBar::valueChanged, this,
            [this](int v) { m_moveLabel->setText(u"左移速度：%1"_s.arg(v)); });
    grid->addWidget(new QLabel(u"跳跃速度："_s), 0, 2);
    m_jump = numberBox("cboTurner", kJumps, CaptionSettings::kMinJump, CaptionSettings::kMaxJump);
    grid->addWidget(m_jump, 0, 3);
    grid->addWidget(new QLabel(u"毫秒"_s), 0, 4);
    grid->addWidget(new QLabel(u"高度位置："_s), 1, 0);
    m_top = numberBox("cboTop", kTops, 0, 99999);
    grid->addWidget(m_top, 1, 1);
    connect(m_top, &QComboBox::textActivated, this, &frmMoveFont::cboTop_Change);
    connect(m_top->lineEdit(), &QLineEdit::editingFinished, this, &frmMoveFont::cboTop_Change);
    grid->addWidget(new QLabel(u"切换时间："_s), 1, 2);
    m_changeTime = named(new QComboBox, "cboSC_ChangeTime");
    for (int i = 1; i <= CaptionSettings::kMaxChangeMinutes; ++i)
        m_changeTime->addItem(QString::number(i));
    grid->addWidget(m_changeTime, 1, 3);
    grid->addWidget(new QLabel(u"分钟(循环和顺序播放有效)"_s), 1, 4);

    auto *manners = new QHBoxLayout;
    const QString captions[3] = {u"连续循环"_s, u"顺序一次"_s, u"设定时间"_s};
    const QString tips[3] = {u"从列表的第一行播放至最后一行再回到第一行重新播放"_s, u"从列表的第一行播放到最后一行再停止"_s,
                             u"按照设定的开始时间和结束时间进行播放"_s};
    for (int i = 0; i < 3; ++i) {
        m_manners[i] = new QRadioButton(captions[i]);
        m_manners[i]->setObjectName(u"OptScrollMode%1"_s.arg(i));
        m_manners[i]->setToolTip(tips[i]);
        manners->addWidget(m_manners[i]);
    }
    manners->addStretch();
    grid->addLayout(manners, 2, 0, 1, 5);
    auto *look = button("cmdCabelColor", u"字体颜色..."_s);
    grid->addWidget(look, 3, 0);
    m_demo = named(new QLabel(u"字幕样式 AaBb 123"_s), "lblDemo");
    grid->addWidget(m_demo, 3, 1, 1, 4);
    connect(look, &QPushButton::clicked, this, &frmMoveFont::cmdCabelColor_Click);
    layout->addWidget(settings);

    auto *run = new QHBoxLayout;
    m_sample = named(new QLabel, "Label11");
    m_sample->setMinimumWidth(240);
    run->addWidget(m_sample, 1);
    m_preview = named(new QLabel, "lblPreview");
    run->addWidget(m_preview);
    auto *preview = button("cmdPreview", u"预览"_s, u"把上面显示的字幕放到屏幕上滚动"_s);
    auto *startNow = button("cmdStartNow", u"开始滚动"_s);
    auto *stop = button("cmdSRstop", u"停止滚动"_s);
    auto *back = button("cmdReturn", u"返回"_s);
    auto *main = button("cmdReturnMian", u"返回主界面"_s);
    for (QPushButton *b : {preview, startNow, stop, back, main})
        run->addWidget(b);
    layout->addLayout(run);
    connect(preview, &QPushButton::clicked, this, &frmMoveFont::cmdPreview_Click);
    connect(startNow, &QPushButton::clicked, this, &frmMoveFont::cmdStartNow_Click);
    connect(stop, &QPushButton::clicked, this, &frmMoveFont::cmdSRstop_Click);
    connect(back, &QPushButton::clicked, this, &QWidget::hide);
    connect(main, &QPushButton::clicked, this, [this] {
        hide();
        emit returned();
    });
    connect(&m_scroller, &CaptionScroller::statusChanged, m_preview, &QLabel::setText);
    connect(&m_book, &CaptionBook::changed, this, &frmMoveFont::showRows);

    // Window load: both times now, the list and the settings, the preview.
    const QTime now = m_clock.now().time();
    m_start->setTime(QTime(now.hour(), now.minute()));
    m_end->setTime(QTime(now.hour(), now.minute()));
    FontShowTitle();
    m_book.load();
    showSettings(m_book.settings());
    if (!m_book.rows().isEmpty() && !m_scroller.isRunning())
        cmdStartNow_Click();
}

void frmMoveFont::FontShowTitle()
{
    m_grid->setColumnCount(int(kHeaders.size()));
    m_grid->setHorizontalHeaderLabels(kHeaders);
    m_grid->setColumnWidth(0, 48);
    m_grid->setColumnWidth(1, 90);
    m_grid->setColumnWidth(2, 90);
    m_grid->setColumnWidth(3, 48);
    m_grid->horizontalHeader()->setStretchLastSection(true);
}

// The rows, and one empty row after them as the grid has always had.
void frmMoveFont::showRows()
{
    const QList<Caption> &rows = m_book.rows();
    m_grid->setRowCount(int(rows.size()) + 1);
    for (int r = 0; r <= rows.size(); ++r) {
        const Caption c = r < rows.size() ? rows[r] : Caption{};
        const QString cells[5] = {r < rows.size() ? QString::number(r + 1) : QString(), c.start, c.end, c.swicth,
                                  c.content};
        for (int col = 0; col < 5; ++col)
            m_grid->setItem(r, col, new QTableWidgetItem(cells[col]));
    }
}

void frmMoveFont::showSettings(const CaptionSettings &s)
{
    m_move->setValue(s.move);
    m_moveLabel->setText(u"左移速度：%1"_s.arg(m_move->value()));
    m_jump->setEditText(QString::number(s.jump));
    m_top->setEditText(QString::number(s.y));
    m_manners[qBound(0, s.manner, 2)]->setChecked(true);
    m_changeTime->setCurrentIndex(qBound(1, s.changeMinutes, CaptionSettings::kMaxChangeMinutes) - 1);
    m_font = captionFont(s);
    m_colour = captionColour(s.foreColor);
    fontcolor();
}

void frmMoveFont::fontcolor()
{
    for (QLabel *label : {m_demo, m_sample}) {
        label->setFont(m_font);
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, m_colour);
        label->setPalette(palette);
    }
}

CaptionSettings frmMoveFont::controlSettings() const
{
    CaptionSettings s = m_book.settings(); // the font and colour as stored
    s.move = m_move->value();
    bool ok = false;
    if (const int jump = m_jump->currentText().toInt(&ok); ok && jump >= CaptionSettings::kMinJump)
        s.jump = jump;
    if (const int top = m_top->currentText().toInt(&ok); ok && top >= 0 && top <= maxTop())
        s.y = top;
    for (int i = 0; i < 3; ++i)
        if (m_manners[i]->isChecked())
            s.manner = i;
    s.changeMinutes = m_changeTime->currentText().toInt();
    return s;
}

int frmMoveFont::maxTop() const
{
    const QScreen *screen = m_strip ? m_strip->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return 99999;
    const int band = m_strip ? m_strip->height() : QFontMetrics(m_font).height();
    return qMax(0, screen->geometry().height() - band);
}

void frmMoveFont::cboTop_Change()
{
    bool ok = false;
    const int top = m_top->currentText().toInt(&ok);
    if (ok && top >= 0 && top <= maxTop())
        return;
    m_prompt.inform(kTitle, u"数值超出"_s);
    m_top->setEditText(QString::number(kTopReset));
}

bool frmMoveFont::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_text && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            m_prompt.inform(kTitle, u"不允许输入回车键"_s);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

Caption frmMoveFont::captionFromFields(const QString &swicth) const
{
    return {m_start->time().toString(kTimeFormat), m_end->time().toString(kTimeFormat), swicth, m_text->text()};
}

void frmMoveFont::selectRow(int row)
{
    if (row >= 0)
        m_grid->selectRow(row);
}

// Settings and captions written, and what runs takes them up.
bool frmMoveFont::saveAll()
{
    QString error;
    if (!m_book.saveSettings(controlSettings(), &error) || !m_book.save(&error)) {
        m_prompt.inform(kTitle, u"保存失败："_s + error);
        return false;
    }
    m_scroller.restart();
    return true;
}

void frmMoveFont::cmdScrollAdd_Click()
{
    const QString problem = CaptionBook::checkText(m_text->text());
    if (!problem.isEmpty()) {
        m_prompt.inform(kTitle, problem);
        return;
    }
    if (m_book.findSame(m_text->text()) >= 0
        && !m_prompt.ask(kTitle, u"该字幕已存在,是否真的添加相同的字幕！"_s, false))
        return;
    m_editing = -1;
    const int row = m_book.add(captionFromFields(CaptionBook::kOn));
    selectRow(row);
    if (saveAll())
        m_prompt.inform(kTitle, u"已新增字幕，并且已自动按时间排序在列表中"_s);
}

void frmMoveFont::cmdChange_Click()
{
    const int row = m_editing >= 0 ? m_editing : m_grid->currentRow();
    if (row < 0 || row >= m_book.rows().size()) {
        m_prompt.inform(kTitle, u"请先双击列表中要修改的字幕"_s);
        return;
    }
    const QString problem = CaptionBook::checkText(m_text->text());
    if (!problem.isEmpty()) {
        m_prompt.inform(kTitle, problem);
        return;
    }
    m_editing = -1;
    selectRow(m_book.change(row, captionFromFields(m_book.rows()[row].swicth)));
    if (saveAll())
        m_prompt.inform(kTitle, u"已编辑第%1条字幕，并且已自动按时间排序在列表中"_s.arg(row + 1));
}

void frmMoveFont::cmdScrollDel_Click()
{
    const int row = m_grid->currentRow();
    if (row < 0 || row >= m_book.rows().size()) {
        m_prompt.inform(kTitle, u"本行为空"_s);
        return;
    }
    if (!m_prompt.ask(kTitle, u"确定删除第%1条字幕吗?"_s.arg(row + 1), false))
        return;
    m_editing = -1;
    m_book.remove(row);
    QString error;
    if (!m_book.save(&error))
        m_prompt.inform(kTitle, u"保存失败："_s + error);
    m_scroller.restart();
}

bool frmMoveFont::cmdScrollSave_Click()
{
    return saveAll();
}

void frmMoveFont::cmdCabelColor_Click()
{
    const std::optional<QFont> font = m_chooseFont(m_font);
    if (!font)
        return;
    const std::optional<QColor> colour = m_chooseColour(m_colour);
    CaptionSettings s = m_book.settings();
    s.fontName = font->family();
    s.fontSize = font->pointSizeF() > 0 ? font->pointSizeF() : s.fontSize;
    s.bold = font->bold();
    s.italic = font->italic();
    s.underline = font->underline();
    s.strikeOut = font->strikeOut();
    if (colour)
        s.foreColor = storedColour(*colour);
    QString error;
    if (!m_book.saveSettings(s, &error)) {
        m_prompt.inform(kTitle, u"保存失败："_s + error);
        return;
    }
    m_font = captionFont(s);
    m_colour = captionColour(s.foreColor);
    fontcolor();
}

void frmMoveFont::cmdStartNow_Click()
{
    m_scroller.useSettings(controlSettings());
    m_scroller.cmdStartNow_Click();
}

void frmMoveFont::cmdSRstop_Click()
{
    m_scroller.cmdSRstop_Click();
}

void frmMoveFont::cmdPreview_Click()
{
    if (m_sample->text().isEmpty()) {
        m_prompt.inform(kTitle, u"本行为空"_s);
        return;
    }
    m_scroller.useSettings(controlSettings());
    m_scroller.preview(m_sample->text());
}

void frmMoveFont::gridClicked(int row)
{
    if (m_editing >= 0 && row != m_editing) {
        m_prompt.inform(kTitle, u"编辑字幕状态，列表禁止操作"_s);
        return;
    }
    if (row < 0 || row >= m_book.rows().size()) {
        m_prompt.inform(kTitle, u"本行为空"_s);
        return;
    }
    m_sample->setText(m_book.rows()[row].content);
}

void frmMoveFont::gridDoubleClicked(int row)
{
    if (m_editing >= 0) {
        m_prompt.inform(kTitle, u"编辑字幕状态，列表禁止操作"_s);
        return;
    }
    if (row < 0 || row >= m_book.rows().size())
        return; // the click said so already
    const Caption &c = m_book.rows()[row];
    m_text->setText(c.content);
    m_start->setTime(QTime(0, 0).addSecs(qMax(0, zh::secondsOfDay(c.start))));
    m_end->setTime(QTime(0, 0).addSecs(qMax(0, zh::secondsOfDay(c.end))));
    m_editing = row;
}

} // namespace tav

#include "broadcast/frmpresentation.h"

#include "broadcast/broadcastparts.h"
#include "broadcast/scriptstore.h"
#include "platform/prompt.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

const QString frmPresentation::kImportFilter = u"txt Files (*.txt)|*.txt|"_s;

frmPresentation::frmPresentation(BroadcastParts &parts, QWidget *parent) : QDialog(parent), m_parts(parts)
{
    setObjectName(u"frmPresentation"_s);
    m_choose = qtFileChooser(this);
    m_title = new QLineEdit;
    m_title->setObjectName(u"txtPstnTitle"_s);
    m_text = new QPlainTextEdit;
    m_text->setObjectName(u"txtPstnText"_s);
    m_save = new QPushButton(u"保存"_s);
    m_save->setObjectName(u"cmdSavePstn"_s);
    m_import = new QPushButton(u"导入..."_s);
    m_import->setObjectName(u"cmdImportPstn"_s);
    auto *listenButton = new QPushButton(u"试听"_s);
    listenButton->setObjectName(u"cmdListenPstn"_s);
    auto *taskButton = new QPushButton(u"生成播音任务"_s);
    taskButton->setObjectName(u"cmdMakeTask"_s);
    auto *close = new QPushButton(u"关闭"_s);
    close->setObjectName(u"cmdClosePstn"_s);
    auto *top = new QHBoxLayout;
    top->addWidget(new QLabel(u"文稿主题"_s));
    top->addWidget(m_title, 1);
    auto *buttons = new QHBoxLayout;
    for (QPushButton *b : {m_import, listenButton, taskButton})
        buttons->addWidget(b);
    buttons->addStretch();
    buttons->addWidget(m_save);
    buttons->addWidget(close);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_text, 1);
    layout->addLayout(buttons);
    resize(620, 460);

    connect(m_save, &QPushButton::clicked, this, [this] {
        if (save())
            QDialog::close();
    });
    connect(close, &QPushButton::clicked, this, &QDialog::close);
    connect(m_import, &QPushButton::clicked, this, [this] {
        const QString path = m_choose(u"导入文本文件"_s, kImportFilter, false);
        if (path.isEmpty())
            return;
        QString note;
        const QString text = ScriptStore::readTextFile(path, &note);
        if (text.isEmpty() && !note.isEmpty()) {
            m_parts.prompt.inform(u"提示"_s, u"无法导入 %1：%2"_s.arg(path, note));
            return;
        }
        m_text->setPlainText(text);
        if (!note.isEmpty())
            m_parts.prompt.inform(u"提示"_s, note);
    });
    connect(listenButton, &QPushButton::clicked, this, [this] { emit listen(m_text->toPlainText()); });
    connect(taskButton, &QPushButton::clicked, this, [this] {
        if (m_title->text().trimmed().isEmpty() || m_text->toPlainText().isEmpty()) {
            m_parts.prompt.inform(u"提示"_s, u"不允许标题内容为空"_s);
            return;
        }
        emit makeTask(m_text->toPlainText());
    });
}

void frmPresentation::openNew()
{
    m_mode = Mode::Add;
    m_section = 0;
    m_oldTitle.clear();
    setWindowTitle(u"增加文稿"_s);
    m_title->clear();
    m_text->clear();
    m_title->setReadOnly(false);
    m_text->setReadOnly(false);
    for (QWidget *w : {static_cast<QWidget *>(m_title), static_cast<QWidget *>(m_text), static_cast<QWidget *>(m_save),
                       static_cast<QWidget *>(m_import)})
        w->setEnabled(true);
    show();
    raise();
}

void frmPresentation::openScript(int section, const QString &title, Mode mode)
{
    m_mode = mode;
    m_section = section;
    m_oldTitle = title;
    setWindowTitle(mode == Mode::View ? u"查看文稿"_s : u"编辑文稿"_s);
    m_title->setText(title);
    m_text->setPlainText(m_parts.scripts.text(title));
    const bool editable = mode != Mode::View;
    m_title->setReadOnly(!editable);
    m_text->setReadOnly(!editable);
    m_save->setEnabled(editable);
    m_import->setEnabled(editable);
    show();
    raise();
}

bool frmPresentation::save()
{
    if (m_mode == Mode::View)
        return false;
    QString error;
    const bool ok = m_mode == Mode::Edit
                        ? m_parts.scripts.edit(m_section, m_oldTitle, m_title->text(), m_text->toPlainText(), &error)
                        : m_parts.scripts.add(m_title->text(), m_text->toPlainText(), &error);
    if (!ok) {
        m_parts.prompt.inform(u"提示"_s, error);
        return false;
    }
    emit saved();
    return true;
}

} // namespace tav

#include "remote/webconsolebox.h"

#include "core/secret.h"
#include "platform/prompt.h"
#include "remote/websettings.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHostAddress>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QThreadPool>

using namespace Qt::StringLiterals;

namespace tav {

namespace {
const QString kTitle = u"提示"_s;

template<typename W>
W *named(W *widget, const char *name)
{
    widget->setObjectName(QString::fromLatin1(name));
    return widget;
}
} // namespace

WebConsoleBox::WebConsoleBox(const DataDir &dir, Prompt &prompt, QWidget *parent)
    : QGroupBox(u"网页控制台"_s, parent), m_dir(dir), m_prompt(prompt)
{
    setObjectName(u"fraWebConsole"_s);
    auto *grid = new QGridLayout(this);
    m_on = named(new QCheckBox(u"开启网页控制台"_s), "chkWebOn");
    m_port = named(new QSpinBox, "txtWebPort");
    m_port->setRange(1, 65535);
    m_listen = named(new QComboBox, "cboWebListen");
    m_listen->setEditable(true);
    m_listen->addItems({u"127.0.0.1"_s, u"0.0.0.0"_s});
    m_listen->setToolTip(u"127.0.0.1：只有本机可以访问；0.0.0.0：局域网中的电脑和手机都可以访问"_s);
    m_password = named(new QLineEdit, "txtWebPassword");
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setPlaceholderText(u"不修改请留空"_s);
    m_viewerPassword = named(new QLineEdit, "txtWebViewerPassword");
    m_viewerPassword->setEchoMode(QLineEdit::Password);
    m_viewerPassword->setPlaceholderText(u"不修改请留空"_s);
    m_noViewer = named(new QCheckBox(u"取消只读用户"_s), "chkWebNoViewer");
    m_certificate = named(new QLineEdit, "txtWebCertificate");
    m_certificate->setPlaceholderText(u"可选，PEM 文件"_s);
    m_key = named(new QLineEdit, "txtWebKey");
    m_key->setPlaceholderText(u"可选，PEM 文件"_s);
    m_save = named(new QPushButton(u"保存"_s), "cmdWebSave");
    m_state = named(new QLabel, "lblWebState");
    m_state->setWordWrap(true);

    grid->addWidget(m_on, 0, 0, 1, 2);
    grid->addWidget(new QLabel(u"端口"_s), 0, 2);
    grid->addWidget(m_port, 0, 3);
    grid->addWidget(new QLabel(u"监听地址"_s), 0, 4);
    grid->addWidget(m_listen, 0, 5);
    grid->addWidget(new QLabel(u"管理密码"_s), 1, 0);
    grid->addWidget(m_password, 1, 1, 1, 2);
    grid->addWidget(new QLabel(u"只读密码"_s), 1, 3);
    grid->addWidget(m_viewerPassword, 1, 4);
    grid->addWidget(m_noViewer, 1, 5);
    grid->addWidget(new QLabel(u"证书文件"_s), 2, 0);
    grid->addWidget(m_certificate, 2, 1, 1, 2);
    grid->addWidget(new QLabel(u"密钥文件"_s), 2, 3);
    grid->addWidget(m_key, 2, 4, 1, 2);
    grid->addWidget(m_state, 3, 0, 1, 5);
    grid->addWidget(m_save, 3, 5);
    connect(m_save, &QPushButton::clicked, this, &WebConsoleBox::save);
    load();
}

void WebConsoleBox::load()
{
    const WebSettings s = WebSettings::load(m_dir);
    m_on->setChecked(s.enabled);
    m_port->setValue(s.port);
    m_listen->setCurrentText(s.listen);
    m_password->clear();
    m_viewerPassword->clear();
    m_noViewer->setChecked(false);
    m_certificate->setText(s.certificate);
    m_key->setText(s.key);
    m_state->setText(s.managerHash.isEmpty() ? u"尚未设置管理密码"_s
                                             : u"已设置管理密码；修改开关、端口、地址或证书后，重新启动程序生效"_s);
}

void WebConsoleBox::save()
{
    bool readable = true;
    WebSettings s = WebSettings::load(m_dir, &readable);
    const auto refuse = [this](const QString &text) {
        m_prompt.inform(kTitle, text);
        emit saved(false);
    };
    if (!readable)
        return refuse(u"无法读取"_s + m_dir.control());
    const QString listen = m_listen->currentText().trimmed();
    if (QHostAddress(listen).isNull())
        return refuse(u"监听地址不正确：%1"_s.arg(listen));
    const QString password = m_password->text(), viewer = m_viewerPassword->text();
    for (const QString &p : {password, viewer})
        if (!p.isEmpty() && p.size() < 6)
            return refuse(u"密码至少要 6 个字符"_s);
    if (m_on->isChecked() && s.managerHash.isEmpty() && password.isEmpty())
        return refuse(u"请先设置管理密码"_s);
    if (m_certificate->text().trimmed().isEmpty() != m_key->text().trimmed().isEmpty())
        return refuse(u"证书文件和密钥文件要同时填写"_s);
    s.enabled = m_on->isChecked();
    s.port = quint16(m_port->value());
    s.listen = listen;
    s.certificate = m_certificate->text().trimmed();
    s.key = m_key->text().trimmed();
    if (m_noViewer->isChecked())
        s.viewerHash.clear();
    m_save->setEnabled(false);
    // Hashing takes a moment: away from the event loop and its clockwork.
    QPointer<WebConsoleBox> self(this);
    QThreadPool::globalInstance()->start([self, s, password, viewer, dir = m_dir]() mutable {
        if (!password.isEmpty())
            s.managerHash = hashSecret(password);
        if (!viewer.isEmpty())
            s.viewerHash = hashSecret(viewer);
        QMetaObject::invokeMethod(qApp, [self, s, dir] {
            if (!self)
                return;
            self->m_save->setEnabled(true);
            QString error;
            if (!s.save(dir, &error)) {
                self->m_prompt.inform(kTitle, u"保存失败："_s + error);
                emit self->saved(false);
                return;
            }
            self->load();
            emit self->saved(true);
        }, Qt::QueuedConnection);
    });
}

} // namespace tav

// The web console's fields on the console's settings page.
#include "remote/webconsolebox.h"
#include "remote/websettings.h"
#include "widgets.h"

#include <QSignalSpy>
#include <QSpinBox>

using tav::test::child;

TEST(WebConsoleBox, RefusesWhatCannotWorkAndSavesAHashedPassword)
{
    tav::test::DataFolder d;
    d.write(u"【CONTROL】.ini"_s, u"[复选控制]\n播音=1\n"_s);
    tav::test::ScriptedPrompt prompt;
    tav::WebConsoleBox box(tav::DataDir(d.path()), prompt);
    QSignalSpy saved(&box, &tav::WebConsoleBox::saved);
    struct Case
    {
        QString listen, password, certificate, message;
    };
    const auto save = [&box](const Case &c) {
        child<QCheckBox>(&box, "chkWebOn")->setChecked(true);
        child<QComboBox>(&box, "cboWebListen")->setCurrentText(c.listen);
        child<QLineEdit>(&box, "txtWebPassword")->setText(c.password);
        child<QLineEdit>(&box, "txtWebCertificate")->setText(c.certificate);
        child<QSpinBox>(&box, "txtWebPort")->setValue(8791);
        child<QPushButton>(&box, "cmdWebSave")->click();
    };
    const Case refused[] = {
        {u"192.168.1.300"_s, u"secret1"_s, {}, u"提示|监听地址不正确：192.168.1.300"_s},
        {u"127.0.0.1"_s, u"short"_s, {}, u"提示|密码至少要 6 个字符"_s},
        {u"127.0.0.1"_s, {}, {}, u"提示|请先设置管理密码"_s},
        {u"127.0.0.1"_s, u"secret1"_s, u"/etc/c.pem"_s, u"提示|证书文件和密钥文件要同时填写"_s},
    };
    for (const Case &c : refused) {
        prompt.shown.clear();
        save(c);
        EXPECT_EQ(prompt.shown, QStringList{c.message});
    }
    EXPECT_FALSE(d.text(u"【CONTROL】.ini"_s).contains(u"[WEB]"_s));

    saved.clear();
    save({u"0.0.0.0"_s, u"station-secret"_s, {}, {}});
    ASSERT_TRUE(saved.wait(10000));
    EXPECT_TRUE(saved.last().at(0).toBool());
    const tav::WebSettings s = tav::WebSettings::load(tav::DataDir(d.path()));
    EXPECT_TRUE(s.enabled);
    EXPECT_EQ(s.port, 8791);
    EXPECT_EQ(s.listen, u"0.0.0.0");
    EXPECT_TRUE(s.managerHash.startsWith(u"pbkdf2-sha256$"_s));
    EXPECT_TRUE(d.text(u"【CONTROL】.ini"_s).contains(u"播音=1"_s));
    EXPECT_TRUE(child<QLineEdit>(&box, "txtWebPassword")->text().isEmpty());
}

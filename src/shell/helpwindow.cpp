#include "shell/helpwindow.h"

#include "core/datadir.h"
#include "shell/resources.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>


using namespace Qt::StringLiterals;


namespace tav {

namespace {

// Pages written on the station PC are often GBK without saying so: a
// declared charset wins, then UTF-8 when the bytes are valid UTF-8, else GBK.
QString decodePage(const QByteArray &bytes)
{
    if (bytes.left(1024).toLower().contains("charset")) {
        QStringDecoder declared = QStringDecoder::decoderForHtml(bytes);
        if (declared.isValid())
            return declared(bytes);
    }
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8(bytes);
    if (!utf8.hasError())
        return text;
    QStringDecoder gbk("GBK");
    return gbk.isValid() ? QString(gbk(bytes)) : text;
}

// Reads pages through decodePage, so that links between the operator's own
// pages and relative pictures keep working.
class HelpBrowser final : public QTextBrowser
{
public:
    using QTextBrowser::QTextBrowser;

    QVariant loadResource(int type, const QUrl &name) override
    {
        if (type == QTextDocument::HtmlResource) {
            const QString path = name.scheme() == u"qrc"_s ? u':' + name.path() : name.toLocalFile();
            QFile file(path);
            if (!path.isEmpty() && file.open(QIODevice::ReadOnly))
                return decodePage(file.readAll());
        }
        return QTextBrowser::loadResource(type, name);
    }
};

} // namespace

HelpWindow::HelpWindow(const QString &dataDir, QWidget *parent)
    : QDialog(parent), m_browser(new HelpBrowser(this))
{
    registerShellResources();
    setObjectName(u"helpWindow"_s);
    setWindowTitle(u"帮助说明"_s);
    m_browser->setObjectName(u"helpBrowser"_s);
    m_browser->setOpenExternalLinks(true);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_browser);
    layout->addWidget(buttons);
    resize(820, 640);

    const QFileInfo own(dataDir.isEmpty() ? QString() : DataDir(dataDir).fixedFile(kFileName));
    load(!dataDir.isEmpty() && own.isFile() && own.isReadable() ? own.absoluteFilePath() : kShippedHelp);
}

void HelpWindow::load(const QString &path)
{
    m_source = path;
    QUrl url;
    if (path.startsWith(u':')) {
        url.setScheme(u"qrc"_s);
        url.setPath(path.mid(1));
    } else {
        url = QUrl::fromLocalFile(path);
    }
    m_browser->setSource(url, QTextDocument::HtmlResource);
}

} // namespace tav

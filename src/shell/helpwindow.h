#pragma once

#include <QDialog>
#include <QString>

class QTextBrowser;

namespace tav {

// "帮助说明": the operator's guide. A "帮助说明.html" that the operator put
// in the data folder is shown in preference to the guide shipped with the
// program (kShippedHelp).
class HelpWindow : public QDialog
{
    Q_OBJECT
public:
    static inline const QString kFileName = QStringLiteral("帮助说明.html");
    static inline const QString kShippedHelp = QStringLiteral(":/shell/help/帮助说明.html");

    explicit HelpWindow(const QString &dataDir, QWidget *parent = nullptr);

    // The file shown: the data folder's copy or kShippedHelp.
    QString sourcePath() const { return m_source; }
    QTextBrowser *browser() const { return m_browser; }

private:
    void load(const QString &path);

    QTextBrowser *m_browser;
    QString m_source;
};

} // namespace tav

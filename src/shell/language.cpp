#include "shell/language.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

using namespace Qt::StringLiterals;

namespace tav {

bool useChinese(QCoreApplication &app, QString *error)
{
    const QLocale chinese(QLocale::Chinese, QLocale::SimplifiedChineseScript, QLocale::China);
    QLocale::setDefault(chinese);
    const QString folder = QLibraryInfo::path(QLibraryInfo::TranslationsPath);
    auto *texts = new QTranslator(&app);
    // "qt" gathers every Qt module's texts; "qtbase" alone holds the dialogs.
    for (const QString &name : {u"qt"_s, u"qtbase"_s}) {
        if (texts->load(chinese, name, u"_"_s, folder) && QCoreApplication::installTranslator(texts))
            return true;
    }
    delete texts;
    if (error)
        *error = u"找不到Qt的中文翻译（qtbase_zh_CN.qm）：%1"_s.arg(folder);
    return false;
}

} // namespace tav

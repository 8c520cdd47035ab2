#pragma once

#include <QString>

class QCoreApplication;

namespace tav {

// The program speaks Simplified Chinese whatever the system's locale: dates,
// weekday and month names (the calendar pop-ups), and Qt's own texts in its
// standard dialogs and buttons (是/否, 确定, 关闭, the file dialog).
// Returns false, with the reason, when Qt's Chinese texts could not be loaded.
bool useChinese(QCoreApplication &app, QString *error = nullptr);

} // namespace tav

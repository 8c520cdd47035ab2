#include "shell/messageboxprompt.h"

#include <QMessageBox>

namespace tav {

void MessageBoxPrompt::inform(const QString &title, const QString &text)
{
    QMessageBox::information(m_parent, title, text);
}

bool MessageBoxPrompt::ask(const QString &title, const QString &text, bool defaultAnswer)
{
    const auto answer = QMessageBox::question(m_parent, title, text, QMessageBox::Yes | QMessageBox::No,
                                              defaultAnswer ? QMessageBox::Yes : QMessageBox::No);
    return answer == QMessageBox::Yes;
}

} // namespace tav

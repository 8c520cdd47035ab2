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

void MessageBoxPrompt::askLater(const QString &title, const QString &text, bool defaultAnswer,
                                const QObject *context, Answer answered)
{
    auto *box = new QMessageBox(QMessageBox::Question, title, text, QMessageBox::Yes | QMessageBox::No,
                                m_parent);
    box->setDefaultButton(defaultAnswer ? QMessageBox::Yes : QMessageBox::No);
    box->setAttribute(Qt::WA_DeleteOnClose);
    const QPointer<const QObject> alive(context);
    QObject::connect(box, &QMessageBox::finished, box, [box, alive, answered](int) {
        const bool yes = box->clickedButton() == box->button(QMessageBox::Yes);
        if (alive && answered)
            answered(yes);
    });
    box->setWindowModality(Qt::NonModal);
    box->show();
    box->raise();
}

void MessageBoxPrompt::informLater(const QString &title, const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::Information, title, text, QMessageBox::Ok, m_parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::NonModal);
    box->show();
}

} // namespace tav

#pragma once

#include "platform/prompt.h"

#include <QPointer>
#include <QWidget>

namespace tav {

// The operator's message boxes: information with an OK button, questions
// with Yes and No, the default button following the question's default.
// The later forms open the box and return; the box closes itself.
class MessageBoxPrompt final : public Prompt
{
public:
    explicit MessageBoxPrompt(QWidget *parent) : m_parent(parent) {}

    void inform(const QString &title, const QString &text) override;
    bool ask(const QString &title, const QString &text, bool defaultAnswer) override;
    void askLater(const QString &title, const QString &text, bool defaultAnswer, const QObject *context,
                  Answer answered) override;
    void informLater(const QString &title, const QString &text) override;

private:
    QPointer<QWidget> m_parent;
};

} // namespace tav

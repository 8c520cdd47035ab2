#include "platform/prompt.h"

#include <cstdio>

namespace tav {

void Prompt::askLater(const QString &title, const QString &text, bool defaultAnswer,
                      const QObject *context, Answer answered)
{
    const QPointer<const QObject> alive(context);
    const bool yes = ask(title, text, defaultAnswer);
    if (alive && answered)
        answered(yes);
}

void Prompt::informLater(const QString &title, const QString &text)
{
    inform(title, text);
}

void HeadlessPrompt::inform(const QString &title, const QString &text)
{
    std::fprintf(stderr, "[%s] %s\n", title.toUtf8().constData(), text.toUtf8().constData());
}

bool HeadlessPrompt::ask(const QString &title, const QString &text, bool defaultAnswer)
{
    std::fprintf(stderr, "[%s] %s -> %s\n", title.toUtf8().constData(), text.toUtf8().constData(),
                 defaultAnswer ? "yes" : "no");
    return defaultAnswer;
}

} // namespace tav

#include "platform/prompt.h"

#include <cstdio>

namespace tav {

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

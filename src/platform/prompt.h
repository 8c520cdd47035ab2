#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

namespace tav {

// Every message box and yes/no question of the program goes through this,
// so that a headless station answers with the default and tests script it.
//
// ask() and inform() wait for the operator; they are for the operator's own
// clicks. Anything that runs from the once-a-second clockwork or another
// timer uses askLater() and informLater(), which return at once: the answer
// arrives later through `answered`, and the clock keeps ticking meanwhile.
class Prompt
{
public:
    using Answer = std::function<void(bool yes)>;

    virtual ~Prompt() = default;
    virtual void inform(const QString &title, const QString &text) = 0;
    virtual bool ask(const QString &title, const QString &text, bool defaultAnswer) = 0;

    // `answered` is not called once `context` is gone. The base class answers
    // through ask(): right for prompts that never wait, and overridden by
    // those that do.
    virtual void askLater(const QString &title, const QString &text, bool defaultAnswer,
                          const QObject *context, Answer answered);
    virtual void informLater(const QString &title, const QString &text);
};

// No one is watching: each question takes its default answer; texts go to stderr.
class HeadlessPrompt final : public Prompt
{
public:
    void inform(const QString &title, const QString &text) override;
    bool ask(const QString &title, const QString &text, bool defaultAnswer) override;
};

} // namespace tav

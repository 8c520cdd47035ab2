#pragma once

#include <QString>

namespace tav {

// Every message box and yes/no question of the program goes through this,
// so that a headless station answers with the default and tests script it.
class Prompt
{
public:
    virtual ~Prompt() = default;
    virtual void inform(const QString &title, const QString &text) = 0;
    virtual bool ask(const QString &title, const QString &text, bool defaultAnswer) = 0;
};

// No one is watching: each question takes its default answer; texts go to stderr.
class HeadlessPrompt final : public Prompt
{
public:
    void inform(const QString &title, const QString &text) override;
    bool ask(const QString &title, const QString &text, bool defaultAnswer) override;
};

} // namespace tav

#pragma once

#include <QHash>
#include <QList>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace tav {

// The program's command line: one table of options and verbs, one parser,
// one help text in the reader's language.
//
// A *verb* selects what the program does (--help, --version, …) and exits
// when done; without a verb the program runs the station. Every other entry
// is an *option* that goes with the station, with some verbs, or with all.
//
// Adding a verb:
//   1. Add its row to the table in commandline.cpp (kind Verb, a value name
//      when it takes an argument, a help line in Chinese and in English),
//      followed by the rows of its own options, each with `with = {u"verb"}`
//      so that the help lists them under it and the parser refuses them
//      elsewhere. An option every verb understands (like --data-dir) has an
//      empty `with`; one that only the station understands has `with =
//      {kStation}`.
//   2. Add its handler to the verb table in main.cpp: a function taking the
//      parsed CommandLine and returning the exit status.
// The tests check every row's help line in both languages, so nothing else
// needs touching.
//
// Exit statuses: 0 done, 1 the work failed, 2 the command line was wrong.

enum class Language { Chinese, English };

// The language of messages and help: the first of LANGUAGE, LC_ALL,
// LC_MESSAGES and LANG that is set decides; Chinese when it starts with
// "zh", English otherwise.
Language languageOf(const QProcessEnvironment &environment);

struct OptionEntry
{
    enum Kind { Option, Verb };

    QString name{};     // long name without the dashes: "data-dir"
    Kind kind = Option;
    QString valueName{}; // "DIR", "NAME=VALUE"; empty for a switch
    QStringList with{};  // verbs it goes with (kStation: running the station); empty: any
    bool repeatable = false;
    QString helpZh{};   // one line each
    QString helpEn{};
    QChar shortName{};  // optional one-letter alias: 'h' for -h
    // Optional check of the value's form; a refused value is reported as
    // not matching the value name.
    bool (*accepts)(const QString &value) = nullptr;
    // The value may be left out ("--emergency" alone); the help shows it in brackets.
    bool optionalValue = false;
};

class CommandLine
{
public:
    // The "verb" of running the station, in `with` lists and as verb().
    static inline const QString kStation = QString();
    static inline const QString kHelp = QStringLiteral("help");
    static inline const QString kVersion = QStringLiteral("version");

    // The program's own table.
    static const QList<OptionEntry> &standardTable();

    explicit CommandLine(QList<OptionEntry> table = standardTable());

    // Arguments without the program name. False on a wrong command line,
    // with errorText() saying what was wrong and where to look.
    bool parse(const QStringList &arguments, Language language);
    const QString &errorText() const { return m_error; }

    // The verb to run: kHelp and kVersion win over any other; kStation when
    // none was given.
    const QString &verb() const { return m_verb; }
    bool isSet(const QString &name) const { return m_values.contains(name); }
    // The last value given ("" for a switch or when not given).
    QString value(const QString &name) const;
    QStringList values(const QString &name) const { return m_values.value(name); }

    QString helpText(Language language) const;
    static QString versionText();

    const QList<OptionEntry> &table() const { return m_table; }

private:
    const OptionEntry *find(const QString &name) const;
    const OptionEntry *findShort(QChar c) const;
    bool fail(const QString &message, Language language);
    bool checkCombination(Language language);

    QList<OptionEntry> m_table;
    QHash<QString, QStringList> m_values;
    QString m_verb;
    QString m_error;
};

} // namespace tav

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace tav {

class DataDir;

// Broadcast scripts: "【PRESENTATION】.ini" lists them (sections
// "Presentation1" … with "PresentationName" and "PresentationIndex"), each
// text in "<title>.txt" beside it, GBK with a closing line break. Titles are
// unique among scripts; the last script is never deleted; a title that would
// make a file outside the data folder is refused.
class ScriptStore
{
public:
    struct Script
    {
        int section = 0;
        QString title;
    };

    explicit ScriptStore(const DataDir &dir);

    bool load(QString *error = nullptr);
    const QList<Script> &scripts() const { return m_scripts; }
    QString text(const QString &title, QString *note = nullptr) const;
    bool isTaken(const QString &title) const;

    // Each refuses with the operator's message and changes nothing:
    // "不允许标题内容为空", "该名称已存在，请重新输入", path characters.
    bool add(const QString &title, const QString &text, QString *error);
    bool edit(int section, const QString &oldTitle, const QString &title, const QString &text, QString *error);
    bool remove(int section, QString *error); // "至少保留一条任务"
    // Titles (in scripts()) containing the keyword; "关键字不允许为空" / "没有查找到任务".
    QList<int> search(const QString &keyword, QString *message) const;

    static QString readTextFile(const QString &path, QString *note);

private:
    bool save(const QList<Script> &inOrder, QString *error);
    QString fileOf(const QString &title) const;

    const DataDir &m_dir;
    QList<Script> m_scripts;
};

} // namespace tav

#pragma once

// What the window tests share: the widgets they drive and finding them by name.
#include "fakes/fakes.h"

#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSlider>
#include <QTableWidget>
#include <QTest>
#include <QTimeEdit>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;
using tav::test::at;

namespace tav::test {

// The widget of that objectName under `in`; a failure when there is none.
template<typename W = QWidget>
W *child(const QObject *in, const char *name)
{
    W *w = in->findChild<W *>(QString::fromLatin1(name));
    EXPECT_NE(w, nullptr) << name;
    return w;
}

// The texts of a list's rows, or of a grid's column, in order.
inline QStringList texts(const QListWidget *list)
{
    QStringList all;
    for (int i = 0; i < list->count(); ++i)
        all.append(list->item(i)->text());
    return all;
}
inline QStringList texts(const QTableWidget *grid, int column)
{
    QStringList all;
    for (int r = 0; r < grid->rowCount(); ++r)
        all.append(grid->item(r, column)->text());
    return all;
}

// Finds and drives the named controls of the window a fixture names with `root()`.
class WindowDriver
{
public:
    virtual ~WindowDriver() = default;
    virtual const QObject *root() const = 0;
    template<typename W = QWidget>
    W *get(const char *name) const { return child<W>(root(), name); }
    template<typename W = QWidget>
    W *get(const QObject *in, const char *name) const { return child<W>(in, name); }
    void click(const char *name) const { get<QAbstractButton>(name)->click(); }
    // Types into the named line, combo box or text field under `in`.
    void setText(const QObject *in, const char *name, const QString &text) const
    {
        if (auto *line = in->findChild<QLineEdit *>(QString::fromLatin1(name)))
            line->setText(text);
        else if (auto *combo = in->findChild<QComboBox *>(QString::fromLatin1(name)))
            combo->setCurrentText(text);
        else if (auto *plain = in->findChild<QPlainTextEdit *>(QString::fromLatin1(name)))
            plain->setPlainText(text);
        else
            ADD_FAILURE() << name;
    }
};

} // namespace tav::test

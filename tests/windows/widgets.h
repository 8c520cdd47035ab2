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

} // namespace tav::test

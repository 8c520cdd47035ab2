#pragma once

#include <QString>
#include <QStringList>

#include <array>

class QGridLayout;
class QListWidget;
class QPushButton;
class QWidget;

namespace tav {

// A list box of paths with its six buttons in a column beside it: add,
// delete, clear, one up, one down, to the top. The task editor's media and
// picture lists and the slideshow's picture and music lists are all made so.
// Every button but "add" is wired here; the caller wires add.
struct EditableList
{
    QListWidget *list = nullptr;
    QPushButton *add = nullptr;

    // Laid out in `grid` (row 0: the list, then the column), children of `box`.
    static EditableList make(QWidget *box, QGridLayout *grid, const QString &listName,
                             const std::array<QString, 6> &buttonNames, const QString &addCaption);
};

QStringList listTexts(const QListWidget *list);
void setListTexts(QListWidget *list, const QStringList &items);

} // namespace tav

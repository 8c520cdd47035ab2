#include "scheduler/editablelist.h"

#include "scheduler/taskeditor.h"

#include <QGridLayout>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

void moveSelected(QListWidget *list, MoveTo where)
{
    QStringList items = listTexts(list);
    const int row = reorder(items, list->currentRow(), where);
    if (row < 0)
        return;
    setListTexts(list, items);
    list->setCurrentRow(row);
}

void removeSelected(QListWidget *list)
{
    const int row = list->currentRow();
    if (row < 0)
        return;
    delete list->takeItem(row);
    if (list->count() > 0)
        list->setCurrentRow(qMin(row, list->count() - 1));
}

} // namespace

QStringList listTexts(const QListWidget *list)
{
    QStringList items;
    items.reserve(list->count());
    for (int i = 0; i < list->count(); ++i)
        items.append(list->item(i)->text());
    return items;
}

void setListTexts(QListWidget *list, const QStringList &items)
{
    list->clear();
    list->addItems(items);
}

EditableList EditableList::make(QWidget *box, QGridLayout *grid, const QString &listName,
                                const std::array<QString, 6> &buttonNames, const QString &addCaption)
{
    EditableList made;
    made.list = new QListWidget(box);
    made.list->setObjectName(listName);
    grid->addWidget(made.list, 0, 0);
    const QString captions[6] = {addCaption, u"删除"_s, u"清空"_s, u"上移"_s, u"下移"_s, u"置顶"_s};
    QPushButton *b[6];
    auto *column = new QVBoxLayout;
    for (int i = 0; i < 6; ++i) {
        b[i] = new QPushButton(captions[i], box);
        b[i]->setObjectName(buttonNames[i]);
        b[i]->setAutoDefault(false);
        column->addWidget(b[i]);
    }
    column->addStretch();
    grid->addLayout(column, 0, 1);
    QListWidget *list = made.list;
    QObject::connect(b[1], &QPushButton::clicked, list, [list] { removeSelected(list); });
    QObject::connect(b[2], &QPushButton::clicked, list, &QListWidget::clear);
    QObject::connect(b[3], &QPushButton::clicked, list, [list] { moveSelected(list, MoveTo::Up); });
    QObject::connect(b[4], &QPushButton::clicked, list, [list] { moveSelected(list, MoveTo::Down); });
    QObject::connect(b[5], &QPushButton::clicked, list, [list] { moveSelected(list, MoveTo::Top); });
    made.add = b[0];
    return made;
}

} // namespace tav

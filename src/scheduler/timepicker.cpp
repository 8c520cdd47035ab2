#include "scheduler/timepicker.h"

#include <QKeyEvent>
#include <QLineEdit>

using namespace Qt::StringLiterals;

namespace tav {

TimePicker::TimePicker(QWidget *parent) : QTimeEdit(parent)
{
    setDisplayFormat(u"H:mm:ss"_s);
}

QTime TimePicker::parseTyped(const QString &typed)
{
    const QStringList parts = typed.split(u':');
    if (typed.isEmpty() || parts.size() > 3)
        return {};
    int values[3] = {0, 0, 0};
    for (int i = 0; i < parts.size(); ++i) {
        if (parts[i].size() > 2)
            return {};
        bool ok = parts[i].isEmpty();
        if (!ok)
            values[i] = parts[i].toInt(&ok);
        if (!ok)
            return {};
    }
    if (parts.first().isEmpty())
        return {};
    return QTime(values[0], values[1], values[2]); // invalid past 23:59:59
}

bool TimePicker::allSelected() const
{
    return !lineEdit()->text().isEmpty() && lineEdit()->selectedText() == lineEdit()->text();
}

void TimePicker::keyPressEvent(QKeyEvent *event)
{
    const QString text = event->text();
    const bool digit = text.size() == 1 && text.at(0).isDigit();
    const bool colon = text == u":";
    if (!m_typing && digit && allSelected()) {
        m_typing = true;
        m_typed.clear();
    }
    if (m_typing && (digit || colon || event->key() == Qt::Key_Backspace)) {
        QString next = m_typed;
        if (event->key() == Qt::Key_Backspace) {
            next.chop(1);
        } else {
            // Two digits fill a part: a third one starts the next part.
            if (digit && next.section(u':', -1).size() == 2)
                next += u':';
            next += text;
        }
        const QTime time = next.isEmpty() ? QTime(0, 0) : parseTyped(next);
        if (time.isValid()) {
            m_typed = next;
            setTime(time);
        }
        event->accept();
        return;
    }
    m_typing = false;
    QTimeEdit::keyPressEvent(event);
}

void TimePicker::focusOutEvent(QFocusEvent *event)
{
    m_typing = false;
    QTimeEdit::focusOutEvent(event);
}

} // namespace tav

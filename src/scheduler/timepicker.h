#pragma once

#include <QString>
#include <QTimeEdit>

namespace tav {

// A time-of-day picker shown as "H:mm:ss" in which a time can be typed
// whole: with all its text selected (a click into it, Ctrl+A, Tab), digits
// and ":" start a fresh time, so "2:05:00" gives 2:05:00 and "143015" gives
// 14:30:15. A part left out counts 0; a key that would make an impossible
// time is refused. Any other key, Enter or leaving the field ends the typing.
class TimePicker final : public QTimeEdit
{
    Q_OBJECT
public:
    explicit TimePicker(QWidget *parent = nullptr);

    // The time that a typed text gives; invalid when it cannot be one.
    static QTime parseTyped(const QString &typed);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    bool allSelected() const;

    bool m_typing = false;
    QString m_typed;
};

} // namespace tav

#pragma once

#include "pictures/logosettings.h"

#include <QLabel>

namespace tav {

// The clock's text as the overlay shows it: the chosen font without
// smoothing, so that no fringe joins the see-through grey, and an outline of
// the opposite lightness, so that it reads on any picture. The font dialog's
// sample is one too.
class ClockLabel final : public QLabel
{
    Q_OBJECT
public:
    static constexpr int kOutline = 2;
    using QLabel::QLabel;

    // A family that does not exist falls back to the application's font; a
    // colour of exactly the see-through grey is drawn a step lighter.
    void setClockFont(const ClockFont &font);
    // Wide enough for the widest digits in "hh:mm:ss" with the outline.
    QSize fittedSize() const;

    static QFont qtFont(const ClockFont &font);
    static QColor colourOf(const ClockFont &font);

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace tav

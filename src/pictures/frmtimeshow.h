#pragma once

#include "pictures/logosettings.h"

#include <QFont>
#include <QWidget>

#include <functional>
#include <optional>


namespace tav {

class ClockLabel;
class Settings;

// The clock's font dialog: a font button (cmdFont), a colour button
// (cmdColor) and a sample (lblSample). A font or colour is written under
// "时间字体" the moment it is chosen, and the clock follows (fontChanged).
class frmTimeShow final : public QWidget
{
    Q_OBJECT
public:
    // The operator's choice; none when the dialog was cancelled.
    using FontChooser = std::function<std::optional<QFont>(const QFont &current)>;
    using ColourChooser = std::function<std::optional<QColor>(const QColor &current)>;

    explicit frmTimeShow(Settings &settings, QWidget *parent = nullptr);

    void setFontChooser(FontChooser chooser) { m_chooseFont = std::move(chooser); }
    void setColourChooser(ColourChooser chooser) { m_chooseColour = std::move(chooser); }

    // The stored font into the sample.
    void load();
    const ClockFont &clockFont() const { return m_font; }

    void chooseFont();
    void chooseColour();

signals:
    void fontChanged(const tav::ClockFont &font);
    // 【CONTROL】.ini could not be written; the choice is in force all the same.
    void writeFailed();

private:
    void store();

    Settings &m_settings;
    ClockFont m_font;
    ClockLabel *m_sample = nullptr;
    FontChooser m_chooseFont;
    ColourChooser m_chooseColour;
};

} // namespace tav

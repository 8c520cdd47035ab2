#pragma once

#include "captions/captionbook.h"

#include <QColor>
#include <QFont>
#include <QWidget>

#include <functional>
#include <optional>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QScrollBar;
class QTableWidget;
class QTimeEdit;

namespace tav {

class CaptionScroller;
class CaptionStrip;
class Clock;
class Prompt;

// The caption editor: the list of captions with their times, the caption
// settings (speed, height, manner, switching time, font and colour), and
// the buttons that start and stop the captions. Made once, kept for the
// program's life; each control carries its name as objectName.
class frmMoveFont : public QWidget
{
    Q_OBJECT
public:
    static const QStringList kHeaders;
    static const QString kGridTip;
    static constexpr int kTopReset = 50;

    // strip may be null (no screen): the editor still edits.
    frmMoveFont(CaptionBook &book, CaptionScroller &scroller, CaptionStrip *strip, Prompt &prompt,
                const Clock &clock, QWidget *parent = nullptr);

    using FontChooser = std::function<std::optional<QFont>(const QFont &current)>;
    using ColourChooser = std::function<std::optional<QColor>(const QColor &current)>;
    void setFontChooser(FontChooser chooser) { m_chooseFont = std::move(chooser); }
    void setColourChooser(ColourChooser chooser) { m_chooseColour = std::move(chooser); }

    // The settings as the controls hold them.
    CaptionSettings controlSettings() const;
    // The highest top the strip may take and stay on its screen.
    int maxTop() const;

    // Buttons, by the names they have always had.
    void cmdScrollAdd_Click();
    void cmdChange_Click();
    void cmdScrollDel_Click();
    bool cmdScrollSave_Click();
    void cmdCabelColor_Click();
    void cmdStartNow_Click();
    void cmdSRstop_Click();
    void cmdPreview_Click();
    void cboTop_Change();
    void gridClicked(int row);
    void gridDoubleClicked(int row);
    int editingRow() const { return m_editing; }

signals:
    void returned(); // cmdReturnMian: back to the main window

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void FontShowTitle();
    void showRows();
    void showSettings(const CaptionSettings &s);
    void fontcolor();
    Caption captionFromFields(const QString &swicth) const;
    bool saveAll();
    void selectRow(int row);

    CaptionBook &m_book;
    CaptionScroller &m_scroller;
    CaptionStrip *m_strip;
    Prompt &m_prompt;
    const Clock &m_clock;
    FontChooser m_chooseFont;
    ColourChooser m_chooseColour;
    int m_editing = -1; // the row loaded for editing
    QFont m_font;
    QColor m_colour;

    QTableWidget *m_grid = nullptr;
    QLineEdit *m_text = nullptr;
    QTimeEdit *m_start = nullptr;
    QTimeEdit *m_end = nullptr;
    QScrollBar *m_move = nullptr;
    QLabel *m_moveLabel = nullptr;
    QComboBox *m_jump = nullptr;
    QComboBox *m_top = nullptr;
    QRadioButton *m_manners[3] = {};
    QComboBox *m_changeTime = nullptr;
    QLabel *m_demo = nullptr;
    QLabel *m_sample = nullptr;
    QLabel *m_preview = nullptr;
};

} // namespace tav

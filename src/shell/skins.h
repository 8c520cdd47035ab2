#pragma once

#include <QString>

class QApplication;
class QWidget;

namespace tav {

// The program's looks: three style sheets shipped inside the program, or the
// plain look of the desktop. The choice is stored in 复选控制/skin as "0".."3".
//
// The colour slider (复选控制/界面颜色值, -180..180 degrees) turns the hue
// of every colour of a skin. The plain look follows the desktop's own colours
// and is not tinted: the main window should disable the slider while no skin
// is chosen (hueAdjustable()).
class Skins
{
public:
    enum class Skin { Plain = 0, Skin1 = 1, Skin2 = 2, Skin3 = 3 };

    static constexpr int kHueMin = -180;
    static constexpr int kHueMax = 180;
    // Window opacity of the Aero effect.
    static constexpr double kAeroOpacity = 0.93;

    // "0".."3"; any other text reads as Plain.
    static Skin fromSetting(const QString &value);
    static QString toSetting(Skin skin);
    // The menu item that chooses a skin (mnuWindow, mnuQQ08, mnuQQ09, mnuVista)
    // and back; Plain for an unknown name.
    static QString menuItem(Skin skin);
    static Skin fromMenuItem(const QString &objectName);
    // The shipped style sheet, ":/shell/skins/skin1.qss" …; empty for Plain.
    static QString resourcePath(Skin skin);

    static bool hueAdjustable(Skin skin) { return skin != Skin::Plain; }

    // The skin's style sheet with its hue turned; empty for Plain.
    static QString styleSheet(Skin skin, int hue);
    // Turns the hue of every #rrggbb, #rgb, #aarrggbb, rgb() and rgba()
    // colour inside the rule bodies of a style sheet by `degrees`, keeping
    // each colour's luminance so that every contrast of the skin (text on its
    // background) stays as it was. Greys stay grey; selectors and comments
    // are left alone. 0 returns the text unchanged.
    static QString rotateHue(const QString &qss, int degrees);

    static void apply(QApplication &app, Skin skin, int hue);
    // A text that warns (the clock not trusted, a data file at fault): red
    // in a shade that keeps its contrast on every look.
    static void markWarning(QWidget &widget, bool on);
    static QString warningRule(Skin skin);

    // The Aero switch: the window turns slightly translucent. Needs a
    // compositing window manager (X11 or Wayland); the offscreen platform
    // keeps the value but draws nothing differently.
    static void setAero(QWidget &window, bool on);
};

} // namespace tav

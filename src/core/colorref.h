#pragma once

#include <QtGlobal>

namespace tav {

// A colour as the settings files keep it: a decimal Windows colour number,
// 0x00BBGGRR, red in the lowest byte and blue in the third.
struct ColorRef
{
    quint32 value = 0;

    constexpr int red() const { return int(value & 0xFF); }
    constexpr int green() const { return int((value >> 8) & 0xFF); }
    constexpr int blue() const { return int((value >> 16) & 0xFF); }
    static constexpr quint32 of(int red, int green, int blue)
    {
        return quint32(red & 0xFF) | quint32(green & 0xFF) << 8 | quint32(blue & 0xFF) << 16;
    }
};

} // namespace tav

#pragma once

#include <QString>

namespace tav {

// Simplified Chinese characters to traditional ones (OpenCC's "s2t"), for
// the Cantonese voice. The text comes back unchanged when OpenCC or its data
// is missing; `ok` says which.
QString toTraditional(const QString &text, bool *ok = nullptr);

} // namespace tav

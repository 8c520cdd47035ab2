#include "broadcast/traditional.h"

#include <opencc/opencc.h>

#include <mutex>

namespace tav {

QString toTraditional(const QString &text, bool *ok)
{
    static std::mutex lock;
    static opencc_t converter = opencc_open("s2t.json");
    const bool usable = converter != reinterpret_cast<opencc_t>(-1);
    if (ok)
        *ok = usable;
    if (!usable || text.isEmpty())
        return text;
    std::lock_guard guard(lock);
    const QByteArray utf8 = text.toUtf8();
    char *converted = opencc_convert_utf8(converter, utf8.constData(), size_t(utf8.size()));
    if (!converted) {
        if (ok)
            *ok = false;
        return text;
    }
    const QString result = QString::fromUtf8(converted);
    opencc_convert_utf8_free(converted);
    return result;
}

} // namespace tav

#pragma once

#include <QString>

namespace tav {

// A new object (a window's control, above all) with its name: the name by
// which the windows find each other and the tests drive them.
template<typename T>
T *named(T *object, const QString &name)
{
    object->setObjectName(name);
    return object;
}

template<typename T>
T *named(T *object, const char *name)
{
    return named(object, QString::fromLatin1(name));
}

} // namespace tav

#include "PluginSlots.h"

#include <QtCore/QMetaMethod>

namespace PluginSlots {

namespace {

int methodIndex(const QObject* object, const char* name, int parameterCount)
{
    const QMetaObject* meta = object->metaObject();
    for (int i = meta->methodCount() - 1; i >= 0; --i) {
        const QMetaMethod method = meta->method(i);
        if (method.name() == name && method.parameterCount() == parameterCount) return i;
    }
    return -1;
}

bool callWithPointer(QObject* object, const char* name, void* pointer)
{
    if (!object) return false;
    const int index = methodIndex(object, name, 1);
    if (index < 0) return false;
    const QMetaMethod method = object->metaObject()->method(index);
    // A direct call hands the pointer over as it is; only the type's spelling differs.
    const QByteArray typeName = method.parameterTypes().value(0);
    return method.invoke(object, Qt::DirectConnection, QGenericArgument(typeName.constData(), &pointer));
}

}  // namespace

bool has(const QObject* object, const char* name, int parameterCount)
{
    return object && methodIndex(object, name, parameterCount) >= 0;
}

QList<QObject*> findAll(QObject* root, const char* name, int parameterCount)
{
    QList<QObject*> found;
    if (!root) return found;
    if (has(root, name, parameterCount)) found << root;
    for (QObject* child : root->findChildren<QObject*>())
        if (has(child, name, parameterCount)) found << child;
    return found;
}

bool callWithLayer(QObject* object, const char* name, Korvane::Map::Layer* layer)
{
    return callWithPointer(object, name, layer);
}

bool callWithSubWindow(QObject* object, const char* name, QMdiSubWindow* window)
{
    return callWithPointer(object, name, window);
}

bool call(QObject* object, const char* name)
{
    if (!object) return false;
    const int index = methodIndex(object, name, 0);
    return index >= 0 && object->metaObject()->method(index).invoke(object, Qt::DirectConnection);
}

}  // namespace PluginSlots

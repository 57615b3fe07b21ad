#pragma once
// Symbol visibility of libQDGui: exported when the library itself is built, imported by the
// viewer and by layer plug-ins.
#include <QtCore/qglobal.h>

#if defined(QDGUI_LIBRARY)
#define QDGUI_EXPORT Q_DECL_EXPORT
#else
#define QDGUI_EXPORT Q_DECL_IMPORT
#endif

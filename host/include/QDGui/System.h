#pragma once
#include "QDGui/Export.h"

#include <QtCore/QtGlobal>

namespace Korvane {
namespace System {

// Physical memory of the machine in megabytes (1 048 576 bytes), or 0 when it cannot be told.
QDGUI_EXPORT qint64 getTotalRAM();

}  // namespace System
}  // namespace Korvane

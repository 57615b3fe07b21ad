#include "QDGui/System.h"

#include <unistd.h>

namespace Korvane {
namespace System {

qint64 getTotalRAM()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0) return 0;
    return qint64(pages) * qint64(pageSize) / (1024 * 1024);
}

}  // namespace System
}  // namespace Korvane

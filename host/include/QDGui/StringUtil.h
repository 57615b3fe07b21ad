#pragma once
#include "QDGui/Export.h"

#include <QtCore/QString>

namespace Korvane {
namespace Util {
namespace String {

// A byte count as text with a 1024-based unit: the count is divided by 1024 while it is at
// least 1024 and a larger unit is left, then printed with numberFormat (a printf format for
// one double, such as "%2.2f"; text around the conversion is kept) followed by one blank and
// the unit: B, KB, MB, GB or TB.
//   formatFileSize(0, "%2.2f")          == "0.00 B"
//   formatFileSize(1023, "%2.2f")       == "1023.00 B"
//   formatFileSize(1572864, "%2.2f")    == "1.50 MB"
//   formatFileSize(1572864, "  %2.2f")  == "  1.50 MB"
// The unit is chosen before rounding, so 1048575 bytes give "1024.00 KB". A null format, or
// one that is not a single floating-point conversion (flags, width and precision allowed;
// "%%" for a percent sign), is replaced by "%.2f".
QDGUI_EXPORT QString formatFileSize(quint64 bytes, const char* numberFormat);

}  // namespace String
}  // namespace Util
}  // namespace Korvane

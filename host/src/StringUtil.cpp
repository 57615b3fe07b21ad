#include "QDGui/StringUtil.h"

#include <cctype>
#include <cstring>

namespace Korvane {
namespace Util {
namespace String {

namespace {

const char* const DefaultFormat = "%.2f";

// Skips at most two digits (wider fields or precisions are refused, so a format cannot ask
// for megabytes of padding).
bool skipNumber(const char*& p)
{
    int digits = 0;
    while (std::isdigit(static_cast<unsigned char>(*p))) {
        ++p;
        if (++digits > 2) return false;
    }
    return true;
}

// One floating-point conversion and nothing else that printf would read an argument for.
bool isSingleDoubleFormat(const char* format)
{
    int conversions = 0;
    for (const char* p = format; *p; ++p) {
        if (*p != '%') continue;
        ++p;
        if (*p == '%') continue;
        while (*p && std::strchr("-+ #0", *p)) ++p;
        if (!skipNumber(p)) return false;
        if (*p == '.') {
            ++p;
            if (!skipNumber(p)) return false;
        }
        if (!*p || !std::strchr("fFeEgG", *p)) return false;
        ++conversions;
    }
    return conversions == 1;
}

}  // namespace

QString formatFileSize(quint64 bytes, const char* numberFormat)
{
    static const char* const Units[] = {"B", "KB", "MB", "GB", "TB"};
    constexpr int LastUnit = int(sizeof(Units) / sizeof(Units[0])) - 1;

    double value = double(bytes);
    int unit = 0;
    while (value >= 1024.0 && unit < LastUnit) {
        value /= 1024.0;
        ++unit;
    }
    const char* format = numberFormat && isSingleDoubleFormat(numberFormat) ? numberFormat : DefaultFormat;
    return QString::asprintf(format, value) + QLatin1Char(' ') + QLatin1String(Units[unit]);
}

}  // namespace String
}  // namespace Util
}  // namespace Korvane

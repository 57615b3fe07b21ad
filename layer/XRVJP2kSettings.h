// Every settings key of the plug-in in the host application's settings store, each with the
// value a reader gets while nothing is stored. The layer, the panels and the plug-in module all
// read and write through this one table; it sits at the bottom of the plug-in's folders so
// that each of them can see it.
//
// Where a reader deliberately proposes something else while nothing is stored (the
// preferences page's cache folder, disk cache size and User-Agent), it says so beside the read.
#pragma once

#include <QtCore/QSettings>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtGui/QColor>

namespace XRVJP2kSettings {

template <typename T>
struct Setting {
    const char* key;
    T fallback;

    // The stored value, or the fallback when the key is missing.
    QVariant in(const QSettings& settings) const
    {
        return settings.value(QLatin1String(key), QVariant::fromValue(fallback));
    }
    // The stored value, or what this reader proposes instead of the fallback.
    QVariant in(const QSettings& settings, const QVariant& proposed) const
    {
        return settings.value(QLatin1String(key), proposed);
    }
    void store(QSettings& settings, const QVariant& value) const { settings.setValue(QLatin1String(key), value); }
};

// Engine options (read at start-up; the preferences page edits them).
inline const Setting<bool> TextureDither{"XRVJP2kLayer/TextureDither", false};
inline const Setting<bool> LocalXrvpCache{"XRVJP2kLayer/LocalXrvpCache", true};
// The two text settings have no fixed fallback: each reader proposes its own.
inline const Setting<QString> XrvpCacheDir{"XRVJP2kLayer/XrvpCacheDir", QString()};
inline const Setting<int> CacheMaxMemMb{"XRVJP2kLayer/CacheMaxMemMb", 512};
inline const Setting<int> DiskCacheMaxSizeMb{"XRVJP2kLayer/DiskCacheMaxSizeMb", 256};
inline const Setting<bool> ResilientDecoding{"XRVJP2kLayer/ResilientDecoding", true};
inline const Setting<bool> OptimizeNearestNeighbour{"XRVJP2kLayer/OptimizeNearestNeighbour", true};
inline const Setting<QString> XRVPUserAgent{"XRVJP2kLayer/XRVPUserAgent", QString()};
inline const Setting<bool> UseWinHTTPInXrvp{"XRVJP2kLayer/UseWinHTTPInXrvp", false};
inline const Setting<bool> LogXrvEvents{"XRVJP2kLayer/LogXrvEvents", true};
inline const Setting<bool> OptimizeNonProgressive{"XRVJP2kLayer/OptimizeNonProgressive", false};

// Defaults of new layers.
inline const Setting<bool> AdaptiveRendering{"XRVJP2kLayer/AdaptiveRendering", false};
inline const Setting<bool> OpenProgressive{"XRVJP2kLayer/OpenProgressive", true};
inline const Setting<int> DefaultClipTransform{"XRVJP2kLayer/DefaultClipTransform", 99};
inline const Setting<int> ResampleType{"XRVJP2kLayer/ResampleType", 0};
inline const Setting<bool> UseBackingstore{"XRVJP2kLayer/UseBackingstore", false};
inline const Setting<bool> DrawOutline{"XRVJP2kLayer/DrawOutline", false};
inline const Setting<QColor> OutlineColor{"XRVJP2kLayer/OutlineColor", QColor(0, 255, 255, 255)};

// No longer used; every save of the preferences removes it.
constexpr const char* ObsoleteLogLevel = "XRVJP2kLayer/LogLevel";

// The engine's memory limit for a megabyte count. The shift happens in 32-bit signed
// arithmetic and the result is widened with its sign, so 2048 MB and more wrap; the engine
// reads such a wrapped size back as the one intended.
inline quint64 cacheBytesOfMegabytes(int megabytes)
{
    const qint32 bytes = static_cast<qint32>(static_cast<quint32>(megabytes) << 20);
    return static_cast<quint64>(static_cast<qint64>(bytes));
}

}  // namespace XRVJP2kSettings

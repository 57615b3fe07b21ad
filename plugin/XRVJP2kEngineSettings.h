// The format engine's settings as the plug-in reads them at start-up, the report it writes
// about them to the host log, and how they are handed to the engine. Changes take effect at
// the next start of the host.
#pragma once

#include <QString>
#include <QStringList>

class QSettings;

struct XRVJP2kEngineSettings {
    bool textureDither = false;
    bool localXrvpCache = true;
    QString xrvpCacheDir;
    int cacheMaxMemMb = 512;  ///< after the 100 MB floor
    int diskCacheMaxSizeMb = 256;
    bool resilientDecoding = true;
    bool optimizeNearestNeighbour = true;
    QString userAgent;
    bool useWinHttp = false;

    /// The dither and cache flags, read first (before the log sinks are registered).
    void readFlags(QSettings& settings);
    /// The rest, in the order the start-up reads them.
    void readRest(QSettings& settings);
    /// The start-up report, line by line, translated in the plug-in's context.
    /// `winHttpLibraryLoaded` adds the line about the curl-based WinHTTP stand-in.
    QStringList reportLines(bool winHttpLibraryLoaded) const;
    /// Hands everything to the engine's global configuration.
    void applyToEngine() const;
};

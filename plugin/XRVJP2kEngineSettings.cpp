#include "XRVJP2kEngineSettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>

#include "CFileBase.h"
#include "XRVJP2kSettings.h"

namespace {
QString boolText(bool b)
{
    return b ? QStringLiteral("true") : QStringLiteral("false");
}

// Report lines go through the plug-in's translations, in its class's context.
QString tr(const char* text)
{
    return QCoreApplication::translate("XRVJP2kLayerPlugin", text);
}
}  // namespace

void XRVJP2kEngineSettings::readFlags(QSettings& s)
{
    textureDither = XRVJP2kSettings::TextureDither.in(s).toBool();
    localXrvpCache = XRVJP2kSettings::LocalXrvpCache.in(s).toBool();
}

void XRVJP2kEngineSettings::readRest(QSettings& s)
{
    xrvpCacheDir = XRVJP2kSettings::XrvpCacheDir.in(s, QDir::tempPath()).toString();
    cacheMaxMemMb = XRVJP2kSettings::CacheMaxMemMb.in(s).toInt();
    if (cacheMaxMemMb < 100) cacheMaxMemMb = 100;
    diskCacheMaxSizeMb = XRVJP2kSettings::DiskCacheMaxSizeMb.in(s).toInt();
    resilientDecoding = XRVJP2kSettings::ResilientDecoding.in(s).toBool();
    optimizeNearestNeighbour = XRVJP2kSettings::OptimizeNearestNeighbour.in(s).toBool();
    userAgent = XRVJP2kSettings::XRVPUserAgent.in(s).toString();
    useWinHttp = XRVJP2kSettings::UseWinHTTPInXrvp.in(s).toBool();
}

QStringList XRVJP2kEngineSettings::reportLines(bool winHttpLibraryLoaded) const
{
    // The mix of true/false and 1/0 and the spelling of the last library name are what the
    // report has always said; log readers match on them.
    QStringList lines;
    lines << tr("Begin XRV JPEG 2000 Plugin initialization log")
          << tr("      XRV Library Version : %1").arg(QStringLiteral("6.0.0.1513"))
          << tr("      XRVP local disk cache enabled : %1").arg(boolText(localXrvpCache))
          << tr("      XRVP local disk cache dir: %1").arg(xrvpCacheDir)
          << tr("      XRVP local disk cache max size (Mb): %1").arg(diskCacheMaxSizeMb)
          << tr("      XRV apply texture dither: %1").arg(boolText(textureDither))
          << tr("      Cache max mem (Mb): %1").arg(cacheMaxMemMb)
          << tr("      Use resilient decoding: %1").arg(boolText(resilientDecoding))
          << tr("      Optimize for nearest neighbour resampling: %1").arg(optimizeNearestNeighbour ? 1 : 0)
          << tr("      XRVP HTTP User-Agent: %1").arg(userAgent)
          << tr("      Using WinHttp (instead of WinInet) for XRVP streaming: %1").arg(useWinHttp ? 1 : 0);
    if (useWinHttp && winHttpLibraryLoaded)
        lines << tr("      Using %1 (curl abstraction library) instead of winhhtp.dll")
                     .arg(QStringLiteral("winhttppal.dll"));
    lines << tr("End XRV JPEG 2000 Plugin initialization log");
    return lines;
}

void XRVJP2kEngineSettings::applyToEngine() const
{
    PLK::SDK::CConfig& config = PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config;
    config.SetTextureDitherEnabled(textureDither);
    config.SetBlockingTimeMS(0);
    config.SetRefreshTimeMS(0);
    config.SetXrvpCacheEnabled(localXrvpCache);
    config.SetXrvpCacheSizeMb(diskCacheMaxSizeMb);
    config.SetXrvpCacheLocation(xrvpCacheDir.toLocal8Bit().constData());
    config.SetCacheMaxmem(XRVJP2kSettings::cacheBytesOfMegabytes(cacheMaxMemMb));
    config.SetResilientDecodingEnabled(resilientDecoding);
    config.SetOptimizeUseNearestNeighbour(optimizeNearestNeighbour);
    config.SetXrvpClientHttpUserAgent(userAgent.toLocal8Bit().constData());
    config.SetProjectionFormat(static_cast<PLKProjectionFormat>(1));
}

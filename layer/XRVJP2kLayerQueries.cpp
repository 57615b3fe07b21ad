// The layer's answers about its image, for the host's panels and this plug-in's information
// pages: read from the main renderer's view at each call, with fixed answers while there is none.
#include "XRVJP2kLayer.h"

#include "XRVJP2kRenderer.h"

#include <QtCore/QStringList>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

namespace Korvane {

namespace {

quint64 truncatedToUnsigned(float value)
{
    if (std::isnan(value)) return 0;
    if (value < 0.0f) return value <= float(LLONG_MIN) ? quint64(LLONG_MIN) : quint64(qint64(value));
    if (value >= 18446744073709551615.0f) return std::numeric_limits<quint64>::max();
    return static_cast<quint64>(value);
}

QString joined(const std::vector<quint32>& values)
{
    QStringList texts;
    for (quint32 value : values) texts << QString::number(value);
    return texts.join(QLatin1Char(','));
}

}  // namespace

PLK::CView* XRVJP2kLayer::getFile()
{
    return renderer();
}

PLKFileInfo* XRVJP2kLayer::getFileInfo()
{
    return renderer() ? renderer()->GetFileInfo() : nullptr;
}

PLKFileType XRVJP2kLayer::getFileType()
{
    return renderer() ? renderer()->GetFileType() : PLK_FILE_UNKNOWN;
}

PLKRPCData* XRVJP2kLayer::getRPCInfo()
{
    return renderer() ? renderer()->getRPCData() : nullptr;
}

PLKFileStatistics* XRVJP2kLayer::getStatistics()
{
    return renderer() ? renderer()->getClientStatistics() : nullptr;
}

QSize XRVJP2kLayer::getSize()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? QSize(int(info->nSizeX), int(info->nSizeY)) : QSize();
}

double XRVJP2kLayer::getCellSizeX()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? info->fCellIncrementX : 1.0;
}

double XRVJP2kLayer::getCellSizeY()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? info->fCellIncrementY : 1.0;
}

double XRVJP2kLayer::getRotation()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? info->fCWRotationDegrees : 0.0;
}

int XRVJP2kLayer::getNumberOfBands()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? int(info->nBands) : 0;
}

QList<QString> XRVJP2kLayer::getBandDescriptions()
{
    QList<QString> descriptions;
    const PLKFileInfo* info = getFileInfo();
    if (!info) return descriptions;
    for (int band = 0; band < int(info->nBands); ++band) descriptions << QString::fromLatin1(info->pBands[band].szDesc);
    return descriptions;
}

QString XRVJP2kLayer::getCellType()
{
    // Technical names, the same in every language.
    static const char* const Names[] = {"UInt8", "UInt16", "UInt32", "UInt64", "Int8",
                                        "Int16", "Int32",  "Int64",  "Float",  "Double"};
    const PLKFileInfo* info = getFileInfo();
    if (!info || int(info->eCellType) < 0 || int(info->eCellType) > 9) return tr("Unknown");
    return QString::fromLatin1(Names[info->eCellType]);
}

Korvane::Map::RasterLayer::ColorSpace XRVJP2kLayer::getColorSpace()
{
    const PLKFileInfo* info = getFileInfo();
    if (!info) return Unknown;
    switch (info->eColorSpace) {
        case PLK_COLOR_SRGB:
            return RGB;
        case PLK_COLOR_GREYSCALE:
            return Greyscale;
        case PLK_COLOR_MULTIBAND:
            return Multiband;
        default:
            return Unknown;
    }
}

QString XRVJP2kLayer::getCoordSysName()
{
    const int code = renderer() ? renderer()->GetEPSGCode() : 0;
    if (code <= 0) return tr("Unknown");
    return QStringLiteral("epsg:%1").arg(code);
}

QString XRVJP2kLayer::getFormat()
{
    const QString source = getDataSource().toLower();
    if (source.endsWith(QLatin1String(".xrv"))) return QStringLiteral("MILTO XRV");
    if (source.endsWith(QLatin1String(".jp2")) || source.endsWith(QLatin1String(".jpc")) ||
        source.endsWith(QLatin1String(".jpx")))
        return QStringLiteral("JPEG 2000");
    return tr("Unknown");
}

QString XRVJP2kLayer::getProtocol()
{
    if (!renderer()) return tr("Local file");
    const QString name = viewName();
    const QString lower = name.toLower();
    if (lower.startsWith(QLatin1String("xrvps://"))) return QStringLiteral("XRVPS");
    if (lower.startsWith(QLatin1String("xrvp://"))) return QStringLiteral("XRVP");
    // The extension tests look at the name as written, unlike the prefix tests: "A.XRV" is a
    // "Local file", and so are ".jpc" and ".jpx" files. The information pages have always
    // shown it so; kept deliberately.
    if (name.contains(QLatin1String(".xrv"))) return tr("Local XRV file");
    if (name.contains(QLatin1String(".jp2"))) return tr("Local JPEG 2000 file");
    return tr("Local file");
}

int XRVJP2kLayer::getFileFormatVersion()
{
    const PLKFileInfo* info = getFileInfo();
    return info ? int(info->nFormatVersion) : 0;
}

int XRVJP2kLayer::getXRVPVersion()
{
    return renderer() && renderer()->GetFile() && renderer()->GetFile()->IsXrvpConnection() ? 3 : 0;
}

bool XRVJP2kLayer::getJp2FileInfo(Jp2FileInfo& info)
{
    if (!renderer() || renderer()->GetFileType() != PLK_FILE_JPEG2000) return false;
    const PLK::ViewMetadata::ViewMetadataJp2& jp2 = renderer()->Jp2Metadata();
    switch (jp2.ComplianceProfileType()) {
        case 0:
            info.profile = 2;
            break;
        case 1:
            info.profile = 0;
            break;
        case 2:
            info.profile = 1;
            break;
        default:
            break;
    }
    info.comments = QString::fromUtf8(jp2.Comments().c_str());
    info.numberOfTiles = QSize(int(jp2.NumberOfTiles().width), int(jp2.NumberOfTiles().height));
    info.tileSize = QSize(int(jp2.TileSize().width), int(jp2.TileSize().height));
    std::vector<quint32> widths;
    std::vector<quint32> heights;
    for (const PLK::ViewMetadata::Size& precinct : jp2.PrecinctSize()) {
        widths.push_back(precinct.width);
        heights.push_back(precinct.height);
    }
    info.precinctSizesX = joined(widths);
    info.precinctSizesY = joined(heights);
    info.codeBlockSize = QSize(int(jp2.CodeBlock().width), int(jp2.CodeBlock().height));
    info.bitDepths = joined(std::vector<quint32>(jp2.BitDepth().begin(), jp2.BitDepth().end()));
    info.resolutionLevels = jp2.Levels();
    info.qualityLayers = jp2.Layers();
    static const char* const Orders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    const int order = jp2.PrecinctProgressionOrder();
    info.progressionOrder =
        order >= 0 && order <= 4 ? QString::fromLatin1(Orders[order]) : tr("Unknown progression order");
    if (jp2.TransformationType() == 0)
        info.filter = QStringLiteral("9x7 (Irreversible)");
    else if (jp2.TransformationType() == 1)
        info.filter = QStringLiteral("5x3 (Reversible)");
    info.useSOP = jp2.SOPExists();
    info.useEPH = jp2.EPHExists();
    info.hasGML = jp2.GMLJP2BoxExists();
    return true;
}

QVector<Korvane::Map::HistogramT<quint64>> XRVJP2kLayer::getHistograms(bool reset, bool, QSize, double, double, double,
                                                                       double)
{
    if (!renderer()) return histogramCache;
    if (reset) {
        histogramCache.clear();
        return histogramCache;
    }
    // The statistics are asked for before the cache is looked at; a cached answer wins.
    PLKFileStatistics* statistics = renderer()->getClientStatistics();
    if (!statistics || !histogramCache.isEmpty()) {
        PLKFreeStatistics(statistics);
        return histogramCache;
    }
    const PLKFileInfo* info = renderer()->GetFileInfo();
    QVector<Korvane::Map::HistogramT<quint64>> histograms;
    for (quint32 band = 0; band < statistics->nNumberOfBands; ++band) {
        const PLKBandStatistics& stats = statistics->BandsStats[band];
        Korvane::Map::HistogramT<quint64> histogram(stats.nHistBucketCount);
        histogram.largestCount = 0;
        histogram.smallestCount = std::numeric_limits<quint64>::max();
        for (quint32 bucket = 0; bucket < stats.nHistBucketCount; ++bucket) {
            const quint64 count = stats.Histogram[bucket];
            histogram.counts[bucket] = count;
            histogram.largestCount = qMax(histogram.largestCount, count);
            histogram.smallestCount = qMin(histogram.smallestCount, count);
        }
        histogram.maxValue = truncatedToUnsigned(stats.fMaxVal);
        histogram.minValue = truncatedToUnsigned(stats.fMinVal);
        histogram.mean = stats.fMeanVal;
        histogram.median = stats.fMedianVal;
        histogram.stddev = stats.fStandardDev;
        histogram.mode = stats.fMode;
        if (info && band < info->nBands) histogram.name = QString::fromLatin1(info->pBands[band].szDesc);
        histograms.append(std::move(histogram));
    }
    PLKFreeStatistics(statistics);
    histogramCache = histograms;
    return histogramCache;
}

}  // namespace Korvane

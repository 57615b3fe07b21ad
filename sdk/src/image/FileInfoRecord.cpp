#include "image/FileInfoRecord.h"

namespace PLK {
namespace Engine {

namespace {

uint64_t uncompressedBytes(const ImageDescription& d)
{
    uint64_t bytesPerCell = 0;
    for (const BandLayout& b : d.bands) bytesPerCell += (b.bits + 7u) / 8u;
    return bytesPerCell * d.width * d.height;
}

}  // namespace

FileInfoRecord::FileInfoRecord(const ImageDescription& d, const Georeferencing& g, uint64_t fileBytes)
    : m_datum(g.datum), m_projection(g.projection)
{
    m_descriptions.reserve(d.bands.size());
    for (const BandLayout& b : d.bands) m_descriptions.push_back(b.description);
    m_bands.resize(d.bands.size());
    for (size_t i = 0; i < d.bands.size(); ++i)
        m_bands[i] = PLKBandInfo{d.bands[i].bits, d.bands[i].isSigned, &m_descriptions[i][0]};

    m_info.nSizeX = d.width;
    m_info.nSizeY = d.height;
    m_info.nBands = static_cast<uint16_t>(d.bands.size());
    m_info.nCompressionRate = d.targetCompressionRate;
    m_info.eCellSizeUnits = g.units;
    m_info.fCellIncrementX = g.cellX;
    m_info.fCellIncrementY = g.cellY;
    m_info.fOriginX = g.originX;
    m_info.fOriginY = g.originY;
    m_info.szDatum = &m_datum[0];
    m_info.szProjection = &m_projection[0];
    m_info.fCWRotationDegrees = g.rotationDegrees;
    m_info.eColorSpace = d.colorSpace;
    m_info.eCellType = d.cellType;
    m_info.pBands = m_bands.empty() ? nullptr : m_bands.data();
    m_info.nFormatVersion = d.formatVersion;
    m_info.szCompressionDate = &m_compressionDate[0];
    m_info.fActualCompressionRate =
        fileBytes ? static_cast<float>(static_cast<double>(uncompressedBytes(d)) / static_cast<double>(fileBytes))
                  : 0.0f;
    m_info.pFileMetaData = nullptr;  // JPEG 2000 carries no authoring record of this kind
}

}  // namespace Engine
}  // namespace PLK

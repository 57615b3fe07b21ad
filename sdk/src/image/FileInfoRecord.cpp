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

// UTF-8 to wide characters (UTF-32 where wchar_t is 32 bits); broken sequences give U+FFFD.
std::wstring widened(const std::string& s)
{
    std::wstring out;
    for (size_t i = 0; i < s.size();) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        const int extra = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : -1;
        uint32_t cp = extra == 0 ? c : extra == 1 ? c & 0x1F : extra == 2 ? c & 0x0F : c & 0x07;
        bool ok = extra >= 0 && i + size_t(extra) < s.size() + (extra == 0 ? 1 : 0);
        for (int k = 1; ok && k <= extra; ++k) {
            const unsigned char n = static_cast<unsigned char>(s[i + size_t(k)]);
            ok = (n >> 6) == 2;
            cp = cp << 6 | (n & 0x3F);
        }
        out.push_back(ok ? static_cast<wchar_t>(cp) : static_cast<wchar_t>(0xFFFD));
        i += ok ? size_t(extra) + 1 : 1;
    }
    return out;
}

}  // namespace

FileInfoRecord::FileInfoRecord(const ImageDescription& d, const Georeferencing& g, uint64_t fileBytes)
    : m_datum(g.datum), m_projection(g.projection), m_compressionDate(d.compressionDate)
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
    if (d.authoring.size() == 10) {  // XRV files store the ten texts, in PLKFileMetaData's order
        for (const std::string& s : d.authoring) m_authoring.push_back(widened(s));
        wchar_t** slots[] = {&m_metadata.sClassification, &m_metadata.sAcquisitionDate,
                             &m_metadata.sAcquisitionSensorName, &m_metadata.sCompressionSoftware,
                             &m_metadata.sAuthor, &m_metadata.sCopyright, &m_metadata.sCompany,
                             &m_metadata.sEmail, &m_metadata.sAddress, &m_metadata.sTelephone};
        for (size_t i = 0; i < 10; ++i) *slots[i] = &m_authoring[i][0];
        m_info.pFileMetaData = &m_metadata;
    }
}

}  // namespace Engine
}  // namespace PLK

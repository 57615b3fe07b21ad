#include "InfoCommand.h"

#include <QString>
#include <cstdio>
#include <vector>

#include "xrv60.h"

namespace {

const char* cellTypeName(PLKCellType t)
{
    static const char* names[] = {"UInt8", "UInt16", "UInt32", "UInt64", "Int8",
                                  "Int16", "Int32",  "Int64",  "Float",  "Double"};
    return t >= 0 && t <= 9 ? names[t] : "Unknown";
}

const char* colourSpaceName(PLKColorSpace c)
{
    static const char* names[] = {"none", "greyscale", "YUV", "multiband", "sRGB", "YCbCr"};
    return c >= 0 && c <= 5 ? names[c] : "unknown";
}

const char* unitsName(PLKCellSizeUnits u)
{
    static const char* names[] = {"invalid", "metres", "degrees", "feet", "unknown"};
    return u >= 0 && u <= 4 ? names[u] : "unknown";
}

const char* progressionName(int p)
{
    static const char* names[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    return p >= 0 && p <= 4 ? names[p] : "unknown";
}

QString join(const std::vector<uint8_t>& values)
{
    QStringList parts;
    for (uint8_t v : values) parts << QString::number(v);
    return parts.join(',');
}

void printImage(const PLK::CView& view)
{
    const PLKFileInfo* i = view.GetFileInfo();
    std::printf("File: %s\n", view.GetFileName());
    const PLKFileType type = view.GetFileType();
    std::printf("Type: %s\n", type == PLK_FILE_JPEG2000 ? "JPEG 2000" : type == PLK_FILE_XRV ? "XRV" : "unknown");
    std::printf("Size: %u x %u cells\n", i->nSizeX, i->nSizeY);
    std::printf("Bands: %u\n", i->nBands);
    for (uint16_t b = 0; b < i->nBands; ++b)
        std::printf("  Band %u: %s, %u bits %s\n", b, i->pBands[b].szDesc, i->pBands[b].nBits,
                    i->pBands[b].bSigned ? "signed" : "unsigned");
    std::printf("Cell type: %s\n", cellTypeName(i->eCellType));
    std::printf("Colour space: %s\n", colourSpaceName(i->eColorSpace));
    std::printf("Origin: %.10g, %.10g\n", i->fOriginX, i->fOriginY);
    std::printf("Cell size: %.10g, %.10g %s\n", i->fCellIncrementX, i->fCellIncrementY, unitsName(i->eCellSizeUnits));
    std::printf("Rotation: %.10g degrees\n", i->fCWRotationDegrees);
    std::printf("EPSG: %d\n", view.GetEPSGCode());
    std::printf("Datum: %s\n", i->szDatum);
    std::printf("Projection: %s\n", i->szProjection);
    std::printf("Target compression: %u:1\n", i->nCompressionRate);
    std::printf("Actual compression: %.2f:1\n", i->fActualCompressionRate);
    if (type == PLK_FILE_XRV) {
        std::printf("File format version: %u\n", i->nFormatVersion);
        std::printf("Block size: %u x %u\n", view.XRVMetadata().Blocksize().width,
                    view.XRVMetadata().Blocksize().height);
        std::printf("Compression date: %s\n", i->szCompressionDate);
    }
    if (const PLKFileMetaData* m = i->pFileMetaData) {
        const wchar_t* texts[] = {m->sClassification,
                                  m->sAcquisitionDate,
                                  m->sAcquisitionSensorName,
                                  m->sCompressionSoftware,
                                  m->sAuthor,
                                  m->sCopyright,
                                  m->sCompany,
                                  m->sEmail,
                                  m->sAddress,
                                  m->sTelephone};
        const char* names[] = {"Classification", "Acquisition date", "Sensor",  "Compression software",
                               "Author",         "Copyright",        "Company", "E-mail",
                               "Address",        "Telephone"};
        for (int k = 0; k < 10; ++k)
            std::printf("%s: %s\n", names[k], texts[k] ? QString::fromWCharArray(texts[k]).toUtf8().constData() : "");
    }
}

void printHeader(const PLK::CView& view)
{
    const PLK::ViewMetadata::ViewMetadataJp2& m = view.Jp2Metadata();
    std::printf("Profile: %d\n", m.ComplianceProfileType());
    std::printf("Comment: %s\n", m.Comments().c_str());
    std::printf("Tiles: %u x %u of %u x %u cells\n", m.NumberOfTiles().width, m.NumberOfTiles().height,
                m.TileSize().width, m.TileSize().height);
    QStringList px, py;
    for (const auto& p : m.PrecinctSize()) {
        px << QString::number(p.width);
        py << QString::number(p.height);
    }
    std::printf("Precincts X: %s\n", qPrintable(px.join(',')));
    std::printf("Precincts Y: %s\n", qPrintable(py.join(',')));
    std::printf("Code-block: %u x %u\n", m.CodeBlock().width, m.CodeBlock().height);
    std::printf("Bit depths: %s\n", qPrintable(join(m.BitDepth())));
    std::printf("Resolution levels: %d\n", m.Levels());
    std::printf("Quality layers: %d\n", m.Layers());
    std::printf("Progression: %s\n", progressionName(m.PrecinctProgressionOrder()));
    std::printf("Filter: %s\n", m.TransformationType() == 0 ? "9x7 (irreversible)" : "5x3 (reversible)");
    std::printf("SOP: %s, EPH: %s, GML box: %s\n", m.SOPExists() ? "yes" : "no", m.EPHExists() ? "yes" : "no",
                m.GMLJP2BoxExists() ? "yes" : "no");
}

void printXmlBoxes(PLK::CView& view)
{
    int n = 0;
    for (const PLKJP2Box* box = view.GetXMLBox(nullptr); box; box = view.GetXMLBox(box)) {
        ++n;
        std::printf("XML box %d: offset %llu, %llu bytes\n", n, static_cast<unsigned long long>(box->nContentOffset),
                    static_cast<unsigned long long>(box->nContentLength));
        PLK::CIOStream* stream = view.GetStream();
        const uint32_t shown = static_cast<uint32_t>(std::min<uint64_t>(box->nContentLength, 400));
        std::vector<char> text(shown + 1, 0);
        if (stream && stream->Seek(box->nContentOffset) && stream->Read(text.data(), shown))
            std::printf("  %s%s\n", QString::fromUtf8(text.data()).simplified().toUtf8().constData(),
                        shown < box->nContentLength ? " ..." : "");
    }
    if (n == 0) std::printf("XML boxes: none\n");
}

void printRpc(const PLK::CView& view)
{
    PLKRPCData* rpc = nullptr;
    if (!view.GetRPCData(rpc).Success() || !rpc) {
        std::printf("RPC: none\n");
        return;
    }
    std::printf("RPC: line offset %.6f scale %.6f, sample offset %.6f scale %.6f\n", rpc->LINE_OFF, rpc->LINE_SCALE,
                rpc->SAMP_OFF, rpc->SAMP_SCALE);
    std::printf(
        "     latitude offset %.6f scale %.6f, longitude offset %.6f scale %.6f, height offset %.6f scale %.6f\n",
        rpc->LAT_OFF, rpc->LAT_SCALE, rpc->LONG_OFF, rpc->LONG_SCALE, rpc->HEIGHT_OFF, rpc->HEIGHT_SCALE);
    std::printf("     line numerator %.6g %.6g %.6g ..., sample numerator %.6g %.6g %.6g ...\n", rpc->LINE_NUM_COEFF[0],
                rpc->LINE_NUM_COEFF[1], rpc->LINE_NUM_COEFF[2], rpc->SAMP_NUM_COEFF[0], rpc->SAMP_NUM_COEFF[1],
                rpc->SAMP_NUM_COEFF[2]);
    PLKFreeRPCData(rpc);
}

void printStatistics(PLK::CView& view)
{
    PLKFileStatistics* stats = nullptr;
    const PLK::CError error = view.GetClientStatistics(stats);
    if (!error.Success() || !stats) {
        std::printf("Statistics: unavailable (%s)\n", error.GetErrorText());
        return;
    }
    for (uint32_t b = 0; b < stats->nNumberOfBands; ++b) {
        const PLKBandStatistics& s = stats->BandsStats[b];
        std::printf("Statistics band %u: min %.4f max %.4f mean %.4f median %.4f stddev %.4f mode %.4f, %u buckets\n",
                    b, s.fMinVal, s.fMaxVal, s.fMeanVal, s.fMedianVal, s.fStandardDev, s.fMode, s.nHistBucketCount);
    }
    PLKFreeStatistics(stats);
}

}  // namespace

int runInfo(const QStringList& args)
{
    if (args.size() != 1) {
        std::fprintf(stderr, "xrvtool info: takes one FILE\n");
        return 2;
    }
    PLKInit();
    int result = 0;
    {
        PLK::CView view;
        const PLK::CError error = view.Open(PLK::CString(args[0].toStdString()), false);
        if (!error.Success()) {
            std::fprintf(stderr, "xrvtool: %s\n", error.GetErrorText());
            result = 1;
        } else {
            printImage(view);
            if (view.GetFileType() == PLK_FILE_JPEG2000) printHeader(view);
            printXmlBoxes(view);
            printRpc(view);
            printStatistics(view);
            view.Close(true);
        }
    }
    PLKShutdown();
    return result;
}

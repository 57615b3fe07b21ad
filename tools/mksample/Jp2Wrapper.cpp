#include "Jp2Wrapper.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_string.h>
#include <gdal_alg.h>
#include <ogr_srs_api.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "RpcModel.h"

namespace {

[[noreturn]] void fail(const std::string& what)
{
    const char* gdal = CPLGetLastErrorMsg();
    throw std::runtime_error(what + (gdal && *gdal ? std::string(": ") + gdal : std::string()));
}

struct DatasetCloser {
    void operator()(void* ds) const { GDALClose(static_cast<GDALDatasetH>(ds)); }
};
using Dataset = std::unique_ptr<void, DatasetCloser>;

struct StringListDeleter {
    void operator()(char** list) const { CSLDestroy(list); }
};
using StringList = std::unique_ptr<char*, StringListDeleter>;

Dataset openCodestream(const std::string& path)
{
    const char* const drivers[] = {"JP2OpenJPEG", nullptr};
    Dataset ds(GDALOpenEx(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, drivers, nullptr, nullptr));
    if (!ds) fail("cannot open the code-stream " + path);
    return ds;
}

GDALDriverH driver(const char* name)
{
    GDALDriverH d = GDALGetDriverByName(name);
    if (!d) fail(std::string("GDAL has no ") + name + " driver");
    return d;
}

}  // namespace

Jp2Wrapper::Jp2Wrapper(Jp2Content content) : m_content(std::move(content))
{
    GDALAllRegister();
    // Nothing here should leave .aux.xml side files next to the output.
    CPLSetConfigOption("GDAL_PAM_ENABLED", "NO");
    if (m_content.georeference)
        m_rpc = RpcModel::forImage(*m_content.georeference, m_content.format.width, m_content.format.height);
}

void Jp2Wrapper::describeBands(GDALDatasetH vrt) const
{
    static const GDALColorInterp rgba[] = {GCI_RedBand, GCI_GreenBand, GCI_BlueBand, GCI_AlphaBand};
    const int count = GDALGetRasterCount(vrt);
    for (int b = 0; b < count; ++b) {
        const GDALColorInterp ci = count == 1 ? GCI_GrayIndex : rgba[b];
        GDALSetRasterColorInterpretation(GDALGetRasterBand(vrt, b + 1), ci);
    }
}

void Jp2Wrapper::describeGeoreference(GDALDatasetH vrt, const Georeference& g) const
{
    double transform[6] = {g.originX, g.cell, 0.0, g.originY, 0.0, -g.cell};
    if (GDALSetGeoTransform(vrt, transform) != CE_None) fail("cannot set the geotransform");
    OGRSpatialReferenceH srs = OSRNewSpatialReference(nullptr);
    const bool known = OSRImportFromEPSG(srs, g.epsg) == OGRERR_NONE;
    if (known) GDALSetSpatialRef(vrt, srs);
    OSRDestroySpatialReference(srs);
    if (!known) fail("unknown coordinate system EPSG:" + std::to_string(g.epsg));

    GDALRPCInfoV2 rpc = m_rpc;
    StringList rpcMetadata(RPCInfoV2ToMD(&rpc));
    if (GDALSetMetadata(vrt, rpcMetadata.get(), "RPC") != CE_None) fail("cannot set the RPC metadata");
}

void Jp2Wrapper::describe(GDALDatasetH vrt) const
{
    describeBands(vrt);
    if (m_content.georeference) describeGeoreference(vrt, *m_content.georeference);
    if (!m_content.xmlBox.empty()) {
        // GDAL writes each "xml:BOX_*" metadata domain as an XML box of its own.
        char* box[] = {const_cast<char*>(m_content.xmlBox.c_str()), nullptr};
        if (GDALSetMetadata(vrt, box, "xml:BOX_0") != CE_None) fail("cannot set the XML box");
    }
}

void Jp2Wrapper::writeJp2(GDALDatasetH vrt, const std::string& jp2Path) const
{
    const bool geo = m_content.georeference.has_value();
    std::vector<std::string> options = {
        "USE_SRC_CODESTREAM=YES",
        std::string("GeoJP2=") + (geo ? "YES" : "NO"),
        std::string("GMLJP2=") + (geo ? "YES" : "NO"),
        // Needed for the XML box and for the RPC model, which GDAL keeps in its own metadata box.
        "WRITE_METADATA=YES",
    };
    std::vector<char*> list;
    for (std::string& o : options) list.push_back(&o[0]);
    list.push_back(nullptr);
    Dataset out(GDALCreateCopy(driver("JP2OpenJPEG"), jp2Path.c_str(), vrt, FALSE, list.data(), nullptr, nullptr));
    if (!out) fail("cannot write " + jp2Path);
}

// Reads the header back: catches a file GDAL wrote but could not make sense of.
void Jp2Wrapper::checkJp2(const std::string& jp2Path) const
{
    Dataset ds = openCodestream(jp2Path);
    const RasterFormat& f = m_content.format;
    if (GDALGetRasterXSize(ds.get()) != f.width || GDALGetRasterYSize(ds.get()) != f.height ||
        GDALGetRasterCount(ds.get()) != f.bands)
        throw std::runtime_error(jp2Path + " does not read back with the expected size and bands");
    double transform[6];
    if (m_content.georeference && GDALGetGeoTransform(ds.get(), transform) != CE_None)
        throw std::runtime_error(jp2Path + " does not read back with its georeferencing");
}

void Jp2Wrapper::wrap(const std::string& codestreamPath, const std::string& jp2Path) const
{
    CPLErrorReset();
    {
        Dataset source = openCodestream(codestreamPath);
        Dataset vrt(GDALCreateCopy(driver("VRT"), "", source.get(), FALSE, nullptr, nullptr, nullptr));
        if (!vrt) fail("cannot make a virtual copy of " + codestreamPath);
        describe(vrt.get());
        writeJp2(vrt.get(), jp2Path);
    }
    checkJp2(jp2Path);
}

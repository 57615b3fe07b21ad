// GeoTIFF output of `xrvtool render`, in the GDAL module.
#include <QFile>
#include <memory>

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include "GdalModule.h"
#include "PictureWriter.h"

namespace {

struct DatasetCloser {
    void operator()(GDALDataset* ds) const { GDALClose(ds); }
};

bool writeTiff(const Picture& picture, const QString& path, const PictureGeoreference& geo, QString& error)
{
    GDALAllRegister();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName("GTiff");
    if (!driver) {
        error = QStringLiteral("GDAL has no GeoTIFF driver");
        return false;
    }
    const bool alpha = !picture.opaque();
    const int bands = alpha ? 4 : 3;
    const char* options[] = {"INTERLEAVE=PIXEL", alpha ? "ALPHA=YES" : nullptr, nullptr};
    std::unique_ptr<GDALDataset, DatasetCloser> ds(driver->Create(QFile::encodeName(path).constData(), picture.width,
                                                                  picture.height, bands, GDT_Byte,
                                                                  const_cast<char**>(options)));
    if (!ds) {
        error = QStringLiteral("cannot create %1: %2").arg(path, QString::fromUtf8(CPLGetLastErrorMsg()));
        return false;
    }
    if (geo.valid) {
        double transform[6] = {geo.x1, (geo.x2 - geo.x1) / picture.width, 0, geo.y1,
                               0,      (geo.y2 - geo.y1) / picture.height};
        ds->SetGeoTransform(transform);
        OGRSpatialReference srs;
        if (geo.epsg > 0 && srs.importFromEPSG(geo.epsg) == OGRERR_NONE) ds->SetSpatialRef(&srs);
    }
    // The picture's bytes are blue, green, red, alpha: each band reads every fourth byte.
    static const int offsets[] = {2, 1, 0, 3};
    uint8_t* bits = const_cast<uint8_t*>(picture.bgra.data());
    for (int b = 0; b < bands; ++b) {
        if (ds->GetRasterBand(b + 1)->RasterIO(GF_Write, 0, 0, picture.width, picture.height, bits + offsets[b],
                                               picture.width, picture.height, GDT_Byte, 4, picture.bytesPerLine(),
                                               nullptr) != CE_None) {
            error = QStringLiteral("cannot write %1: %2").arg(path, QString::fromUtf8(CPLGetLastErrorMsg()));
            return false;
        }
    }
    ds.reset();  // closing flushes
    return true;
}

}  // namespace

extern "C" bool xrvtoolWriteTiff(const Picture* picture, const QString* path, const PictureGeoreference* geo,
                                 QString* error)
{
    return writeTiff(*picture, *path, *geo, *error);
}

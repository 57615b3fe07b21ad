// compress and GeoTIFF output go through GDAL, which takes tens of milliseconds to load and
// start, more than a whole render: they are built into the module libxrvtoolgdal (beside the
// engine) and loaded only when one of them is asked for, so info and render start without it.
#pragma once

#include <QString>
#include <QStringList>

#include "Picture.h"

struct PictureGeoreference;

namespace GdalModule {

/// `xrvtool compress`; 1 with a message on standard error when the module cannot be loaded.
int compress(const QStringList& args);
/// A GeoTIFF of `picture` (see PictureWriter::write).
bool writeTiff(const Picture& picture, const QString& path, const PictureGeoreference& geo, QString& error);

}  // namespace GdalModule

// The module's entry points.
extern "C" int xrvtoolCompress(const QStringList* args);
extern "C" bool xrvtoolWriteTiff(const Picture* picture, const QString* path, const PictureGeoreference* geo,
                                 QString* error);

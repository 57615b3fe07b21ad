// `xrvtool compress IN OUT.xrv`: makes an XRV file from any raster GDAL reads, strip by strip.
#pragma once

#include <QStringList>

int runCompress(const QStringList& args);

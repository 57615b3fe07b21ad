// `xrvtool compress IN OUT.jp2`: a stream-ready JPEG 2000 file from any raster GDAL reads,
// through OpenJPEG tile by tile: 512 px tiles, RPCL, tile-parts split by resolution, TLM and
// PLT markers; the input's georeferencing (GeoJP2 and GMLJP2), RPC and XML through GDAL.
#pragma once

#include <QStringList>

int runCompressJp2(const QStringList& args);

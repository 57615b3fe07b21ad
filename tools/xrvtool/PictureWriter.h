// Writes a rendered picture in the format its file name asks for: .png (fast compression),
// .ppm / .pgm (uncompressed, what benchmarks compare), .tif / .tiff through GDAL (with the
// view's georeferencing when it has any).
#pragma once

#include <QString>

#include "Picture.h"

struct PictureGeoreference {
    bool valid = false;
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;  ///< world corners of the picture's outer edges
    int epsg = 0;                           ///< 0 when unknown
};

class PictureWriter {
public:
    enum class Format { Unknown, Png, Ppm, Pgm, Tiff };

    /// The format a file name asks for, by its suffix (case ignored).
    static Format formatFor(const QString& path);

    /// Writes `picture` to `path`; on failure returns false with `error` set.
    static bool write(const Picture& picture, const QString& path, const PictureGeoreference& geo, QString& error);

private:
    static bool writePng(const Picture& picture, const QString& path, QString& error);
    static bool writeNetpbm(const Picture& picture, const QString& path, bool grey, QString& error);
    static bool writeTiff(const Picture& picture, const QString& path, const PictureGeoreference& geo, QString& error);
};

#include "PictureWriter.h"

#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <cstdio>
#include <memory>
#include <vector>

#include "GdalModule.h"

namespace {

bool opaque(const QImage& picture)
{
    for (int y = 0; y < picture.height(); ++y) {
        const QRgb* row = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        for (int x = 0; x < picture.width(); ++x)
            if (qAlpha(row[x]) != 255) return false;
    }
    return true;
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

PictureWriter::Format PictureWriter::formatFor(const QString& path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("png")) return Format::Png;
    if (suffix == QLatin1String("ppm") || suffix == QLatin1String("pnm")) return Format::Ppm;
    if (suffix == QLatin1String("pgm")) return Format::Pgm;
    if (suffix == QLatin1String("tif") || suffix == QLatin1String("tiff")) return Format::Tiff;
    return Format::Unknown;
}

bool PictureWriter::write(const QImage& picture, const QString& path, const PictureGeoreference& geo, QString& error)
{
    switch (formatFor(path)) {
        case Format::Png:
            return writePng(picture, path, error);
        case Format::Ppm:
            return writeNetpbm(picture, path, false, error);
        case Format::Pgm:
            return writeNetpbm(picture, path, true, error);
        case Format::Tiff:
            return writeTiff(picture, path, geo, error);
        case Format::Unknown:
            break;
    }
    error = QStringLiteral("%1: the output name must end in .png, .ppm, .pgm or .tif").arg(path);
    return false;
}

bool PictureWriter::writePng(const QImage& picture, const QString& path, QString& error)
{
    // An opaque picture is written without its alpha channel: a quarter fewer bytes to compress.
    QImage image = picture;
    if (image.format() == QImage::Format_ARGB32 && opaque(image)) image.reinterpretAsFormat(QImage::Format_RGB32);
    QImageWriter writer(path, "png");
    // Qt maps quality to zlib's level as (100 - quality) * 9 / 91: 89 is level 1, the fastest
    // level that still compresses.
    writer.setQuality(89);
    if (writer.write(image)) return true;
    error = QStringLiteral("cannot write %1: %2").arg(path, writer.errorString());
    return false;
}

// Binary netpbm: the format every decoder writes without compression, so timings compare decoding.
bool PictureWriter::writeNetpbm(const QImage& picture, const QString& path, bool grey, QString& error)
{
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(QFile::encodeName(path).constData(), "wb"));
    if (!file) {
        error = QStringLiteral("cannot create %1").arg(path);
        return false;
    }
    const int w = picture.width(), h = picture.height(), channels = grey ? 1 : 3;
    std::fprintf(file.get(), "%s\n%d %d\n255\n", grey ? "P5" : "P6", w, h);
    std::vector<uint8_t> line(static_cast<size_t>(w) * channels);
    bool ok = true;
    for (int y = 0; y < h && ok; ++y) {
        const uint8_t* bgra = picture.constScanLine(y);
        if (grey) {
            for (int x = 0; x < w; ++x) line[x] = bgra[4 * x + 1];  // grey pictures have equal channels
        } else {
            for (int x = 0; x < w; ++x) {
                line[3 * x] = bgra[4 * x + 2];
                line[3 * x + 1] = bgra[4 * x + 1];
                line[3 * x + 2] = bgra[4 * x];
            }
        }
        ok = std::fwrite(line.data(), 1, line.size(), file.get()) == line.size();
    }
    if (ok && std::fflush(file.get()) == 0) return true;
    error = QStringLiteral("cannot write %1").arg(path);
    return false;
}

bool PictureWriter::writeTiff(const QImage& picture, const QString& path, const PictureGeoreference& geo,
                              QString& error)
{
    // The module writes an alpha band only for pictures that have one.
    QImage image = picture;
    if (image.format() == QImage::Format_ARGB32 && opaque(image)) image.reinterpretAsFormat(QImage::Format_RGB32);
    return GdalModule::writeTiff(image, path, geo, error);
}

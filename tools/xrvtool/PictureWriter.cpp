#include "PictureWriter.h"

#include <QFile>
#include <QFileInfo>
#include <cstdio>
#include <memory>
#include <vector>

#include <png.h>

#include "GdalModule.h"

namespace {

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

bool PictureWriter::write(const Picture& picture, const QString& path, const PictureGeoreference& geo, QString& error)
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

bool PictureWriter::writePng(const Picture& picture, const QString& path, QString& error)
{
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(QFile::encodeName(path).constData(), "wb"));
    png_structp png = file ? png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr) : nullptr;
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        error = QStringLiteral("cannot create %1").arg(path);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {  // libpng's way of reporting a failed write
        png_destroy_write_struct(&png, &info);
        error = QStringLiteral("cannot write %1").arg(path);
        return false;
    }
    // An opaque picture is written without its alpha channel: a quarter fewer bytes to compress.
    const bool alpha = !picture.opaque();
    png_init_io(png, file.get());
    png_set_IHDR(png, info, picture.width, picture.height, 8, alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, 1);  // the fastest level that still compresses
    png_write_info(png, info);
    png_set_bgr(png);
    if (!alpha) png_set_filler(png, 0, PNG_FILLER_AFTER);  // each pixel's fourth byte is dropped
    for (int y = 0; y < picture.height; ++y) png_write_row(png, picture.line(y));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    if (std::fflush(file.get()) == 0) return true;
    error = QStringLiteral("cannot write %1").arg(path);
    return false;
}

// Binary netpbm: the format every decoder writes without compression, so timings compare decoding.
bool PictureWriter::writeNetpbm(const Picture& picture, const QString& path, bool grey, QString& error)
{
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(QFile::encodeName(path).constData(), "wb"));
    if (!file) {
        error = QStringLiteral("cannot create %1").arg(path);
        return false;
    }
    const int w = picture.width, h = picture.height, channels = grey ? 1 : 3;
    std::fprintf(file.get(), "%s\n%d %d\n255\n", grey ? "P5" : "P6", w, h);
    std::vector<uint8_t> line(static_cast<size_t>(w) * channels);
    bool ok = true;
    for (int y = 0; y < h && ok; ++y) {
        const uint8_t* bgra = picture.line(y);
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

bool PictureWriter::writeTiff(const Picture& picture, const QString& path, const PictureGeoreference& geo,
                              QString& error)
{
    return GdalModule::writeTiff(picture, path, geo, error);
}

#include "RenderCommand.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <cstdio>
#include <memory>

#include "PictureView.h"
#include "PictureWriter.h"
#include "RenderOptions.h"

namespace {

struct WorldRect {
    double x1, y1, x2, y2;
};

WorldRect baseExtent(const RenderOptions& o, const PLK::CView& view)
{
    if (o.hasExtent) return {o.x1, o.y1, o.x2, o.y2};
    const PLKFileInfo* info = view.GetFileInfo();
    double c0 = 0, r0 = 0, c1 = info->nSizeX, r1 = info->nSizeY;
    if (o.hasWindow) {
        c0 = o.c0;
        r0 = o.r0;
        c1 = o.c1;
        r1 = o.r1;
    }
    WorldRect r{};
    view.ConvertDatasetToWorld(c0, r0, r.x1, r.y1);
    view.ConvertDatasetToWorld(c1, r1, r.x2, r.y2);
    return r;
}

std::vector<int> chooseBands(const RenderOptions& o, const PLK::CView& view)
{
    if (!o.bands.isEmpty()) return std::vector<int>(o.bands.begin(), o.bands.end());
    std::vector<uint32_t> list;
    if (!view.GetDefaultRGBABandList(list).Success()) return {0, 0, 0};
    return std::vector<int>(list.begin(), list.end());
}

// The dynamic range the map layer applies when it opens an image: 8-bit data as it is,
// wider data stretched between its 99 % clip points.
void applyDynamicRange(const RenderOptions& o, PLK::CView& view)
{
    const PLKFileInfo* info = view.GetFileInfo();
    const bool eightBit = info->eCellType == PLK_CELL_UINT8 || info->eCellType == PLK_CELL_INT8;
    const int clip = o.clip >= 0 ? o.clip : (eightBit ? 100 : 99);
    if (info->eCellType == PLK_CELL_UINT8 && clip == 100) {
        view.ClearTransforms();
        return;
    }
    std::vector<uint32_t> bands;
    for (uint32_t b = 0; b < info->nBands; ++b) {
        const QString d = QString::fromUtf8(info->pBands[b].szDesc ? info->pBands[b].szDesc : "");
        if (d.toLower() != QLatin1String("allopacity")) bands.push_back(b);
    }
    std::vector<PLK::API::CMinMaxTransform*> transforms;
    if (!view.CalculateMinMaxTransforms(static_cast<uint32_t>(bands.size()), bands.data(), transforms, clip, 100)
             .Success())
        return;
    for (size_t i = 0; i < transforms.size(); ++i) view.SetTransform(bands[i], transforms[i]);
}

bool renderOne(PictureView& view, const RenderOptions& o, const std::vector<int>& bands, const WorldRect& r,
               Picture& picture)
{
    const PLK::CError error = view.setViewTimed(bands, o.width, o.height, r.x1, r.y1, r.x2, r.y2);
    if (!error.Success()) {
        std::fprintf(stderr, "xrvtool: %s\n", error.GetErrorText());
        return false;
    }
    if (o.progressive) {
        if (!view.waitForFinal(30000, picture)) {
            std::fprintf(stderr, "xrvtool: the final picture did not arrive (%d passes seen)\n", view.passes());
            return false;
        }
        return true;
    }
    if (view.readPicture(picture) != PLK_READ_OK) {
        std::fprintf(stderr, "xrvtool: the view could not be read\n");
        return false;
    }
    return true;
}

}  // namespace

int runRender(const QStringList& args)
{
    RenderOptions o;
    QString problem;
    if (!o.parse(args, problem)) {
        std::fprintf(stderr, "xrvtool render: %s\n", qPrintable(problem));
        return 2;
    }
    if (PictureWriter::formatFor(o.output) == PictureWriter::Format::Unknown) {
        std::fprintf(stderr, "xrvtool render: %s: the output name must end in .png, .ppm, .pgm or .tif\n",
                     qPrintable(o.output));
        return 2;
    }
    // Standard output carries the timings unless --quiet; errors always go to standard error.
    auto say = [&o](const char* format, auto... values) {
        if (!o.quiet) std::printf(format, values...);
    };
    PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config.SetCacheMaxmem(uint64_t(o.cacheMb) << 20);
    // Streams read through the disk cache only when a folder is given.
    PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config.SetXrvpCacheEnabled(!o.streamCache.isEmpty());
    PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config.SetXrvpCacheLocation(o.streamCache.toLocal8Bit().constData());
    PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config.SetXrvpCacheSizeMb(o.streamCacheMb);
    // Cells written as plain pixels never need to know where the image lies on the earth: a
    // cell window then skips reading it, and the georeferencing libraries stay unloaded. A
    // world extent or a GeoTIFF does need it.
    const bool placed = o.hasExtent || PictureWriter::formatFor(o.output) == PictureWriter::Format::Tiff;
    PLK::SDK::CFileBase::sFilesHelper().Get()->m_Config.SetGeoreferencingEnabled(placed);
    PLKInit();
    int result = 1;
    {
        auto view = std::make_unique<PictureView>();
        QElapsedTimer openClock;
        openClock.start();
        const PLK::CError error = view->Open(PLK::CString(o.input.toStdString()), o.progressive);
        if (!error.Success()) {
            std::fprintf(stderr, "xrvtool: %s\n", error.GetErrorText());
            PLKShutdown();
            return 1;
        }
        const double openMs = openClock.nsecsElapsed() / 1e6;
        say("open: %.1f ms\n", openMs);
        view->Parameters().SetResampleMethod(o.resample == 1 ? PLK_RESAMPLE_BILINEAR : PLK_RESAMPLE_NEAREST);
        if (o.layers > 0) view->Jp2Parameters().SetLayersToDecode(o.layers);
        applyDynamicRange(o, *view);
        const std::vector<int> bands = chooseBands(o, *view);
        const WorldRect base = baseExtent(o, *view);
        const double perPixelX = (base.x2 - base.x1) / o.width, perPixelY = (base.y2 - base.y1) / o.height;

        Picture picture;
        WorldRect shown = base;
        double firstTotal = 0, finalTotal = 0;
        bool ok = true;
        for (int i = 0; i < o.panCount && ok; ++i) {
            shown = {base.x1 + i * o.panDx * perPixelX, base.y1 + i * o.panDy * perPixelY,
                     base.x2 + i * o.panDx * perPixelX, base.y2 + i * o.panDy * perPixelY};
            ok = renderOne(*view, o, bands, shown, picture);
            if (!ok) break;
            firstTotal += view->firstMs();
            finalTotal += view->finalMs();
            say("view %d: first picture %.1f ms, final picture %.1f ms, %d pass(es)\n", i + 1, view->firstMs(),
                view->finalMs(), view->passes());
        }
        if (ok) {
            if (o.panCount > 1)
                say("mean per view: first %.1f ms, final %.1f ms\n", firstTotal / o.panCount, finalTotal / o.panCount);
            QElapsedTimer writeClock;
            writeClock.start();
            const PLKCellSizeUnits units = view->GetFileInfo()->eCellSizeUnits;
            const bool georeferenced =
                units == PLK_UNITS_METERS || units == PLK_UNITS_DEGREES || units == PLK_UNITS_FEET;
            const PictureGeoreference geo{georeferenced, shown.x1, shown.y1, shown.x2, shown.y2, view->GetEPSGCode()};
            QString writeError;
            if (PictureWriter::write(picture, o.output, geo, writeError)) {
                say("write: %.1f ms\n", writeClock.nsecsElapsed() / 1e6);
                say("wrote %s (%d x %d)\n", qPrintable(QFileInfo(o.output).absoluteFilePath()), picture.width,
                    picture.height);
                result = 0;
            } else {
                std::fprintf(stderr, "xrvtool: %s\n", qPrintable(writeError));
            }
        }
    }
    PLKShutdown();
    return result;
}

// What the layer's tests share: a real settings file, test images made by tools other than
// the layer (mksample, gdal_translate, opj_compress), reference renders by xrvtool, and
// driving a layer the way a map view does.
#pragma once

#include "XRVJP2kLayer.h"
#include "XRVJP2kRenderer.h"

#include <QImage>
#include <QRectF>
#include <QSignalSpy>
#include <QSize>
#include <QString>
#include <QStringList>

#include <memory>

namespace LayerTest {

// Points the host's settings store at <folder>/settings.ini and empties it.
void useSettingsFile(const QString& folder);
// The bundled sample, or an empty string when the build did not make it.
QString bundledSample();
// Runs a program to its end; true when it exited with 0.
bool run(const QString& program, const QStringList& arguments, QString* output = nullptr);
// mksample OUT --size 512x512 --tile 256 plus arguments; the path, or empty on failure.
QString makeImage(const QString& folder, const QString& name, const QStringList& arguments);
// A Qt-drawn pattern turned into <name>.jp2, georeferenced (EPSG:32633, the corners given) by
// gdal_translate, or plain by opj_compress (tiles, 4 levels, 2 quality layers); the path, or
// empty when that fails or the tool is absent.
QString makeGdalImage(const QString& folder, const QString& name, const QSize& size, double ulx, double uly, double lrx,
                      double lry);
QString makeOpjImage(const QString& folder, const QString& name, const QSize& size);
// xrvtool render of the world window from (x1, y1) to (x2, y2) at the given size; null on failure.
QImage renderWithXrvtool(const QString& file, double x1, double y1, double x2, double y2, const QSize& size,
                         const QStringList& extra = QStringList());

// A layer opened on file (a warning says why when it cannot be).
std::unique_ptr<Korvane::XRVJP2kLayer> openLayer(const QString& file);
// The layer's main renderer, or null.
XRVJP2kRenderer* rendererOf(Korvane::XRVJP2kLayer& layer);
// The view the main renderer holds now.
PLKSetViewInfo viewOf(Korvane::XRVJP2kLayer& layer);
// Waits until the final pass of the renderer's current view is the layer's picture. spy
// watches the layer's refreshRequested since before the view was set.
bool waitForFinalPicture(Korvane::XRVJP2kLayer& layer, QSignalSpy& spy, int timeoutMs = 30000);
// The layer painted into a transparent picture of size showing the world window (x1, y1)-(x2, y2).
QImage paintLayer(Korvane::XRVJP2kLayer& layer, const QSize& size, double x1, double y1, double x2, double y2);
// Number of pixels whose premultiplied ARGB values differ; -1 for pictures of different sizes.
int differingPixels(const QImage& a, const QImage& b);

}  // namespace LayerTest

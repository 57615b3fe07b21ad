// What the information page tests share: the application they run under, the images they
// hand the pages, layers opened on them, and the clipboard.
#pragma once

#include "../common/HostTestMain.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>
#include <QtWidgets/QPushButton>
#include <QtTest/QtTest>

#include <memory>

#include "QDGui/Application.h"
#include "QDGui/RasterLayer.h"
#include "XRVJP2kLayer.h"

class QLineEdit;

namespace PageTest {

// A raster layer of another plug-in: pages must leave it alone.
class OtherRasterLayer : public Korvane::Map::RasterLayer {
    Q_OBJECT
public:
    OtherRasterLayer() : Korvane::Map::RasterLayer(nullptr) {}
};

// Images made for the tests with opj_compress; a path stays empty when it could not be made.
struct MadeImages {
    // 96 x 48 grey, tiled 32 x 24, three levels, precincts and code blocks of distinct width
    // and height, RLCP, SOP and EPH markers, irreversible filter, three layers, a comment.
    QString grey;
    // 64 x 32 red, green, blue and opacity, with opj_compress's defaults.
    QString rgba;
    QString error;
};
MadeImages makeImages(const QString& folder);

// The bundled sample (georeferenced RGB, with RPC data and three XML boxes) and the
// conformance files; empty when absent.
QString samplePath();
QString conformancePath(const QString& fileName);

// A layer opened on path; with an empty path, a layer that never had a source.
std::unique_ptr<Korvane::XRVJP2kLayer> openLayer(const QString& path);

enum Source { Sample, Grey, Rgba, NoSource, OtherClass };

// One layer of each kind the pages meet, opened once for a test class.
class Layers {
public:
    // Makes the test images in folder and opens a layer on each.
    void open(const QString& folder);
    // Null when the image behind the source is missing (the test then skips).
    Korvane::Map::Layer* get(Source source);
    QString path(Source source) const;
    const MadeImages& images() const { return m_images; }
    Korvane::XRVJP2kLayer* noSource() { return m_noSource.get(); }

private:
    MadeImages m_images;
    std::unique_ptr<Korvane::XRVJP2kLayer> m_sample, m_grey, m_rgba, m_noSource;
    OtherRasterLayer m_other;
};

QLineEdit* field(QWidget* page, const QString& name);
// "name=text" for each named line edit, so that a failing comparison names the field.
QStringList fieldTexts(QWidget* page, const QStringList& names);
QStringList emptyFieldTexts(const QStringList& names);
QString joinedWithCarriageReturns(const QStringList& lines);
// Text the tests put on the clipboard to see whether a page replaced it.
const QString& clipboardSentinel();
void putSentinelOnClipboard();
QString clipboardText();

}  // namespace PageTest

// Runs the test object under the host's application object, with a settings store of its own
// and the engine started, as the pages run in the viewer.
#define LAYER_OR_SKIP(var, layers, source)           \
    Korvane::Map::Layer* var = (layers).get(source); \
    if (!var) QSKIP("the image for this case could not be found or made")

#define XRV_PAGES_TEST_MAIN(TestClass) XRV_HOST_TEST_MAIN(TestClass)

// What the panel tests share: the application they run under, the images they open and the
// layers opened on them.
#pragma once

#include "../common/HostTestMain.h"

#include <QtCore/QString>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <memory>

#include "ModalAnswer.h"
#include "QDGui/Application.h"
#include "QDGui/Layer.h"
#include "RecordingLayer.h"
#include "xrv60.h"

namespace PanelTest {

// The bundled sample (8192 x 8192 RGB); empty when it has not been made.
QString samplePath();
// 512 x 512 images made by mksample at build time: red, green, blue and opacity; 16-bit grey.
QString rgbaPath();
QString sixteenBitPath();

// A layer opened on path (a warning says why when it cannot be); with an empty path, one that
// never had a source.
std::unique_ptr<RecordingLayer> openLayer(const QString& path);

// A layer of another plug-in, which the panels must not act on.
class OtherLayer : public Korvane::Map::Layer {
    Q_OBJECT
};

}  // namespace PanelTest

// Runs the test object under the host's application object, with a settings store of its own
// in a temporary folder and the engine started, as the panels run in the viewer.
#define XRV_PANELS_TEST_MAIN(TestClass) XRV_HOST_TEST_MAIN(TestClass)

// What the panel tests share: the application they run under, the images they open and the
// layers opened on them.
#pragma once

#include "../common/HostTestMain.h"

#include <QtCore/QString>
#include <QtTest/QtTest>

#include <memory>

#include "ModalAnswer.h"
#include "QDGui/Application.h"
#include "QDGui/Layer.h"
#include "XRVJP2kLayer.h"

namespace PanelTest {

// The bundled sample (8192 x 8192 RGB) and a 512 x 512 red, green, blue and opacity image
// made at build time; empty when they have not been made.
QString samplePath();
QString rgbaPath();

// A layer opened on path (a warning says why when it cannot be); with an empty path, one that
// never had a source.
std::unique_ptr<Korvane::XRVJP2kLayer> openLayer(const QString& path);

// A layer of another plug-in, which the panels must not act on.
class OtherLayer : public Korvane::Map::Layer {
    Q_OBJECT
};

// Ticks or unticks a check box as a click on it does.
void click(QAbstractButton* button);

}  // namespace PanelTest

#define XRV_PANELS_TEST_MAIN(TestClass) XRV_HOST_TEST_MAIN(TestClass)

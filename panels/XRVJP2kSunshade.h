// The hillshade panel: switches the veil of hill shading on and off for the active XRV /
// JPEG 2000 layer and sets its sun's azimuth and elevation. It is enabled only while a map
// view is active and its active layer is one of ours.
#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>

namespace Ui {
class XRVJP2kSunshadeClass;
}

class QMdiSubWindow;
class SunShadeWidget;

namespace Korvane {
class XRVJP2kLayer;
namespace Map {
class Layer;
}
}  // namespace Korvane

class XRVJP2kSunshade : public QWidget {
    Q_OBJECT

public:
    explicit XRVJP2kSunshade(QWidget* parent = nullptr);
    ~XRVJP2kSunshade() override;

    SunShadeWidget* sunPicker() const { return m_sunShade; }

public slots:
    void onLayerActivated(Korvane::Map::Layer* layer);
    void onSubWindowActivated(QMdiSubWindow* window);

private slots:
    void on_elevationSpinBox_valueChanged(int value);
    void on_azumithSpinBox_valueChanged(int value);
    void on_hillShadeCheckBox_stateChanged(int state);

private:
    void refreshLayer();

    std::unique_ptr<Ui::XRVJP2kSunshadeClass> ui;
    SunShadeWidget* m_sunShade = nullptr;
    // Cleared by the layer's destruction too: a layer that is gone is never reached.
    QPointer<Korvane::XRVJP2kLayer> layer;
    // Starting angles of the sun; the layer's own angles are what the controls show.
    double azimuth = 45.0;
    double elevation = 45.0;
};

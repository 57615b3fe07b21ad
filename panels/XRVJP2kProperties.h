// The dockable panel that edits the display of the active XRV / JPEG 2000 layer:
// transparency, contrast, brightness, dynamic range, quality layers, bands, rendering options,
// outline and resample method. The host tells it which layer and which map window became
// active; every change goes straight to the layer through its setters.
#pragma once

#include <QPointer>
#include <QWidget>
#include <memory>

#include "QDGui/ILayerPropertiesWidget.h"

namespace Ui {
class XRVJP2kPropertiesClass;
}

class QColor;
class QMdiSubWindow;

namespace Korvane {
class XRVJP2kLayer;
namespace Map {
class Layer;
}
}  // namespace Korvane

class XRVJP2kProperties : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)

public:
    explicit XRVJP2kProperties(QWidget* parent = nullptr);
    ~XRVJP2kProperties() override;

    // ILayerPropertiesWidget: the same as a layer activation; changes are applied as they are
    // made, so there is nothing left to apply.
    void setLayer(Korvane::Map::Layer* layer) override;
    void apply() override;

public slots:
    void onLayerActivated(Korvane::Map::Layer* layer);
    void onSubWindowActivated(QMdiSubWindow* window);

private slots:
    void on_redBandComboBox_activated(int index);
    void on_greenBandComboBox_activated(int index);
    void on_blueBandComboBox_activated(int index);
    void on_opacityBandComboBox_activated(int index);
    void on_resetBrightness_clicked();
    void on_resetContrast_clicked();
    void on_resetTransparency_clicked();
    void on_resetDRA_clicked();
    void on_resetJp2Quality_clicked();
    void on_brightnessSpinBox_valueChanged(int value);
    void on_contrastSpinBox_valueChanged(int value);
    void on_draSpinBox_valueChanged(int value);
    void on_transparencySpinBox_valueChanged(int value);
    void on_jp2QualitySpinBox_valueChanged(int value);
    void on_brightnessSlider_valueChanged(int value);
    void on_contrastSlider_valueChanged(int value);
    void on_transparencySlider_valueChanged(int value);
    void on_draSlider_valueChanged(int value);
    void on_jp2QualitySlider_valueChanged(int value);
    void on_progressiveCheckbox_stateChanged(int state);
    void on_adaptiveRoamCheckbox_stateChanged(int state);
    void on_resampleTypeComboBox_currentIndexChanged(int index);
    void on_backingStoreCheckBox_stateChanged(int state);
    void on_textureDitherCheckBox_stateChanged(int state);
    void on_outlineColorButton_clicked(bool checked);
    void on_freeCacheCheckBox_stateChanged(int state);
    void on_drawImageOutlineCheckBox_stateChanged(int state);
    void on_readLineGroupBox_buttonClicked(int id);

private:
    void loadPercentages();
    void loadQualityLayers();
    void loadOptions();
    void loadBands();
    void loadOutline();
    void applyBands();
    void showOutlineColor(const QColor& color);
    // The quality-layer count of the file's JPEG 2000 header; false for other files.
    bool headerQualityLayers(int& count);
    void refreshLayer();

    std::unique_ptr<Ui::XRVJP2kPropertiesClass> ui;
    // Cleared by the layer's destruction too, so a panel the host forgot to tell never
    // reaches a layer that is gone.
    QPointer<Korvane::XRVJP2kLayer> currentLayer;
};

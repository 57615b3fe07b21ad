#pragma once
#include "QDGui/ILayerPropertiesWidget.h"

#include <QtWidgets/QWidget>

class HistogramChart;
class QFormLayout;
class QLabel;

namespace Korvane {
class PluginManager;
}

// The host's own information page, shown for every kind of layer: what any raster layer can
// tell about itself through the host's interface, and the histograms of its bands as a chart.
class LayerSummaryPage : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)
public:
    // The plug-ins name the layer's kind; without them the format does.
    explicit LayerSummaryPage(const Korvane::PluginManager* plugins = nullptr, QWidget* parent = nullptr);

public slots:
    void setLayer(Korvane::Map::Layer* layer) override;
    void apply() override;

private:
    void addRow(const QString& key, const QString& label);
    void setValue(const QString& key, const QString& value);
    void clearValues();

    const Korvane::PluginManager* m_plugins = nullptr;
    QFormLayout* m_form = nullptr;
    HistogramChart* m_chart = nullptr;
};

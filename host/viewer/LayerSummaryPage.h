#pragma once
#include "QDGui/ILayerPropertiesWidget.h"

#include <QtWidgets/QWidget>

class QFormLayout;
class QLabel;

// The host's own information page, shown for every kind of layer: what any raster layer can
// tell about itself through the host's interface.
class LayerSummaryPage : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)
public:
    explicit LayerSummaryPage(QWidget* parent = nullptr);

public slots:
    void setLayer(Korvane::Map::Layer* layer) override;
    void apply() override;

private:
    void addRow(const QString& key, const QString& label);
    void setValue(const QString& key, const QString& value);
    void clearValues();

    QFormLayout* m_form = nullptr;
};

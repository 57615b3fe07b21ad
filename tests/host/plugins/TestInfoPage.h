#pragma once
#include "QDGui/ILayerPropertiesWidget.h"

#include <QtWidgets/QWidget>

// The test plug-in's information page: logs the layer it is given.
class TestInfoPage : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)
public:
    explicit TestInfoPage(QWidget* parent = nullptr);

public slots:
    void setLayer(Korvane::Map::Layer* layer) override;
    void apply() override;
};

// Information page "Metadata": the XML boxes stored in the image file, listed in a combo box,
// and the text of the one chosen. The page reads the boxes through a second view of its own,
// opened on the layer's data source and closed again before setLayer returns, so that the
// layer's view is never disturbed.
#pragma once

#include <QtCore/QString>
#include <QtWidgets/QWidget>

#include <memory>

#include "QDGui/ILayerPropertiesWidget.h"
#include "PLKTypes.h"

namespace PLK {
class CIOStream;
}

namespace Korvane {
class XRVJP2kLayer;
namespace Map {
class Layer;
}
}  // namespace Korvane

namespace Ui {
class XRVJP2LayerMetaDataBox;
}

class XRVJP2kLayerMetaDataBox : public QWidget, public Korvane::ILayerPropertiesWidget {
    Q_OBJECT
    Q_INTERFACES(Korvane::ILayerPropertiesWidget)

public:
    explicit XRVJP2kLayerMetaDataBox(QWidget* parent = nullptr);
    ~XRVJP2kLayerMetaDataBox() override;

public slots:
    void setLayer(Korvane::Map::Layer* pLayer) override;
    void apply() override;
    void onComboBoxActivated(int index);

private:
    void listBoxes(const QString& source);
    // Reads one box's contents into text; leaves text as it is when the stream cannot reach
    // the box's offset.
    void readBox(PLK::CIOStream* stream, const PLKJP2Box& box, QString& text);

    std::unique_ptr<Ui::XRVJP2LayerMetaDataBox> ui;
    Korvane::XRVJP2kLayer* m_layer = nullptr;
};
